#include "PowerTest.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace zeqcam::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Did {
    int thread;
    Kind kind;
    int sensor = 0;
    std::string text = {};
    std::vector<int> sensors = {};
};

std::vector<Entry> journalOf(std::vector<Did> const& all) {
    std::vector<Entry> entries;
    for (Did const& did : all) {
        entries.push_back({.thread = did.thread,
                           .kind = did.kind,
                           .sensor = did.sensor,
                           .number = 1,
                           .text = did.text,
                           .sensors = did.sensors});
    }
    return entries;
}

// A worker powers its sensor on and is done; `hints` may be left out.
std::vector<Did> worker(int thread, int sensor, bool hints = true) {
    std::vector<Did> did{{thread, Kind::SensorPowerOn, sensor, "A"},
                         {thread, Kind::SensorPowerOnDone, sensor, "A"},
                         {thread, Kind::SensorAfterPowerOn, sensor, "A"}};
    if (hints) did.insert(did.begin(), {{thread, Kind::Affinity}, {thread, Kind::CriticalTask}});
    return did;
}

std::vector<Did> operator+(std::vector<Did> first, std::vector<Did> const& then) {
    first.insert(first.end(), then.begin(), then.end());
    return first;
}

TEST(Rules, TellWhatBreaksThemAndNothingElse) {
    struct Case {
        std::vector<Did> did;
        std::string broken;
    };
    std::vector<Did> const request{{9, Kind::Request, 0, "app", {0}}, {9, Kind::Reply, 0, "app"}};
    std::vector<Case> const cases{
        {{{1, Kind::TraceBegin, 0, "a"}, {1, Kind::TraceEnd, 0, "b"}, {1, Kind::TraceEnd, 0, "a"}},
         "sections-nest: \"b\" ends inside \"a\""},
        {{{1, Kind::TraceBegin, 0, "a"}, {2, Kind::TraceEnd, 0, ""}, {1, Kind::TraceEnd, 0, "a"}},
         "sections-nest: \"\" ends, which had not begun"},
        {{{1, Kind::TraceBegin, 0, "a"}}, "sections-nest: \"a\" does not end"},
        {worker(1, 2, false), "hints-first: sensor 2 is powered on before the hints"},
        {{{1, Kind::Affinity}, {2, Kind::CriticalTask}, {1, Kind::SensorPowerOn, 2}},
         "hints-first: sensor 2 is powered on before the hints"},
        {worker(1, 2) + worker(1, 0), "one-sensor-each: sensor 0 is powered on by the worker of sensor 2"},
        {worker(1, 2) + request + worker(1, 0, false),
         "one-sensor-each: sensor 0 is powered on by the worker of sensor 2"},
        {{{1, Kind::SensorAfterPowerOn, 2}},
         "up-before-after: sensor 2 has its call after a power-on that did not succeed"},
        {worker(1, 2) + std::vector<Did>{{2, Kind::SensorAfterPowerOn, 2}},
         "up-before-after: sensor 2 has its call after a power-on that did not succeed"},
        {{{1, Kind::SensorCreate, 0, "A"},
          {1, Kind::SensorCreate, 1, "A"},
          {2, Kind::SensorPowerOff, 0, "A"},
          {1, Kind::SensorRelease, 0, "A"},
          {2, Kind::SensorPowerOff, 1, "A"}},
         "off-before-release: sensor 1 is powered off after the handle of sensor 0 was released"},
        {{{1, Kind::SensorCreate, 0, "A"}, {1, Kind::SensorRelease, 0, "A"}, {2, Kind::Hal3APowerOff, 0}},
         "told-before-release: sensor 0's services are told of its power-off after its handle was released"},
    };
    for (Case const& it : cases) EXPECT_THAT(brokenRules(journalOf(it.did)), ElementsAre(it.broken));
}

TEST(Rules, HoldWhereRequestsFollowOrOverlapOneAnother) {
    auto const powerOff = [](int client, std::string const& controller, int sensor) {
        return std::vector<Did>{{client, Kind::Request, 0, "client", {sensor}},
                                {client, Kind::Hal3APowerOff, sensor},
                                {client, Kind::SensorPowerOff, sensor, controller},
                                {client, Kind::SensorRelease, sensor, controller},
                                {client, Kind::Reply, 0, "client"}};
    };
    std::vector<Did> const on{{1, Kind::Request, 0, "app", {0, 1}},
                              {1, Kind::SensorCreate, 0, "A"},
                              {1, Kind::SensorCreate, 1, "A"},
                              {2, Kind::SensorCreate, 0, "B"}};
    struct Case {
        char const* what;
        std::vector<Did> did;
    };
    std::vector<Case> const cases{
        {"a worker's id is given to the worker of a later request",
         on + worker(3, 0) + std::vector<Did>{{1, Kind::Reply, 0, "app"}} + on + worker(3, 1)},
        {"one sensor after another", on + powerOff(1, "A", 0) + powerOff(1, "A", 1)},
        {"two controllers with handles of one sensor", on + powerOff(1, "A", 0) + powerOff(2, "B", 0)},
        {"another client of the controller goes on before the first has its reply",
         on +
             std::vector<Did>{{5, Kind::Request, 0, "first", {0}},
                              {5, Kind::SensorPowerOff, 0, "A"},
                              {5, Kind::SensorRelease, 0, "A"}} +
             powerOff(6, "A", 1)},
    };
    for (Case const& it : cases) EXPECT_THAT(brokenRules(journalOf(it.did)), IsEmpty()) << it.what;
}

}  // namespace
}  // namespace zeqcam::tests
