#include "analysis/SensorTimes.h"

#include <algorithm>
#include <iterator>

namespace zeqcam::tool {
namespace {

using board::Entry;
using board::Kind;
using Iterator = std::vector<Entry>::const_iterator;

template <class Matches>
Iterator findOnThread(Iterator from, Iterator end, int thread, Matches matches) {
    return std::find_if(from, end,
                        [&](Entry const& entry) { return entry.thread == thread && matches(entry.kind); });
}

// A request that finds its controller busy waits before it does any of these. The sensors that are called
// until then are those of the request it waits for.
bool beginsWork(Kind kind) {
    return kind == Kind::SensorListGet || kind == Kind::TaskPost || kind == Kind::SensorPowerOff;
}

bool beginsCall(Kind kind) {
    return kind == Kind::SensorPowerOn || kind == Kind::SensorPowerOff;
}
bool endsCall(Kind kind) {
    return kind == Kind::SensorPowerOnDone || kind == Kind::SensorPowerOffDone;
}

SensorTimes timesOf(Iterator request, Iterator end) {
    Iterator const reply =
        findOnThread(request, end, request->thread, [](Kind kind) { return kind == Kind::Reply; });
    SensorTimes times;
    // Each id of the request stands for one call: another controller may drive the same sensor meanwhile.
    std::vector<int> uncalled = request->sensors;
    for (auto call = findOnThread(request, reply, request->thread, beginsWork); call != reply; ++call) {
        auto const sensor = std::find(uncalled.begin(), uncalled.end(), call->sensor);
        if (!beginsCall(call->kind) || sensor == uncalled.end()) continue;
        auto const done = findOnThread(call, end, call->thread, endsCall);
        if (done == end) continue;
        uncalled.erase(sensor);
        auto const time = std::chrono::duration_cast<std::chrono::microseconds>(done->time - call->time);
        ++times.calls;
        times.slowest = std::max(times.slowest, time);
        times.oneAfterAnother += time;
    }
    return times;
}

}  // namespace

std::vector<SensorTimes> sensorTimes(std::vector<Entry> const& journal, std::string_view client) {
    std::vector<SensorTimes> times;
    for (auto entry = journal.begin(); entry != journal.end(); ++entry) {
        if (entry->kind == Kind::Request && entry->text == client)
            times.push_back(timesOf(entry, journal.end()));
    }
    return times;
}

}  // namespace zeqcam::tool
