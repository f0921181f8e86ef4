// What PerfettoReader makes of the kernel's events.
#include "evidence/CompactSched.h"
#include "evidence/Marker.h"
#include "evidence/Perfetto.h"
#include "evidence/PerfettoFields.h"
#include "evidence/PerfettoValues.h"
#include "evidence/Protobuf.h"

#include <protozero/exception.hpp>

#include <cstddef>
#include <string>

namespace zeqcam::tool {
namespace {

using namespace perfetto;

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

}  // namespace

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

}  // namespace zeqcam::tool
