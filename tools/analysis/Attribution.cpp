#include "analysis/Attribution.h"

#include <algorithm>
#include <map>

namespace zeqcam::tool {
namespace {

using board::Kind;
using MaybeRequest = OptionalNumber<std::uint32_t>;

constexpr KindSet kPowersOff{Kind::Hal3APowerOff, Kind::PeripheralPowerOff, Kind::SensorPowerOff};

// A request that is under way, and the sensors that other threads may yet be called for in its name.
struct UnderWay {
    std::vector<int> admitted;  // has handles for, and no worker yet
    std::vector<int> posted;    // is to power off, once it has posted its tasks
    bool hasPosted = false;
};

// True when it was among them; it is not any more.
bool take(std::vector<int>& sensors, int sensor) {
    auto const found = std::find(sensors.begin(), sensors.end(), sensor);
    if (found == sensors.end()) return false;
    sensors.erase(found);
    return true;
}

class Attribution {
  public:
    explicit Attribution(Record const& record) : mRecord(record) {}

    MaybeRequest of(Event const& event) {
        if (event.request) {
            follow(event, *event.request);
            return event.request;
        }
        MaybeRequest& request = mThreads[event.thread];
        if (event.kind == Kind::TaskRun) request = {};
        if (event.kind == Kind::SensorPowerOn && event.sensor) request = startOf(*event.sensor);
        if (kPowersOff.contains(event.kind) && event.sensor && !request) request = taskOf(*event.sensor);
        if (event.kind == Kind::SensorPowerOff && event.sensor && request) {
            if (auto const found = mUnderWay.find(*request); found != mUnderWay.end())
                take(found->second.posted, *event.sensor);
        }
        MaybeRequest const of = request;
        if (event.kind == Kind::TaskRunDone || !of) mThreads.erase(event.thread);
        return of;
    }

  private:
    void follow(Event const& event, std::uint32_t request) {
        if (event.kind == Kind::Reply) {
            mUnderWay.erase(request);
            std::erase_if(mThreads, [&](auto const& each) { return each.second == MaybeRequest(request); });
            return;
        }
        UnderWay& state = mUnderWay[request];
        Request const& asked = mRecord.requests[request];
        if (event.kind == Kind::Request && asked.kind == RequestKind::PowerOff)
            state.posted = asked.sensors.value_or(std::vector<int>());
        if (event.kind == Kind::TaskPost) state.hasPosted = true;
        if (event.kind == Kind::SensorCreate && event.sensor && event.number.value_or(1) != 0)
            state.admitted.push_back(*event.sensor);
        if (event.kind == Kind::SensorPowerOff && event.sensor) take(state.posted, *event.sensor);
    }

    MaybeRequest startOf(int sensor) {
        for (auto& [request, state] : mUnderWay) {
            if (take(state.admitted, sensor)) return request;
        }
        return {};
    }

    MaybeRequest taskOf(int sensor) {
        for (auto& [request, state] : mUnderWay) {
            auto const& posted = state.posted;
            if (state.hasPosted && std::find(posted.begin(), posted.end(), sensor) != posted.end())
                return request;
        }
        return {};
    }

    Record const& mRecord;
    // Whose work each thread does. A long record has many threads, of which few work at once.
    std::map<std::uint32_t, MaybeRequest> mThreads;
    std::map<std::uint32_t, UnderWay> mUnderWay;  // by their begins, as the requests are
};

}  // namespace

std::vector<MaybeRequest> attributionOf(Record const& record) {
    Attribution attribution(record);
    std::vector<MaybeRequest> requests;
    requests.reserve(record.events.size());
    for (Event const& event : record.events) requests.push_back(attribution.of(event));
    return requests;
}

}  // namespace zeqcam::tool
