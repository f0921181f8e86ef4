#pragma once

#include <protozero/types.hpp>

#include <cstdint>

// The fields of Perfetto's messages that are read, each with the form in which it stands. One in another form
// is passed over like any that is not known.
namespace zeqcam::tool::perfetto {

constexpr std::uint32_t number(protozero::pbf_tag_type field) {
    return protozero::tag_and_type(field, protozero::pbf_wire_type::varint);
}
constexpr std::uint32_t bytes(protozero::pbf_tag_type field) {
    return protozero::tag_and_type(field, protozero::pbf_wire_type::length_delimited);
}

namespace packet {
constexpr auto kFtraceEvents = bytes(1);
constexpr auto kProcessTree = bytes(2);
constexpr auto kClockSnapshot = bytes(6);
constexpr auto kTimestamp = number(8);
constexpr auto kSequence = number(10);
constexpr auto kTrackEvent = bytes(11);
constexpr auto kInternedData = bytes(12);
constexpr auto kSequenceFlags = number(13);
constexpr auto kAndroidLog = bytes(39);
constexpr auto kCompressedPackets = bytes(50);
constexpr auto kTimestampClock = number(58);
constexpr auto kDefaults = bytes(59);
constexpr auto kTrackDescriptor = bytes(60);
constexpr std::uint64_t kStateCleared = 1;  // of the flags
}  // namespace packet

namespace bundle {
constexpr auto kCpu = number(1);
constexpr auto kEvent = bytes(2);
constexpr auto kLostEvents = number(3);
constexpr auto kCompactSched = bytes(4);
constexpr auto kFtraceClock = number(5);
}  // namespace bundle

namespace event {
constexpr auto kTimestamp = number(1);
constexpr auto kPid = number(2);
constexpr auto kPrint = bytes(3);
constexpr auto kSchedSwitch = bytes(4);
constexpr auto kSchedWaking = bytes(20);
constexpr auto kTaskNewtask = bytes(235);
}  // namespace event

namespace print {
constexpr auto kBuf = bytes(2);
}  // namespace print

namespace sched_switch {
constexpr auto kPrevComm = bytes(1);
constexpr auto kPrevPid = number(2);
constexpr auto kPrevState = number(4);
constexpr auto kNextComm = bytes(5);
constexpr auto kNextPid = number(6);
}  // namespace sched_switch

namespace sched_waking {
constexpr auto kComm = bytes(1);
constexpr auto kPid = number(2);
}  // namespace sched_waking

namespace task_newtask {
constexpr auto kPid = number(1);
constexpr auto kComm = bytes(2);
}  // namespace task_newtask

// Columns, each packed; times are differences.
namespace compact_sched {
constexpr auto kSwitchTimestamp = bytes(1);
constexpr auto kSwitchPrevState = bytes(2);
constexpr auto kSwitchNextPid = bytes(3);
constexpr auto kInternTable = bytes(5);
constexpr auto kSwitchNextCommIndex = bytes(6);
constexpr auto kWakingTimestamp = bytes(7);
constexpr auto kWakingPid = bytes(8);
}  // namespace compact_sched

namespace process_tree {
constexpr auto kProcesses = bytes(1);
constexpr auto kThreads = bytes(2);
}  // namespace process_tree

namespace process {
constexpr auto kPid = number(1);
constexpr auto kCmdline = bytes(3);
}  // namespace process

namespace thread {
constexpr auto kTid = number(1);
constexpr auto kName = bytes(2);
constexpr auto kTgid = number(3);
}  // namespace thread

namespace clock_snapshot {
constexpr auto kClocks = bytes(1);
}  // namespace clock_snapshot

namespace clock {
constexpr auto kClockId = number(1);
constexpr auto kTimestamp = number(2);
constexpr auto kIsIncremental = number(3);
constexpr auto kUnit = number(4);
enum Id : std::uint32_t { Wall = 1, Monotonic = 3, Boot = 6 };
}  // namespace clock

namespace android_log {
constexpr auto kEvents = bytes(1);
constexpr auto kStats = bytes(2);
}  // namespace android_log

namespace log_event {
constexpr auto kPid = number(2);
constexpr auto kTid = number(3);
constexpr auto kTimestamp = number(5);
constexpr auto kTag = bytes(6);
constexpr auto kPrio = number(7);
constexpr auto kMessage = bytes(8);
}  // namespace log_event

namespace defaults {
constexpr auto kTrackEvent = bytes(11);
constexpr auto kClock = number(58);
}  // namespace defaults

namespace interned_data {
constexpr auto kEventNames = bytes(2);
constexpr auto kId = number(1);
constexpr auto kName = bytes(2);
}  // namespace interned_data

namespace track_descriptor {
constexpr auto kId = number(1);
constexpr auto kThread = bytes(4);
constexpr auto kProcessId = number(1);
constexpr auto kThreadId = number(2);
constexpr auto kThreadName = bytes(5);
}  // namespace track_descriptor

namespace track_event {
constexpr auto kType = number(9);
constexpr auto kNameId = number(10);
constexpr auto kTrack = number(11);
constexpr auto kName = bytes(23);
enum Type : std::uint32_t { SliceBegin = 1, SliceEnd = 2 };
}  // namespace track_event

}  // namespace zeqcam::tool::perfetto
