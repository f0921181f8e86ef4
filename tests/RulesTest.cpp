#include "PowerTest.h"
#include "run/JournalRecord.h"

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
    std::string detail = {};
};

// With a look at the tags before each begin and end of a section.
std::vector<Entry> journalOf(std::vector<Did> const& all) {
    std::vector<Entry> entries;
    for (Did const& did : all) {
        if (did.kind == Kind::TraceBegin || did.kind == Kind::TraceEnd)
            entries.push_back({.thread = did.thread, .kind = Kind::TraceTags});
        entries.push_back({.thread = did.thread,
                           .kind = did.kind,
                           .sensor = did.sensor,
                           .number = 1,
                           .text = did.text,
                           .detail = did.detail,
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

std::vector<Did> section(int thread, std::string const& label, std::vector<Did> const& inner) {
    return std::vector<Did>{{thread, Kind::TraceBegin, 0, label}} + inner +
           std::vector<Did>{{thread, Kind::TraceEnd, 0, label}};
}

std::vector<Did> request(int thread, std::string const& client, std::string const& what,
                         std::vector<int> const& sensors, std::vector<Did> const& inner = {}) {
    return std::vector<Did>{{thread, Kind::Request, 0, client, sensors, what}} + inner +
           std::vector<Did>{{thread, Kind::Reply, 0, client, {}, what}};
}

TEST(Rules, TellWhatBreaksThemAndNothingElse) {
    struct Case {
        std::vector<Did> did;
        std::string broken;
    };
    std::vector<Did> const between{{9, Kind::Request, 0, "app", {0}}, {9, Kind::Reply, 0, "app"}};
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
        {worker(1, 2) + between + worker(1, 0, false),
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
        {{{1, Kind::SensorCreate, 2, "A"}, {1, Kind::PeripheralPowerOn, 2}},
         "up-before-told: sensor 2's services are told of its power-on before that has ended"},
        {{{1, Kind::SensorPowerOff, 0, "A"}, {1, Kind::Hal3APowerOff, 0}},
         "told-before-off: sensor 0's services are told of its power-off after it went off"},
        {section(1, "LogicalDev powerOn", {{2, Kind::TraceBegin, 0, "powerOnSensor: 0"}}) +
             std::vector<Did>{{2, Kind::TraceEnd, 0, "powerOnSensor: 0"}},
         "work-inside: \"powerOnSensor: 0\" ends after its request's \"LogicalDev powerOn\""},
        {section(1, "LogicalDev powerOff", {{2, Kind::TraceBegin, 0, "powerOff: 0"}}) +
             std::vector<Did>{{2, Kind::TraceEnd, 0, "powerOff: 0"}},
         "work-inside: \"powerOff: 0\" ends after its request's \"LogicalDev powerOff\""},
        {std::vector<Did>{
             {1, Kind::ProfileBegin}, {1, Kind::SensorCreate, 0, "A"}, {1, Kind::SensorCreate, 1, "A"}} +
             worker(2, 0) + std::vector<Did>{{1, Kind::ProfileMark, 0, "Sensor powerOn -"}},
         "admitted-called: sensor 1 was admitted to a power-on and never called"},
        {section(1, "LogicalDev powerOff", section(2, "powerOff: 0", {{2, Kind::SensorPowerOff, 0, "A"}})),
         "record-gone: the handle of sensor 0 outlives its power-off"},
        {request(1, "app", "power on", {0}, section(1, "LogicalDev powerOn", {})) +
             request(2, "other", "wait", {}),
         "wait-for-free: a wait ends while the power-on lock is held"},
        {request(1, "app", "power on", {0}) +
             request(2, "other", "power off", {0}, {{2, Kind::SensorPowerOff, 0, "A"}}),
         "counted-on: other powers sensor 0 off, which app still counts on"},
    };
    for (Case const& it : cases) EXPECT_THAT(brokenRules(journalOf(it.did)), ElementsAre(it.broken));
}

TEST(Rules, TellOfASectionWithoutALookAtTheTags) {
    std::vector<Entry> entries{{.kind = Kind::TraceTags},
                               {.kind = Kind::TraceBegin, .text = "a"},
                               {.kind = Kind::TraceTags},
                               {.kind = Kind::TraceEnd, .text = "a"}};
    EXPECT_THAT(brokenRules(entries), IsEmpty());
    entries.insert(entries.begin() + 1, {.thread = 2, .kind = Kind::TraceTags});
    EXPECT_THAT(brokenRules(entries), IsEmpty()) << "another thread's look is its own";
    entries.insert(entries.begin() + 4, {.kind = Kind::Affinity});
    EXPECT_THAT(brokenRules(entries), ElementsAre("tags-asked: \"a\" ends without a look at the tags"));
}

// Whose fault it is follows from who may drive the sensor.
TEST(Rules, TellACallersFaultOfTheLibraryFromOneBetweenControllers) {
    std::string const fault = ": sensor 2: power-on of a sensor that is on";
    struct Case {
        std::vector<std::vector<int>> controllers;  // the sensors that each may drive
        std::vector<std::string> broken;
    };
    for (auto const& [controllers, broken] :
         std::vector<Case>{{{}, {}},
                           {{{0, 1}}, {}},
                           {{{0, 2}, {0, 1}}, {"boundary-kept" + fault}},
                           {{{0, 2}, {2}}, {"sensor-to-itself" + fault}}}) {
        tool::Record record;
        for (auto const& sensors : controllers) record.controllers.push_back({.sensors = sensors});
        tool::addJournal(record, journalOf({{1, Kind::CallerFault, 2, "power-on of a sensor that is on"}}));
        EXPECT_EQ(brokenRules(record), broken);
    }
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
        {"services are told of each of two power-offs of one sensor, in turn",
         section(1, "powerOff: 0", {{1, Kind::Hal3APowerOff, 0}, {1, Kind::SensorPowerOff, 0, "A"}}) +
             section(1, "powerOff: 0", {{1, Kind::Hal3APowerOff, 0}, {1, Kind::SensorPowerOff, 0, "A"}})},
        {"two controllers of one name, whose clients nobody knows, power off at once",
         std::vector<Did>{{1, Kind::SensorCreate, 0, "A"}, {2, Kind::SensorCreate, 1, "A"}} +
             section(1, "LogicalDev powerOff",
                     {{2, Kind::TraceBegin, 0, "LogicalDev powerOff"},
                      {1, Kind::SensorPowerOff, 0, "A"},
                      {1, Kind::SensorRelease, 0, "A"},
                      {2, Kind::SensorPowerOff, 1, "A"},
                      {2, Kind::SensorRelease, 1, "A"},
                      {2, Kind::TraceEnd, 0, "LogicalDev powerOff"}})},
        {"a power-on's worker ends while another power-on has begun and ended",
         section(1, "LogicalDev powerOn",
                 {{2, Kind::TraceBegin, 0, "powerOnSensor: 0"},
                  {3, Kind::TraceBegin, 0, "LogicalDev powerOn"},
                  {3, Kind::TraceEnd, 0, "LogicalDev powerOn"},
                  {2, Kind::TraceEnd, 0, "powerOnSensor: 0"}})},
        {"a power-on that found the lock taken goes on when a power-off has freed it",
         std::vector<Did>{{3, Kind::Request, 0, "other", {1}, "power off"},
                          {1, Kind::Request, 0, "app", {0}, "power on"},
                          {3, Kind::Reply, 0, "other", {}, "power off"}} +
             section(1, "LogicalDev powerOn", {}) + request(2, "third", "wait", {})},
        {"a client's own power-off, and then another's",
         request(1, "app", "power on", {0}) +
             request(1, "app", "power off", {0}, {{1, Kind::SensorPowerOff, 0, "A"}}) +
             request(2, "other", "power off", {0}, {{2, Kind::SensorPowerOff, 0, "A"}})},
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
