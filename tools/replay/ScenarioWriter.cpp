#include "replay/ScenarioWriter.h"

#include "replay/Measured.h"
#include "replay/ScenarioPlan.h"
#include "replay/ScenarioText.h"
#include "replay/Sharing.h"
#include "text/Printable.h"
#include "text/TimeText.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <numeric>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

namespace zeqcam::tool {
namespace {

using std::chrono::microseconds;
using std::chrono::nanoseconds;

constexpr std::size_t kLongestName = 64;

// Another one where it is taken.
std::string uniqueName(std::string name, std::set<std::string>& taken) {
    while (name.size() > kLongestName - 8) name.pop_back();
    while (!name.empty() && (static_cast<unsigned char>(name.back()) & 0xC0U) == 0x80U) name.pop_back();
    std::string unique = name;
    for (int number = 2; !taken.insert(unique).second; ++number)
        unique = fmt::format("{} ({})", name, number);
    return unique;
}

// Goes through a record from the first request to the last.
class Planner {
  public:
    explicit Planner(Record const& record)
        : mRecord(record),
          mRequests(measureRequests(record)),
          mControllerOf(controllersOf(record, mRequests)) {
        mPlan.sensors = measure(record);
    }

    ScenarioPlan plan() {
        for (std::size_t client = 0; client < mRecord.clients.size(); ++client) addPart(client);
        std::vector<std::size_t> order(mRecord.requests.size());
        std::iota(order.begin(), order.end(), std::size_t{0});
        for (std::size_t const request : order) add(request);
        for (std::size_t client = 0; client < mRecord.clients.size(); ++client) letGo(client);
        if (mPlan.sensors.empty()) mPlan.sensors[0];
        return std::move(mPlan);
    }

  private:
    void addPart(std::size_t client) {
        std::string const name(mRecord.textOf(mRecord.clients[client].name));
        mPlan.clients.push_back({uniqueName(name.empty() ? "client" : printable(name), mNames),
                                 controllerOf(client),
                                 {},
                                 mRecord.begin,
                                 false});
        mPartOf[client] = mPlan.clients.size() - 1;
    }

    std::uint32_t controllerOf(std::size_t client) {
        std::uint32_t const number = mControllerOf[client];
        if (mPlan.controllers.size() <= number) mPlan.controllers.resize(number + 1);
        return number;
    }

    ClientPlan& partOf(Request const& request) {
        ClientPlan* part = &mPlan.clients[mPartOf[request.client]];
        bool const needsController =
            request.kind != RequestKind::Wait && request.kind != RequestKind::Powered;
        if (!part->isOver || !needsController) return *part;
        // The thread goes on with another controller.
        Instant const free = part->free;
        mControllerOf[request.client] = static_cast<std::uint32_t>(mPlan.controllers.size());
        addPart(request.client);
        mPlan.clients.back().free = mRecord.begin;
        if (std::string sleep = sleepStep(free - mRecord.begin); !sleep.empty())
            mPlan.clients.back().steps.push_back(std::move(sleep));
        mPlan.clients.back().free = free;
        return mPlan.clients.back();
    }

    static std::string sleepStep(nanoseconds time) {
        auto left = std::chrono::round<microseconds>(time);
        std::string text;
        for (; left > microseconds(0); left -= std::min(left, kLongestTime))
            text += (text.empty() ? "" : "},\n    {") + fmt::format(" sleep_ms = {} ", msText(left));
        return text;
    }

    void add(std::size_t index) {
        Request const& request = mRecord.requests[index];
        if (request.kind == RequestKind::Sleep || request.kind == RequestKind::Other) return;
        ClientPlan& part = partOf(request);
        if (std::string sleep = sleepStep(request.began - part.free); !sleep.empty())
            part.steps.push_back(std::move(sleep));
        ControllerPlan& controller = mPlan.controllers[part.controller];
        auto const& measured = mRequests[index];
        controller.notDriven.insert(measured.notDriven.begin(), measured.notDriven.end());
        switch (request.kind) {
            case RequestKind::PowerOn:
                powerOn(request, measured, part, controller);
                break;
            case RequestKind::PowerOff:
                powerOff(index, part, controller);
                break;
            case RequestKind::Status:
            case RequestKind::Powered:
                part.steps.push_back(asking(request));
                break;
            case RequestKind::Wait:
                part.steps.emplace_back(" wait = true ");
                break;
            default:
                destroy(request, part, controller);
                break;
        }
        part.free =
            request.ended.value_or(request.kind == RequestKind::Destroy ? request.began : mRecord.end);
    }

