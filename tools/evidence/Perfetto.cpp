#include "evidence/Perfetto.h"

#include "evidence/CompactSched.h"
#include "evidence/Inflate.h"
#include "evidence/Marker.h"
#include "evidence/Packets.h"
#include "evidence/PerfettoFields.h"
#include "evidence/Protobuf.h"

#include <protozero/exception.hpp>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace zeqcam::tool {
namespace {

using namespace perfetto;
using std::chrono::nanoseconds;

// Phones have some ten; what a damaged file names more of is not worth memory.
constexpr std::size_t kMostProcessors = 1024;

// The kernel's TASK_… bits: dead ones and zombies.
constexpr std::uint64_t kEndedStates = 0x10 | 0x20;
// Above these stands that the thread was preempted.
constexpr std::uint64_t kStates = 0xff;

Scheduling::State stateOf(std::uint64_t bits) {
    if ((bits & kStates) == 0) return Scheduling::State::Runnable;
    return (bits & kEndedStates) != 0 ? Scheduling::State::Ended : Scheduling::State::Asleep;
}

// The kernel's id; 0 where it is none, which is no thread's either.
std::int32_t idFrom(std::uint64_t number) {
    constexpr std::uint64_t kMost = 0x7fff'ffff;
    return number <= kMost ? static_cast<std::int32_t>(number) : 0;
}

// No clock of a phone shows more than this, 146 years; sums and differences of two fit too.
nanoseconds nanosecondsOf(std::uint64_t time) {
    constexpr std::uint64_t kMost = (std::uint64_t{1} << 62U) - 1;
    return nanoseconds(static_cast<std::int64_t>(std::min(time, kMost)));
}

char levelOf(std::uint64_t priority) {
    constexpr std::string_view kLevels = "??VDIWEF";
    return priority >= 2 && priority < kLevels.size() ? kLevels[priority] : 'D';
}

}  // namespace

void PerfettoReader::read(Bytes& bytes) {
    readPackets(bytes);
    mOrder.finish();
}

void PerfettoReader::readPackets(Bytes& bytes) {
    Packets packets(bytes);
    for (;;) {
        bool const hasNext = packets.next();
        if (packets.damaged() > 0) tellLost(std::to_string(packets.damaged()) + " bytes are of no packet");
        if (!hasNext) return;
        ++mNumber;
        try {
            takePacket(packets.content());
        } catch (protozero::exception const&) {
            if (packets.isWhole()) tellLost("a part of the packet is damaged");
        }
        if (!packets.isWhole()) tellLost("the packet is cut");
    }
}

void PerfettoReader::takePacket(std::string_view content) {
    for (Message fields(content.data(), content.size()); fields.next(); fields.skip()) {
        switch (fields.tag_and_type()) {
            case packet::kFtraceEvents:
                takeBundle(partOf(fields));
                break;
            case packet::kProcessTree:
                takeProcessTree(partOf(fields));
                break;
            case packet::kClockSnapshot:
                takeClocks(partOf(fields));
                break;
            case packet::kAndroidLog:
                takeLog(partOf(fields));
                break;
            case packet::kCompressedPackets:
                takeCompressed(partOf(fields));
                break;
            default:
                break;
        }
    }
}

void PerfettoReader::takeCompressed(std::string_view content) {
    // They stand in its stead; and they hold no compressed ones.
    --mNumber;
    if (mIsCompressed) return;
    mIsCompressed = true;
    MemorySource memory(content);
    Bytes compressed(memory);
    InflatedSource source(compressed);
    Bytes inflated(source);
    readPackets(inflated);
    mIsCompressed = false;
    if (!source.fault().empty()) tellLost(source.fault());
}

// What a bundle tells beside its events, wherever it stands. What is cut or damaged is told with those.
PerfettoReader::Bundle PerfettoReader::bundleOf(std::string_view content) {
    Bundle bundle;
    try {
        for (Message fields = messageOf(content); fields.next(); fields.skip()) {
            auto const field = fields.tag_and_type();
            if (field == bundle::kCpu) bundle.processor = static_cast<std::uint32_t>(numberOf(fields));
            if (field == bundle::kLostEvents) bundle.hasLost = numberOf(fields) != 0;
            if (field == bundle::kFtraceClock && numberOf(fields) != 0) bundle.clock = ClockKind::Trace;
        }
    } catch (protozero::exception const&) {
    }
    return bundle;
}

void PerfettoReader::takeBundle(std::string_view content) {
    Bundle const bundle = bundleOf(content);
    if (bundle.hasLost) {
        // Who runs now may be another one.
        mRunning.erase(bundle.processor);
        tellLost("events of processor " + std::to_string(bundle.processor) + " were lost");
    }
    if (mRunning.size() > kMostProcessors) mRunning.clear();
    for (Message fields = messageOf(content); fields.next(); fields.skip()) {
        if (fields.tag_and_type() == bundle::kEvent) takeEvent(allOf(fields), bundle);
        if (fields.tag_and_type() == bundle::kCompactSched) takeCompact(allOf(fields), bundle);
    }
}

