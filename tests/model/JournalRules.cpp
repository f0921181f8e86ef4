#include "JournalRules.h"

#include <map>
#include <set>

namespace zeqcam::tests {
namespace {

using board::Entry;
using board::Kind;

// What one thread has done so far.
struct Thread {
    std::vector<std::string> sections;
    bool hasAffinity = false;
    bool isCritical = false;
};

bool isTo3A(Kind kind) {
    return kind == Kind::Hal3APowerOff || kind == Kind::PeripheralPowerOff;
}

}  // namespace

std::vector<std::string> brokenRules(std::vector<Entry> const& entries) {
    std::vector<std::string> broken;
    std::map<int, Thread> threads;
    std::map<int, std::set<Kind>> sensors;  // what has been done to each in this request
    std::set<int> workers;
    bool released = false;
    for (Entry const& entry : entries) {
        Thread& thread = threads[entry.thread];
        auto& sensor = sensors[entry.sensor];
        switch (entry.kind) {
            case Kind::TraceBegin:
                thread.sections.push_back(entry.text);
                break;
            case Kind::TraceEnd:
                if (thread.sections.empty() || thread.sections.back() != entry.text) {
                    broken.push_back("an end that closes another section: " + entry.text);
                } else {
                    thread.sections.pop_back();
                }
                break;
            case Kind::Affinity:
                thread.hasAffinity = true;
                break;
            case Kind::CriticalTask:
                thread.isCritical = true;
                break;
            case Kind::SensorPowerOn:
                if (!thread.hasAffinity || !thread.isCritical)
                    broken.push_back("a sensor touched before the hints");
                if (!workers.insert(entry.thread).second) broken.push_back("two sensors on one worker");
                break;
            case Kind::SensorAfterPowerOn:
                if (sensor.count(Kind::SensorPowerOnDone) == 0)
                    broken.push_back("after-power-on before power-on");
                break;
            case Kind::SensorPowerOff:
                if (released) broken.push_back("a sensor powered off after a handle was released");
                break;
            case Kind::SensorRelease:
                released = released || sensor.count(Kind::SensorPowerOff) != 0;
                break;
            default:
                break;
        }
        if (isTo3A(entry.kind) && sensor.count(Kind::SensorRelease) != 0) {
            broken.push_back("a service told after its sensor's handle was released");
        }
        sensor.insert(entry.kind);
    }
    for (auto const& [id, thread] : threads) {
        if (!thread.sections.empty()) broken.push_back("a section left open: " + thread.sections.back());
    }
    return broken;
}

}  // namespace zeqcam::tests