    // The board is changed before the step and back after it.
    static void addStep(ClientPlan& part, std::string step, std::string const& before,
                        std::string const& after) {
        if (!before.empty()) part.steps.push_back(" change_board = { " + before + " } ");
        part.steps.push_back(std::move(step));
        if (!after.empty()) part.steps.push_back(" change_board = { " + after + " } ");
    }

    void powerOn(Request const& request, MeasuredRequest const& measured, ClientPlan& part,
                 ControllerPlan& controller) {
        std::string comment;
        std::vector<int> sensors = request.sensors.value_or(std::vector<int>());
        if (!request.sensors) {
            sensors.assign(measured.powered.begin(), measured.powered.end());
            if (sensors.empty()) sensors.push_back(unknownSensor(request));
            comment = "    # its sensors are unknown: " + idsText(sensors) + " stand for them";
        }
        std::string failed;
        for (int const sensor : sensors) {
            if (controller.on.contains(sensor) || measured.notDriven.contains(sensor)) continue;
            // A trace shows the work on each sensor; without one, whatever was not told to be left out had
            // some.
            bool const hadWork =
                measured.powered.contains(sensor) || !mRecord.shows.contains(board::Kind::TraceBegin);
            if (hadWork && !measured.hadNoSensorList && !measured.withoutHandle.contains(sensor)) {
                int const time = ++mPowerOns[sensor];
                if (measured.failed.contains(sensor)) mPlan.failures[sensor].push_back(time);
            }
            controller.on.insert(sensor);
            controller.sensors.insert(sensor);
        }
        for (int const sensor : sensors) mPlan.sensors[sensor];
        changeSensors(part, measured.withoutHandle, "handle = false");
        changeSensors(part, measured.hanging, "power_on_hangs = true");
        std::string step = " power_on = " + idsText(sensors);
        if (request.result) step += fmt::format(", expect = {}", *request.result);
        if (!measured.failed.empty())
            step +=
                fmt::format(", failed = {}, reports = {}", idsText(measured.failed), measured.failed.size());
        bool const lacks = measured.hadNoSensorList;
        addStep(part, step + ' ' + comment, lacks ? "sensor_list = false" : "",
                lacks ? "sensor_list = true" : "");
        changeSensors(part, measured.withoutHandle, "handle = true");
    }

    static void changeSensors(ClientPlan& part, std::set<int> const& sensors, std::string const& change) {
        for (int const sensor : sensors)
            part.steps.push_back(fmt::format(" change = {{ {} = {{ {} }} }} ", sensor, change));
    }

    // Whatever they are, they took as long as their request.
    int unknownSensor(Request const& request) {
        int const sensor = mPlan.sensors.empty() ? 0 : mPlan.sensors.begin()->first;
        if (request.ended && request.kind == RequestKind::PowerOn)
            mPlan.sensors[sensor].on.add(*request.ended - request.began);
        return sensor;
    }

    void powerOff(std::size_t index, ClientPlan& part, ControllerPlan& controller) {
        Request const& request = mRecord.requests[index];
        MeasuredRequest const& measured = mRequests[index];
        std::string comment;
        std::vector<int> sensors = request.sensors.value_or(std::vector<int>());
        if (!request.sensors) {
            std::set<int> const guessed =
                measured.powered.empty() ? offBy(index, controller) : measured.powered;
            sensors.assign(guessed.begin(), guessed.end());
            if (sensors.empty()) sensors.push_back(mPlan.sensors.empty() ? 0 : mPlan.sensors.begin()->first);
            comment = "    # its sensors are unknown: " + idsText(sensors) + " stand for them";
            if (request.ended) {
                auto const each = (*request.ended - measured.worked.value_or(request.began)) / sensors.size();
                for (int const sensor : sensors) mPlan.sensors[sensor].off.add(each);
            }
        }
        for (int const sensor : sensors) {
            controller.on.erase(sensor);
            controller.sensors.insert(sensor);
            mPlan.sensors[sensor];
        }
        changeSensors(part, measured.hanging, "power_off_hangs = true");
        bool const drops = measured.isNotQueued;
        addStep(part, " power_off = " + idsText(sensors) + ' ' + comment, drops ? "queue = \"dropped\"" : "",
                drops ? "queue = \"queued\"" : "");
    }

