#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace zeqcam::tool {

// What one of the library's log lines or trace sections says.
enum class Saying : std::uint8_t {
    // Lines of a power-on, on its thread
    LockTaken,
    LockNotTaken,
    Admitted,       // sensor
    Skipped,        // sensor, which counts as on already
    NotDriven,      // sensor, which is not of this controller
    PowerOnBegins,  // "powerOn +"
    PowerOnSection,
    RecordMade,   // sensor; "0[Hal3AListener::Hal3AListener] 0x…"
    RecordFiled,  // "add new data", "replace data"
    NoSensorList,
    NoHandle,  // sensor
    NoRecord,  // "create data fail"
    NoWorker,  // "create worker fail"
    // A worker's, on its own thread
    WorkerSection,  // sensor
    WorkerBegins,   // sensor; "[initSensor] powerOnSensor: 0"
    PeripheralInitSection,
    PeripheralOnSection,
    NoPeripheral,  // sensor
    Hal3AInitSection,
    Hal3AOnSection,
    No3A,          // sensor
    SensorFailed,  // sensor
    // The end of a power-on
    AllUp,  // the line "3A notifyPowerOn": all workers have ended
    NotifyOnSection,
    PowerOnEnds,  // "powerOn -"
    // A power-off, on its thread
    PowerOffBegins,  // "powerOff +"
    PowerOffSection,
    NotQueued,    // sensor
    TaskSection,  // sensor; on a queue's thread where there are several
    StillInList,  // sensor; of the end of a controller
    Hal3AOffSection,
    PeripheralOffSection,
    LockReleased,  // "gSensorPowerOnLock unlock"
    PowerOffEnds,  // "powerOff -"
    // In a trace of our own
    ClientRequest,
    SensorCall,  // sensor
    // Whenever
    Hint,  // a write to the task QoS file, or its failure
    Other,
};

struct Sign {
    Saying saying = Saying::Other;
    std::optional<int> sensor;
    // Of a line: as the debug print writes it, with where it stands in the sources. The other log may have
    // the same line.
    bool isDebugPrint = false;
};

// Whether lines with this tag may be ours.
bool isOurTag(std::string_view tag);

// None: the line is somebody else's. An unknown tag is empty.
std::optional<Sign> signOfLine(std::string_view tag, std::string_view text);

// None: the section is somebody else's. A sensor may have a name in place of its id, which `sensorName` is
// then.
struct SectionSign {
    Saying saying;
    std::optional<int> sensor;
    std::string_view sensorName{};
};
std::optional<SectionSign> signOfSection(std::string_view label);

// Where a sign stands in the order of one request: lines and sections of one thread ascend in it.
int phaseOf(Saying saying, bool isEnd);

}  // namespace zeqcam::tool
