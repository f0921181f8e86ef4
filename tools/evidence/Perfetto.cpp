#include "evidence/Perfetto.h"

#include "evidence/Inflate.h"
#include "evidence/Packets.h"
#include "evidence/PerfettoFields.h"
#include "evidence/PerfettoValues.h"
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
    TrackEvents::Packet tracks;
    for (Message fields(content.data(), content.size()); fields.next(); fields.skip()) {
        switch (fields.tag_and_type()) {
            case packet::kFtraceEvents:
                takeBundle(partOf(fields));
                break;
            case packet::kProcessTree:
                takeProcessTree(partOf(fields));
                break;
            case packet::kClockSnapshot:
                tracks.clocks = partOf(fields);
                takeClocks(tracks.clocks);
                break;
            case packet::kAndroidLog:
                takeLog(partOf(fields));
                break;
            case packet::kCompressedPackets:
                takeCompressed(partOf(fields));
                break;
            default:
                takeTrackField(fields, tracks);
                break;
        }
    }
    if (!tracks.isEmpty()) mTracks.take(tracks, {.number = mNumber, .file = mFile});
}

void PerfettoReader::takeTrackField(Message const& field, TrackEvents::Packet& tracks) {
    switch (field.tag_and_type()) {
        case packet::kTimestamp:
            tracks.time = numberOf(field);
            break;
        case packet::kTimestampClock:
            tracks.clock = numberOf(field);
            break;
        case packet::kSequence:
            tracks.sequence = static_cast<std::uint32_t>(numberOf(field));
            break;
        case packet::kSequenceFlags:
            tracks.begins = (numberOf(field) & packet::kStateCleared) != 0;
            break;
        case packet::kDefaults:
            tracks.defaults = allOf(field);
            break;
        case packet::kInternedData:
            tracks.names = allOf(field);
            break;
        case packet::kTrackDescriptor:
            tracks.track = allOf(field);
            break;
        case packet::kTrackEvent:
            tracks.event = allOf(field);
            break;
        default:
            break;
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
        if (clock == ClockKind::Monotonic) mTracks.setMonotonic(reading.shown - item.time);
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