    // Of what is on: what a later power-on finds off, and no power-off until then has taken longer; and what
    // none asks for again, where the lock was released. What a later one finds on has stayed so.
    std::set<int> offBy(std::size_t index, ControllerPlan const& controller) {
        auto const tookLongest = [&](std::size_t until) {
            for (std::size_t other = index + 1; other < until; ++other) {
                bool const isOff = mRecord.requests[other].kind == RequestKind::PowerOff;
                if (isOff && workOf(other) > workOf(index)) return false;
            }
            return true;
        };
        std::set<int> off;
        for (int const sensor : controller.on) {
            std::size_t later = index + 1;
            while (later < mRecord.requests.size() && !asksFor(later, sensor)) ++later;
            bool const isAskedFor = later < mRecord.requests.size();
            bool const staysOn = isAskedFor && mRequests[later].skipped.contains(sensor);
            bool const isReleased = mRequests[index].isLockReleased && workOf(index) > nanoseconds(0);
            if (!staysOn && (isAskedFor ? tookLongest(later) : isReleased)) off.insert(sensor);
        }
        // One that is off stays so.
        for (auto const& [sensor, measured] : mPlan.sensors) {
            if (off.empty() && !controller.on.contains(sensor)) off.insert(sensor);
        }
        return off;
    }

    [[nodiscard]] bool asksFor(std::size_t request, int sensor) const {
        auto const& asked = mRecord.requests[request];
        auto const& sensors = asked.sensors;
        return asked.kind == RequestKind::PowerOn && sensors &&
               std::find(sensors->begin(), sensors->end(), sensor) != sensors->end();
    }

    [[nodiscard]] nanoseconds workOf(std::size_t request) const {
        Request const& asked = mRecord.requests[request];
        return asked.ended.value_or(mRecord.end) - mRequests[request].worked.value_or(asked.began);
    }

    static std::string asking(Request const& request) {
        std::string text;
        for (int const sensor : request.countedOn.value_or(std::vector<int>()))
            text += fmt::format("{}{} = true", text.empty() ? "" : ", ", sensor);
        return fmt::format(" {} = {{ {} }} ", request.kind == RequestKind::Status ? "status" : "powered",
                           text);
    }

    void destroy(Request const& request, ClientPlan& part, ControllerPlan& controller) {
        // Who shares it has let go of it before, which nothing tells of.
        for (std::size_t client = 0; client < mRecord.clients.size(); ++client) {
            ClientPlan const& other = mPlan.clients[mPartOf[client]];
            if (&other != &part && other.controller == part.controller) letGoBefore(client, request.began);
        }
        for (int const sensor : request.sensors.value_or(std::vector<int>())) {
            controller.sensors.insert(sensor);
            mPlan.sensors[sensor];
        }
        controller.on.clear();
        part.steps.emplace_back(" destroy = true ");
        part.isOver = true;
    }

    // Where it has no request later, and none of its own that lets go.
    void letGoBefore(std::size_t client, Instant time) {
        for (Request const& request : mRecord.requests) {
            if (request.client != client) continue;
            if (request.kind == RequestKind::Destroy || request.began > time) return;
        }
        mLetGo.insert(client);
    }

    void letGo(std::size_t client) {
        ClientPlan& part = mPlan.clients[mPartOf[client]];
        if (!mLetGo.contains(client) || part.isOver) return;
        part.steps.emplace_back(" destroy = true     # before the other one, which nothing tells of");
        part.isOver = true;
    }

    Record const& mRecord;
    std::vector<MeasuredRequest> const mRequests;
    std::vector<std::uint32_t> mControllerOf;  // by the record's clients
    ScenarioPlan mPlan;
    std::map<std::size_t, std::size_t> mPartOf;  // of a client, the one that goes on
    std::map<int, int> mPowerOns;
    std::set<std::size_t> mLetGo;
    std::set<std::string> mNames;
};

}  // namespace

std::string scenarioOf(Record const& record, std::vector<std::string> const& notes) {
    return textOf(Planner(record).plan(), record, notes);
}

}  // namespace zeqcam::tool
