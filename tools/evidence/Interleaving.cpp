#include "evidence/Interleaving.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <tuple>
#include <utility>

namespace zeqcam::tool {
namespace {

using std::chrono::nanoseconds;

// Where a sighting goes among those of a finer file: behind the one at `behind`, or, where that is none,
// before all of its time.
struct PlaceInOrder {
    nanoseconds time;
    std::int64_t behind;
};

// Lays what a coarser file tells of one thread between what a finer one tells of it.
class ThreadsOrder {
  public:
    explicit ThreadsOrder(Sightings const& fine, nanoseconds fineResolution)
        : mFine(fine), mFineResolution(fineResolution) {}

    void add(std::size_t place) { mPlaces.push_back(place); }

    // Of the thread's next sighting in the coarser file.
    PlaceInOrder place(Sighting const& coarse, nanoseconds resolution) {
        while (mNext < mPlaces.size() && isBefore(mFine[mPlaces[mNext]], coarse, resolution)) {
            Sighting const& passed = mFine[mPlaces[mNext]];
            mPhase = phaseAt(passed);
            mBehind = static_cast<std::int64_t>(mPlaces[mNext++]);
            mTime = passed.time;
        }
        mPhase = phaseAt(coarse);
        // Lines stand where sections begin and end: of the times that it may stand for, that of the next one.
        if (mNext < mPlaces.size()) {
            nanoseconds const next = mFine[mPlaces[mNext]].time;
            if (coarse.time <= next && next < coarse.time + resolution)
                return {next, static_cast<std::int64_t>(mPlaces[mNext]) - 1};
        }
        if (coarse.time > mTime) return {coarse.time, kNone};
        return {mTime, mBehind};
    }

  private:
    static constexpr std::int64_t kNone = -1;
    static constexpr int kBegins = 2;  // the phase of the line that a request's section follows

    static int phaseAt(Sighting const& sighting) {
        return phaseOf(sighting.saying, sighting.what == Sighting::What::SectionEnd);
    }

    // By times where they say so, else by how far on each is in the request.
    [[nodiscard]] bool isBefore(Sighting const& fine, Sighting const& coarse, nanoseconds resolution) const {
        if (fine.time + mFineResolution <= coarse.time) return true;
        if (coarse.time + resolution <= fine.time) return false;
        // A request that finds nothing to do has no section, and what follows its first lines is another's
        // line.
        if (mPhase < kBegins && phaseAt(fine) == kBegins + 1 && phaseAt(coarse) <= kBegins) return false;
        auto const rank = [this](Sighting const& each) {
            int const phase = phaseAt(each);
            return std::pair(phase < mPhase, phase);
        };
        return rank(fine) < rank(coarse);
    }

    Sightings const& mFine;
    nanoseconds mFineResolution;
    std::vector<std::size_t> mPlaces;
    std::size_t mNext = 0;
    std::int64_t mBehind = kNone;
    nanoseconds mTime = nanoseconds::min();
    int mPhase = 0;
};

// The finer file's order stays as it is.
Sightings layBetween(FileSightings const& fine, FileSightings const& coarse) {
    std::map<std::int32_t, ThreadsOrder> threads;
    for (std::size_t place = 0; place < fine.sightings.size(); ++place) {
        auto const& each = fine.sightings[place];
        if (!tellsPhase(each)) continue;
        threads.try_emplace(each.thread, fine.sightings, fine.resolution).first->second.add(place);
    }
    struct Laid {
        std::int64_t behind;
        Sighting sighting;
    };
    std::vector<Laid> all;
    for (std::size_t place = 0; place < fine.sightings.size(); ++place)
        all.push_back({static_cast<std::int64_t>(place), fine.sightings[place]});
    for (Sighting each : coarse.sightings) {
        PlaceInOrder place{each.time, -1};
        auto const thread = threads.find(each.thread);
        if (thread != threads.end() && tellsPhase(each))
            place = thread->second.place(each, coarse.resolution);
        each.time = place.time;
        all.push_back({place.behind, each});
    }
    std::stable_sort(all.begin(), all.end(), [](Laid const& left, Laid const& right) {
        return std::pair(left.sighting.time, left.behind) < std::pair(right.sighting.time, right.behind);
    });
    Sightings laid;
    for (Laid const& each : all) laid.push_back(each.sighting);
    return laid;
}

// Leaves out of a file what another one has told.
void leaveOutRepeats(std::vector<FileSightings>& files) {
    using Key = std::tuple<std::int32_t, TextId, Sighting::What, std::int32_t>;
    std::map<Key, std::vector<std::pair<nanoseconds, nanoseconds>>>
        told;  // times not used up, and resolutions
    for (FileSightings& file : files) {
        std::vector<std::pair<Key, nanoseconds>> own;
        std::erase_if(file.sightings, [&](Sighting const& each) {
            bool const isStart = each.what == Sighting::What::Start;
            Key const key(each.thread, each.text, each.what, isStart ? each.other : 0);
            auto& times = told[key];
            auto const same = std::find_if(times.begin(), times.end(), [&](auto const& time) {
                return std::chrono::abs(time.first - each.time) < std::max(time.second, file.resolution);
            });
            bool const isRepeat = same != times.end() && each.what != Sighting::What::State;
            if (isRepeat) times.erase(same);
            if (!isRepeat) own.emplace_back(key, each.time);
            return isRepeat;
        });
        for (auto const& [key, time] : own) told[key].emplace_back(time, file.resolution);
    }
}

}  // namespace

Sightings interleave(std::vector<FileSightings> files) {
    if (files.empty()) return {};
    std::stable_sort(files.begin(), files.end(), [](FileSightings const& left, FileSightings const& right) {
        return left.resolution < right.resolution;
    });
    for (FileSightings& file : files) {
        std::stable_sort(file.sightings.begin(), file.sightings.end(),
                         [](Sighting const& left, Sighting const& right) { return left.time < right.time; });
    }
    leaveOutRepeats(files);
    FileSightings all = std::move(files.front());
    for (auto file = std::next(files.begin()); file != files.end(); ++file)
        all.sightings = layBetween(all, *file);
    return std::move(all.sightings);
}

}  // namespace zeqcam::tool
