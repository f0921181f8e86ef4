#include "analysis/SensorLanes.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

namespace zeqcam::tool {
namespace {

using board::Kind;

class LaneReader {
  public:
    explicit LaneReader(Record const& record) : mRecord(record) {}

    void read(Event const& event) {
        readState(event);
        if (!event.request) return;
        Request const& request = mRecord.requests[*event.request];
        if (event.kind == Kind::Request) readRequest(request, event.time);
        bool const isTold = event.kind == Kind::Reply && request.kind == RequestKind::PowerOn;
        if (!isTold || event.number.value_or(0) == 0 || !request.sensors) return;
        for (int const sensor : *request.sensors) {
            Now& now = mNow[sensor];
            cut(now, event.time);
            now.clients.insert(request.client);
        }
    }

    std::vector<SensorLane> finish() {
        std::vector<SensorLane> lanes;
        for (auto& [sensor, now] : mNow) {
            if (!now.isPowered) continue;
            cut(now, std::max(mRecord.end, now.since));
            lanes.push_back({sensor, std::move(now.parts)});
        }
        std::sort(lanes.begin(), lanes.end(), [this](SensorLane const& left, SensorLane const& right) {
            return mRecord.placeOfSensor(left.sensor) < mRecord.placeOfSensor(right.sensor);
        });
        return lanes;
    }

  private:
    struct Now {
        Instant since;  // of the part that goes on; before the record: its begin
        SensorState state = SensorState::Off;
        bool isUnknown = false;  // whatever `state` says: no part is told
        std::set<std::uint32_t> clients;
        bool isPowered = false;  // there was a call on it
        std::vector<SensorPart> parts;
    };

    void readState(Event const& event) {
        if (!event.sensor) return;
        bool const done = event.number.value_or(1) != 0;  // what is unknown is no failure
        switch (event.kind) {
            case Kind::SensorPowerOn:
                return change(event, SensorState::PoweringOn);
            case Kind::SensorPowerOnDone:
                return change(event, done ? SensorState::On : SensorState::Failed);
            case Kind::SensorPowerOff:
                return change(event, SensorState::PoweringOff);
            case Kind::SensorPowerOffDone:
                return change(event, done ? SensorState::Off : SensorState::Failed);
            default:
                return;
        }
    }

    void change(Event const& event, SensorState state) {
        Now& now = mNow[*event.sensor];
        cut(now, event.time);
        now.state = state;
        now.isUnknown = false;
        now.isPowered = true;
    }

    void readRequest(Request const& request, Instant time) {
        bool const mayBeAny = request.kind == RequestKind::PowerOff && !request.sensors;
        for (auto& [sensor, now] : mNow) {
            if (mayBeAny) {
                cut(now, time);
                now.isUnknown = true;
                now.clients.clear();
                continue;
            }
            bool const named = request.sensors && std::find(request.sensors->begin(), request.sensors->end(),
                                                            sensor) != request.sensors->end();
            bool const ends =
                request.kind == RequestKind::Destroy || (request.kind == RequestKind::PowerOff && named);
            if (!ends || !now.clients.contains(request.client)) continue;
            cut(now, time);
            now.clients.erase(request.client);
        }
    }

    // Ends the part that goes on, unless it has no length or was the one before it going on.
    void cut(Now& now, Instant time) {
        Instant const begin = std::max(now.since, mRecord.begin);
        now.since = std::max(time, begin);
        if (time <= begin || now.isUnknown) return;
        SensorPart part{begin, time, now.state, {now.clients.begin(), now.clients.end()}};
        bool const goesOn = !now.parts.empty() && now.parts.back().end == begin &&
                            now.parts.back().state == part.state && now.parts.back().clients == part.clients;
        if (goesOn) {
            now.parts.back().end = time;
        } else {
            now.parts.push_back(std::move(part));
        }
    }

    Record const& mRecord;
    std::map<int, Now> mNow;
};

}  // namespace

std::string_view nameOf(SensorState state) {
    switch (state) {
        case SensorState::Off:
            return "off";
        case SensorState::PoweringOn:
            return "powering on";
        case SensorState::On:
            return "on";
        case SensorState::PoweringOff:
            return "powering off";
        case SensorState::Failed:
            return "failed";
    }
    return "?";
}

bool isConflict(SensorPart const& part) {
    return !part.clients.empty() && part.state != SensorState::On && part.state != SensorState::PoweringOn;
}

std::vector<SensorLane> sensorLanesOf(Record const& record) {
    LaneReader reader(record);
    for (Event const& event : record.events) reader.read(event);
    return reader.finish();
}

std::string clientsText(Record const& record, SensorPart const& part) {
    std::string text;
    for (std::uint32_t const client : part.clients) {
        if (!text.empty()) text += ", ";
        text += record.nameOfClient(client);
    }
    return text;
}

}  // namespace zeqcam::tool
