#include "evidence/TrackEvents.h"

#include "evidence/PerfettoFields.h"
#include "evidence/PerfettoValues.h"
#include "evidence/Protobuf.h"

#include <cstddef>
#include <utility>

namespace zeqcam::tool {
namespace {

using namespace perfetto;
using std::chrono::nanoseconds;

// What a damaged file tells more of is not worth memory.
constexpr std::size_t kMostSequences = 4096;
constexpr std::size_t kMostNames = 65'536;
constexpr std::size_t kMostTracks = 65'536;

// Clocks from here on are a sequence's own.
constexpr std::uint64_t kFirstOwnClock = 64;

}  // namespace

void TrackEvents::take(Packet const& packet, Place place) {
    if (mSequences.size() >= kMostSequences) mSequences.clear();
    Sequence& sequence = mSequences[packet.sequence];
    if (packet.begins) sequence = {};
    if (!packet.clocks.empty()) takeClocks(packet.clocks, sequence);
    if (!packet.defaults.empty()) takeDefaults(packet.defaults, sequence);
    if (!packet.names.empty()) takeNames(packet.names, sequence);
    if (!packet.track.empty()) takeTrack(packet.track, place);
    // A clock that counts goes on with each packet.
    if (auto const when = timeOf(packet, sequence); when && !packet.event.empty())
        takeEvent(packet.event, sequence, *when, place);
}

void TrackEvents::takeClocks(std::string_view content, Sequence& sequence) {
    std::uint64_t boot = 0;
    std::map<std::uint64_t, Clock> own;
    for (auto fields = messageOf(content); fields.next(); fields.skip()) {
        if (fields.tag_and_type() != clock_snapshot::kClocks) continue;
        std::uint64_t id = 0;
        Clock clock;
        for (auto each = messageOf(allOf(fields)); each.next(); each.skip()) {
            if (each.tag_and_type() == clock::kClockId) id = numberOf(each);
            if (each.tag_and_type() == clock::kTimestamp) clock.shown = numberOf(each);
            if (each.tag_and_type() == clock::kIsIncremental) clock.counts = numberOf(each) != 0;
            if (each.tag_and_type() == clock::kUnit) clock.unit = numberOf(each);
        }
        if (id == clock::Boot) boot = clock.shown;
        if (id >= kFirstOwnClock && own.size() < kFirstOwnClock) own[id] = clock;
    }
    for (auto& [id, clock] : own) {
        clock.sinceBoot = static_cast<std::int64_t>(boot - clock.shown * clock.unit);
        sequence.clocks[id] = clock;
    }
}

void TrackEvents::takeDefaults(std::string_view content, Sequence& sequence) {
    for (auto fields = messageOf(content); fields.next(); fields.skip()) {
        if (fields.tag_and_type() == defaults::kClock) sequence.clock = numberOf(fields);
        if (fields.tag_and_type() != defaults::kTrackEvent) continue;
        for (auto each = messageOf(allOf(fields)); each.next(); each.skip()) {
            if (each.tag_and_type() == track_event::kTrack) sequence.track = numberOf(each);
        }
    }
}

void TrackEvents::takeNames(std::string_view content, Sequence& sequence) {
    for (auto fields = messageOf(content); fields.next(); fields.skip()) {
        if (fields.tag_and_type() != interned_data::kEventNames) continue;
        std::uint64_t id = 0;
        std::string_view name;
        for (auto each = messageOf(allOf(fields)); each.next(); each.skip()) {
            if (each.tag_and_type() == interned_data::kId) id = numberOf(each);
            if (each.tag_and_type() == interned_data::kName) name = allOf(each);
        }
        if (sequence.names.size() < kMostNames) sequence.names[id] = name;
    }
}

void TrackEvents::takeTrack(std::string_view content, Place place) {
    std::uint64_t id = 0;
    Track track;
    std::string_view name;
    for (auto fields = messageOf(content); fields.next(); fields.skip()) {
        if (fields.tag_and_type() == track_descriptor::kId) id = numberOf(fields);
        if (fields.tag_and_type() != track_descriptor::kThread) continue;
        for (auto each = messageOf(allOf(fields)); each.next(); each.skip()) {
            if (each.tag_and_type() == track_descriptor::kProcessId) track.process = idFrom(numberOf(each));
            if (each.tag_and_type() == track_descriptor::kThreadId) track.thread = idFrom(numberOf(each));
            if (each.tag_and_type() == track_descriptor::kThreadName) name = allOf(each);
        }
    }
    if (track.thread == 0 || mTracks.size() >= kMostTracks) return;
    mTracks[id] = track;
    Item item;
    item.clock = ClockKind::Boot;
    item.place = place;
    item.process = track.process;
    item.thread = track.thread;
    item.what = ThreadName{.name = name, .process = {}};
    mSink.take(item);
}

std::optional<TrackEvents::When> TrackEvents::timeOf(Packet const& packet, Sequence& sequence) {
    if (!packet.time) return {};
    std::uint64_t const id = packet.clock.value_or(sequence.clock);
    if (id == clock::Boot) return When{ClockKind::Boot, nanosecondsOf(*packet.time)};
    if (id == clock::Monotonic) return When{ClockKind::Monotonic, nanosecondsOf(*packet.time)};
    auto const own = sequence.clocks.find(id);
    if (own == sequence.clocks.end()) return {};
    Clock& clock = own->second;
    std::uint64_t const shown = clock.counts ? clock.shown += *packet.time : *packet.time;
    return When{ClockKind::Boot,
                nanosecondsOf(shown * clock.unit + static_cast<std::uint64_t>(clock.sinceBoot))};
}

void TrackEvents::takeEvent(std::string_view content, Sequence const& sequence, When when, Place place) {
    std::uint64_t type = 0;
    std::uint64_t track = sequence.track;
    std::string_view name;
    for (auto fields = messageOf(content); fields.next(); fields.skip()) {
        switch (fields.tag_and_type()) {
            case track_event::kType:
                type = numberOf(fields);
                break;
            case track_event::kTrack:
                track = numberOf(fields);
                break;
            case track_event::kName:
                name = allOf(fields);
                break;
            case track_event::kNameId:
                if (auto const known = sequence.names.find(numberOf(fields)); known != sequence.names.end())
                    name = known->second;
                break;
            default:
                break;
        }
    }
    auto const thread = mTracks.find(track);
    bool const isSection = type == track_event::SliceBegin || type == track_event::SliceEnd;
    if (!isSection || thread == mTracks.end()) return;
    Item item;
    item.clock = when.clock;
    item.time = when.time;
    item.place = place;
    item.process = thread->second.process;
    item.thread = thread->second.thread;
    if (type == track_event::SliceBegin) {
        item.what = SectionBegin{.label = name};
    } else {
        item.what = SectionEnd{};
    }
    mOrder.take(item, when.clock == ClockKind::Monotonic ? when.time - mMonotonicSinceBoot : when.time);
}

}  // namespace zeqcam::tool
