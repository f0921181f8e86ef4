#pragma once

#include "record/Record.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <vector>

namespace zeqcam::tool {

// The times that something took, each time that the record tells of.
class MeasuredTimes {
  public:
    void add(std::chrono::nanoseconds time);

    [[nodiscard]] bool isEmpty() const { return mCount == 0; }
    [[nodiscard]] int count() const { return mCount; }
    [[nodiscard]] std::chrono::microseconds least() const { return mLeast; }
    [[nodiscard]] std::chrono::microseconds most() const { return mMost; }

  private:
    int mCount = 0;
    std::chrono::microseconds mLeast{};
    std::chrono::microseconds mMost{};
};

// A service of a sensor, by the sections in which it is asked for and told.
struct MeasuredService {
    bool isAbsent = false;  // it was asked for and not there
    MeasuredTimes on;
    MeasuredTimes off;
};

// What a record tells of a sensor, for a board that is to behave the same.
struct MeasuredSensor {
    MeasuredTimes on;
    MeasuredTimes off;
    MeasuredService hal3a;
    MeasuredService peripheral;
};

// By the sensor's id; all of the record's stand in it.
std::map<int, MeasuredSensor> measure(Record const& record);

// What a request says of the board at its time, by its lines.
struct MeasuredRequest {
    std::optional<Instant> worked;  // from when it had its controller
    bool isLockReleased = false;    // its controller had no sensor on after it
    bool isNotQueued = false;       // a queue ran none of its tasks
    bool hadNoSensorList = false;
    std::set<int> notDriven;  // sensors that are not of its controller
    std::set<int> skipped;    // sensors that counted as on
    std::set<int> withoutHandle;
    std::set<int> failed;
    std::set<int> hanging;  // sensors whose call had not ended
    std::set<int> powered;  // sensors that it called
};

// By the record's requests.
std::vector<MeasuredRequest> measureRequests(Record const& record);

}  // namespace zeqcam::tool
