#include "evidence/Fragments.h"

#include "evidence/InBlocks.h"
#include "evidence/Reading.h"

#include <cstdint>

namespace zeqcam::tests {

using namespace tool;

std::vector<ReadProcess> read(std::vector<std::string> const& texts) {
    ProcessRecords records;
    std::vector<ProcessRecords::File> files;
    for (std::string const& text : texts) {
        InBlocks source(text);
        auto const index = static_cast<std::uint16_t>(files.size());
        auto const result = readEvidence(source, index, ProcessRecords::wanted(), records);
        files.push_back({"file " + std::to_string(index), result.isWallTimeKnown});
    }
    return records.finish(files);
}

std::vector<std::string> requestsOf(Record const& record) {
    std::vector<std::string> all;
    for (Request const& request : record.requests) {
        auto const thread = *record.clients[request.client].thread;
        std::string text =
            std::to_string(*record.threads[thread].id) + ' ' + std::string(nameOf(request.kind));
        if (!request.sensors) text += " ?";
        for (int const sensor : request.sensors.value_or(std::vector<int>()))
            text += ' ' + std::to_string(sensor);
        if (request.result) text += *request.result ? ": true" : ": false";
        all.push_back(text + (request.ended ? "" : ", end unknown"));
    }
    return all;
}

std::string line(int ms, int thread, std::string const& text, int process) {
    std::string const time = std::to_string(1000 + ms).substr(1);
    bool const isDebug =
        text.find("PowerOnLock") != std::string::npos || text.find("sensorId(") != std::string::npos;
    return "11-23 10:00:00." + time + "  " + std::to_string(process) + "  " + std::to_string(thread) +
           (isDebug ? " D " : " I ") + "zeqcam-PowerOnOffController: [PowerOnOffController::f] " + text +
           '\n';
}

std::string event(int ms, int thread, std::string const& text) {
    return "  camera-" + std::to_string(thread) + "  (  800) [000] ..... 5." +
           std::to_string(1000 + ms).substr(1) + "000: " + text + '\n';
}
std::string begin(int ms, int thread, std::string const& label) {
    return event(ms, thread, "tracing_mark_write: B|800|" + label);
}
std::string end(int ms, int thread) {
    return event(ms, thread, "tracing_mark_write: E|800");
}
std::string starts(int ms, int thread, int started) {
    return event(
        ms, thread,
        "task_newtask: pid=" + std::to_string(started) + " comm=w clone_flags=3d0f00 oom_score_adj=0");
}
std::string worker(int ms, int thread, int sensor, bool up) {
    return begin(ms, thread, "powerOnSensor: " + std::to_string(sensor)) +
           (up ? begin(ms + 20, thread, "init()::IPeripheralController") + end(ms + 21, thread) : "") +
           end(ms + 30, thread);
}

}  // namespace zeqcam::tests
