#include "PowerTest.h"

#include "rules/Rule.h"
#include "run/JournalRecord.h"

#include <sys/resource.h>

#include <algorithm>
#include <map>

namespace zeqcam::tests {
namespace {

bool isOf(Entry const& entry, std::vector<Kind> const& kinds) {
    return std::find(kinds.begin(), kinds.end(), entry.kind) != kinds.end();
}

template <class Keep>
std::vector<Entry> filtered(std::vector<Entry> const& entries, Keep keep) {
    std::vector<Entry> kept;
    std::copy_if(entries.begin(), entries.end(), std::back_inserter(kept), keep);
    return kept;
}

bool isOfSensor(Kind kind) {
    return kind >= Kind::SensorCreate && kind <= Kind::PeripheralRelease;
}

int niceValue() {
    return getpriority(PRIO_PROCESS, 0);
}

// Returns what is wrong: a section left open, or an end without a begin.
std::string unbalancedSections(std::vector<Entry> const& entries) {
    std::map<int, std::vector<std::string>> open;
    for (Entry const& entry : entries) {
        if (entry.kind == Kind::TraceBegin) open[entry.thread].push_back(entry.text);
        if (entry.kind != Kind::TraceEnd) continue;
        if (open[entry.thread].empty()) return "an end without a begin";
        open[entry.thread].pop_back();
    }
    for (auto const& [thread, labels] : open) {
        if (!labels.empty()) return "left open: " + labels.back();
    }
    return "";
}

}  // namespace

std::vector<Kind> const kNoise = {Kind::DebugPrint, Kind::FilenameText, Kind::AndroidLog, Kind::PropertyGet,
                                  Kind::TraceTags,  Kind::QosOpen,      Kind::QosWrite,   Kind::QosWriteDone,
                                  Kind::QosClose,   Kind::TaskSetFuture};

std::string tell(Entry const& entry) {
    switch (entry.kind) {
        case Kind::TraceBegin:
            return "{ " + entry.text;
        case Kind::TraceEnd:
            return "} " + entry.text;
        case Kind::UnifiedLog:
            return std::string(1, "?EWI?D"[entry.number % 6]) + " " + entry.shown;
        default:
            break;
    }
    std::string const name(nameOf(entry.kind));
    if (isOfSensor(entry.kind)) return name + " " + std::to_string(entry.sensor);
    return entry.text.empty() ? name : name + " " + entry.text;
}

std::vector<std::string> tell(std::vector<Entry> const& entries) {
    std::vector<std::string> story;
    for (Entry const& entry : entries) story.push_back(tell(entry));
    return story;
}

std::vector<Entry> ofThread(std::vector<Entry> const& entries, int thread) {
    return filtered(entries, [&](Entry const& entry) { return entry.thread == thread; });
}

std::vector<Entry> ofKinds(std::vector<Entry> const& entries, std::vector<Kind> const& kinds) {
    return filtered(entries, [&](Entry const& entry) { return isOf(entry, kinds); });
}

std::vector<Entry> without(std::vector<Entry> const& entries, std::vector<Kind> const& kinds) {
    return filtered(entries, [&](Entry const& entry) { return !isOf(entry, kinds); });
}

std::vector<std::string> logLines(std::vector<Entry> const& entries) {
    return tell(ofKinds(entries, {Kind::UnifiedLog}));
}

std::vector<int> threadsOf(std::vector<Entry> const& entries, Kind kind) {
    std::vector<int> threads;
    for (Entry const& entry : ofKinds(entries, {kind})) threads.push_back(entry.thread);
    return threads;
}

std::vector<std::string> brokenRules(std::vector<Entry> const& entries) {
    return brokenRules(tool::recordOf(entries, {}));
}

std::vector<std::string> brokenRules(tool::Record const& record) {
    std::vector<std::string> broken;
    for (tool::Judgement const& judgement : tool::judge(record)) {
        for (tool::Breach const& breach : judgement.breaches.value())
            broken.push_back(std::string(judgement.rule->name) + ": " + breach.text);
    }
    return broken;
}

LineWatch::LineWatch(std::function<void(std::string const& line)> see)
    : std::ostream(nullptr), mBuffer(std::move(see)) {
    rdbuf(&mBuffer);
}

int LineWatch::Buffer::sync() {
    std::string const line = str();
    str("");
    if (!line.empty()) mSee(line);
    return 0;
}

PowerTest::PowerTest() {
    for (int sensor : {0, 1, 2}) mSettings.sensors[sensor];
}

void PowerTest::SetUp() {
    mNice = niceValue();
    mBoard.emplace(mSettings);
}

void PowerTest::TearDown() {
    EXPECT_EQ(unbalancedSections(entries()), "");
    EXPECT_EQ(board().openHandles(), 0);
    EXPECT_EQ(board().openServices(), 0);
    EXPECT_EQ(niceValue(), mNice);
    NSCam::IPowerOnOffController::waitSensorsPowerOff();  // does not return while the lock is held
}

PowerTest::Controller PowerTest::create(std::vector<int> sensorIds) {
    return NSCam::IPowerOnOffController::create({.sensorIds = std::move(sensorIds)});
}

std::vector<Entry> PowerTest::entriesOf(std::function<void()> const& call) {
    std::size_t const before = entries().size();
    call();
    std::vector<Entry> all = entries();
    all.erase(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(before));
    return all;
}

}  // namespace zeqcam::tests