void PerfettoReader::takeEvent(std::string_view content, Bundle const& bundle) {
    std::uint64_t time = 0;
    std::int32_t thread = 0;
    std::uint32_t kind = 0;
    std::string_view what;
    for (Message fields = messageOf(content); fields.next(); fields.skip()) {
        switch (fields.tag_and_type()) {
            case event::kTimestamp:
                time = numberOf(fields);
                break;
            case event::kPid:
                thread = idFrom(numberOf(fields));
                break;
            case event::kPrint:
            case event::kSchedSwitch:
            case event::kSchedWaking:
            case event::kTaskNewtask:
                kind = fields.tag_and_type();
                what = allOf(fields);
                break;
            default:
                break;
        }
    }
    Item item = itemAt(time, bundle.clock);
    item.thread = thread;
    if (kind == event::kPrint) takePrint(what, item);
    if (kind == event::kSchedSwitch) takeSwitch(what, item);
    if (kind == event::kSchedWaking) takeWaking(what, item);
    if (kind == event::kTaskNewtask) takeStart(what, item);
}

void PerfettoReader::takePrint(std::string_view content, Item item) {
    std::string_view text;
    for (Message fields = messageOf(content); fields.next(); fields.skip()) {
        if (fields.tag_and_type() == print::kBuf) text = allOf(fields);
    }
    if (!text.empty() && text.back() == '\n') text.remove_suffix(1);
    auto const marker = markerOf(text);
    if (!marker) return;
    item.process = marker->process;
    mThreads.tell(item, item.thread, {}, item.process, mOrder);
    if (marker->begins) {
        item.what = SectionBegin{.label = marker->label};
    } else {
        item.what = SectionEnd{};
    }
    tell(item);
}

void PerfettoReader::takeSwitch(std::string_view content, Item item) {
    std::uint64_t state = 0;
    std::int32_t next = 0;
    std::string_view previousName;
    std::string_view nextName;
    for (Message fields = messageOf(content); fields.next(); fields.skip()) {
        switch (fields.tag_and_type()) {
            case sched_switch::kPrevComm:
                previousName = allOf(fields);
                break;
            case sched_switch::kPrevPid:
                item.thread = idFrom(numberOf(fields));
                break;
            case sched_switch::kPrevState:
                state = numberOf(fields);
                break;
            case sched_switch::kNextComm:
                nextName = allOf(fields);
                break;
            case sched_switch::kNextPid:
                next = idFrom(numberOf(fields));
                break;
            default:
                break;
        }
    }
    mThreads.tell(item, item.thread, previousName, {}, mOrder);
    item.what = Switch{.next = next, .left = stateOf(state)};
    tell(item);
    mThreads.tell(item, next, nextName, {}, mOrder);
}

void PerfettoReader::takeWaking(std::string_view content, Item item) {
    std::int32_t woken = 0;
    std::string_view name;
    for (Message fields = messageOf(content); fields.next(); fields.skip()) {
        if (fields.tag_and_type() == sched_waking::kComm) name = allOf(fields);
        if (fields.tag_and_type() == sched_waking::kPid) woken = idFrom(numberOf(fields));
    }
    if (woken == 0) return;
    item.what = Waking{woken};
    tell(item);
    mThreads.tell(item, woken, name, {}, mOrder);
}

void PerfettoReader::takeStart(std::string_view content, Item item) {
    ThreadStart start;
    for (Message fields = messageOf(content); fields.next(); fields.skip()) {
        if (fields.tag_and_type() == task_newtask::kPid) start.started = idFrom(numberOf(fields));
        if (fields.tag_and_type() == task_newtask::kComm) start.name = allOf(fields);
    }
    if (start.started == 0) return;
    mThreads.forget(start.started);
    item.what = start;
    tell(item);
}

// Who leaves the processor and who wakes is who ran on it before.
void PerfettoReader::takeCompact(std::string_view content, Bundle const& bundle) {
    CompactSched columns(content);
    auto const running = mRunning.find(bundle.processor);
    std::int32_t current = running == mRunning.end() ? 0 : running->second;
    while (columns.switchTime() || columns.wakingTime()) {
        bool const isSwitch =
            columns.switchTime() && (!columns.wakingTime() || *columns.switchTime() <= *columns.wakingTime());
        if (!isSwitch) {
            auto const waking = columns.nextWaking();
            Item item = itemAt(waking.time, bundle.clock);
            item.thread = current;
            item.what = Waking{idFrom(waking.woken)};
            tell(item);
            continue;
        }
        auto const to = columns.nextSwitch();
        Item item = itemAt(to.time, bundle.clock);
        item.thread = current;
        current = idFrom(to.next);
        item.what = Switch{.next = current, .left = stateOf(to.state)};
        tell(item);
        mThreads.tell(item, current, to.nextName, {}, mOrder);
    }
    mRunning[bundle.processor] = current;
}

void PerfettoReader::takeProcessTree(std::string_view content) {
    for (Message fields = messageOf(content); fields.next(); fields.skip()) {
        if (fields.tag_and_type() == process_tree::kProcesses) takeProcess(allOf(fields));
        if (fields.tag_and_type() == process_tree::kThreads) takeThread(allOf(fields));
    }
}

void PerfettoReader::takeProcess(std::string_view content) {
    Item item = itemAt(0, ClockKind::Boot);
    std::optional<std::string_view> command;
    for (Message fields = messageOf(content); fields.next(); fields.skip()) {
        if (fields.tag_and_type() == process::kPid) item.thread = idFrom(numberOf(fields));
        // The words of the command line; the first is the program.
        if (fields.tag_and_type() == process::kCmdline && !command) command = allOf(fields);
    }
    if (item.thread == 0) return;
    item.process = item.thread;
    item.what = ThreadName{.name = {}, .process = command.value_or("")};
    mSink.take(item);
}

void PerfettoReader::takeThread(std::string_view content) {
    Item item = itemAt(0, ClockKind::Boot);
    ThreadName name;
    for (Message fields = messageOf(content); fields.next(); fields.skip()) {
        switch (fields.tag_and_type()) {
            case thread::kTid:
                item.thread = idFrom(numberOf(fields));
                break;
            case thread::kName:
                name.name = allOf(fields);
                break;
            case thread::kTgid:
                item.process = idFrom(numberOf(fields));
                break;
            default:
                break;
        }
    }
    if (item.thread == 0) return;
    item.what = name;
    mSink.take(item);
}

void PerfettoReader::takeClocks(std::string_view content) {
    std::optional<std::uint64_t> boot;
    std::vector<std::pair<ClockKind, std::uint64_t>> others;
    for (Message fields = messageOf(content); fields.next(); fields.skip()) {
        if (fields.tag_and_type() != clock_snapshot::kClocks) continue;
        std::uint64_t id = 0;
        std::uint64_t shown = 0;
        for (Message clock = messageOf(allOf(fields)); clock.next(); clock.skip()) {
            if (clock.tag_and_type() == clock::kClockId) id = numberOf(clock);
            if (clock.tag_and_type() == clock::kTimestamp) shown = numberOf(clock);
        }
        if (id == clock::Boot) boot = shown;
        if (id == clock::Wall) others.emplace_back(ClockKind::Wall, shown);
        if (id == clock::Monotonic) others.emplace_back(ClockKind::Monotonic, shown);
        // A snapshot has each clock once.
        if (others.size() > 2) return;
    }
    if (!boot) return;
    for (auto const& [clock, shown] : others) {
        Item item = itemAt(*boot, ClockKind::Boot);
        ClockReading const reading{.clock = clock, .shown = nanosecondsOf(shown)};
        if (clock == ClockKind::Wall) mWallSinceBoot = reading.shown - item.time;
        item.what = reading;
        mSink.take(item);
    }
}

void PerfettoReader::takeLog(std::string_view content) {
    for (Message fields = messageOf(content); fields.next(); fields.skip()) {
        if (fields.tag_and_type() == android_log::kEvents) takeLogEvent(allOf(fields));
    }
}

void PerfettoReader::takeLogEvent(std::string_view content) {
    Item item;
    std::uint64_t time = 0;
    LogLine line;
    std::string_view message;
    for (Message fields = messageOf(content); fields.next(); fields.skip()) {
        switch (fields.tag_and_type()) {
            case log_event::kPid:
                item.process = idFrom(numberOf(fields));
                break;
            case log_event::kTid:
                item.thread = idFrom(numberOf(fields));
                break;
            case log_event::kTimestamp:
                time = numberOf(fields);
                break;
            case log_event::kTag:
                line.tag = allOf(fields);
                if (!mWanted.tag(line.tag)) return;
                break;
            case log_event::kPrio:
                line.level = levelOf(numberOf(fields));
                break;
            case log_event::kMessage:
                message = allOf(fields);
                break;
            default:
                break;
        }
    }
    if (line.tag.empty()) return;
    item.clock = ClockKind::Wall;
    item.time = nanosecondsOf(time);
    item.place = {.number = mNumber, .file = mFile};
    // Each line of a message is one of the log, as logcat shows it.
    for (auto end = message.find('\n'); !message.empty(); end = message.find('\n')) {
        line.text = message.substr(0, end);
        message.remove_prefix(std::min(line.text.size() + 1, message.size()));
        item.what = line;
        mOrder.take(item, mWallSinceBoot ? item.time - *mWallSinceBoot : mTime);
    }
}

void PerfettoReader::tell(Item const& item) {
    mTime = item.time;
    mOrder.take(item);
}

void PerfettoReader::tellLost(std::string_view what) {
    Item item;
    item.time = mTime;
    item.clock = ClockKind::Boot;
    item.place = {.number = mNumber, .file = mFile};
    item.what = Lost{what};
    mOrder.take(item);
}

Item PerfettoReader::itemAt(std::uint64_t time, ClockKind clock) const {
    Item item;
    item.time = nanosecondsOf(time);
    item.clock = clock;
    item.place = {.number = mNumber, .file = mFile};
    return item;
}

}  // namespace zeqcam::tool
