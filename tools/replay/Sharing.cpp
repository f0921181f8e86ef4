#include "replay/Sharing.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <numeric>
#include <set>
#include <utility>

namespace zeqcam::tool {
namespace {

class Sharing {
  public:
    Sharing(Record const& record, std::vector<MeasuredRequest> const& measured)
        : mRecord(record), mMeasured(measured), mGroups(record.clients.size()) {
        std::iota(mGroups.begin(), mGroups.end(), 0U);
    }

    std::vector<std::uint32_t> controllers() {
        findOverlaps();
        findSensors();
        findStrangers();
        findQueues();
        for (auto const& [one, other] : mTogether) {
            if (!areApart(one, other)) join(one, other);
        }
        return colours();
    }

  private:
    using Pair = std::pair<std::uint32_t, std::uint32_t>;

    [[nodiscard]] std::uint32_t clientOf(std::size_t request) const {
        return mRecord.requests[request].client;
    }

    void setApart(std::uint32_t one, std::uint32_t other) {
        if (one != other) mApart.insert(std::minmax(one, other));
    }

    // Work of one controller never overlaps. Times that touch within the resolution say nothing.
    void findOverlaps() {
        std::vector<std::size_t> open;
        for (std::size_t other = 0; other < mRecord.requests.size(); ++other) {
            std::erase_if(open, [&](std::size_t one) { return endOf(one) <= mRecord.requests[other].began; });
            for (std::size_t const one : open) {
                auto const& a = mMeasured[one].worked;
                auto const& b = mMeasured[other].worked;
                if (!a || !b) continue;
                auto const begin = std::max(*a, *b) + mRecord.resolution;
                // It had its controller while the earlier one had its own.
                if (begin < endOf(*a <= *b ? one : other)) setApart(clientOf(one), clientOf(other));
            }
            open.push_back(other);
        }
    }

    [[nodiscard]] Instant endOf(std::size_t request) const {
        return mRecord.requests[request].ended.value_or(mRecord.end);
    }

    // Follows who has powered which sensor on.
    void findSensors() {
        std::map<int, std::uint32_t> on;
        for (std::size_t index = 0; index < mRecord.requests.size(); ++index) {
            Request const& request = mRecord.requests[index];
            MeasuredRequest const& measured = mMeasured[index];
            for (int const sensor : measured.skipped) {
                if (auto const holder = on.find(sensor); holder != on.end())
                    mTogether.emplace_back(request.client, holder->second);
            }
            for (int const sensor : request.sensors.value_or(std::vector<int>())) {
                auto const holder = on.find(sensor);
                bool const isSkipped =
                    measured.skipped.contains(sensor) || measured.notDriven.contains(sensor);
                if (request.kind == RequestKind::PowerOn && !isSkipped) {
                    bool const isPowered = measured.powered.contains(sensor);
                    if (isPowered && holder != on.end()) setApart(request.client, holder->second);
                    if (isPowered || holder == on.end()) on[sensor] = request.client;
                }
                bool const isOff =
                    request.kind == RequestKind::PowerOff || request.kind == RequestKind::Destroy;
                if (!isOff || holder == on.end()) continue;
                bool const powersOff =
                    measured.powered.contains(sensor) || request.kind == RequestKind::Destroy;
                if (powersOff) mTogether.emplace_back(request.client, holder->second);
                if (powersOff) on.erase(holder);
            }
        }
    }

    // A sensor that one's controller does not drive, and another one's does.
    void findStrangers() {
        for (std::size_t one = 0; one < mMeasured.size(); ++one) {
            for (std::size_t other = 0; other < mMeasured.size(); ++other) {
                auto const& strange = mMeasured[one].notDriven;
                if (std::any_of(strange.begin(), strange.end(),
                                [&](int sensor) { return mMeasured[other].powered.contains(sensor); }))
                    setApart(clientOf(one), clientOf(other));
            }
        }
    }

    // Each controller has a queue of its own. One that has several threads tells nothing.
    void findQueues() {
        std::map<std::uint32_t, std::set<std::uint32_t>> threads;
        for (Event const& event : mRecord.events) {
            if (event.kind == board::Kind::TaskRun && event.request)
                threads[clientOf(*event.request)].insert(event.thread);
        }
        for (auto const& [one, ofOne] : threads) {
            for (auto const& [other, ofOther] : threads) {
                if (ofOne.size() == 1 && ofOther.size() == 1 && ofOne != ofOther)
                    mUnlike.insert(std::minmax(one, other));
            }
        }
    }

    [[nodiscard]] bool areApart(std::uint32_t one, std::uint32_t other) const {
        return areIn(mApart, one, other);
    }

    [[nodiscard]] bool areIn(std::set<Pair> const& pairs, std::uint32_t one, std::uint32_t other) const {
        return std::any_of(pairs.begin(), pairs.end(), [&](Pair const& pair) {
            return std::minmax(mGroups[pair.first], mGroups[pair.second]) ==
                   std::minmax(mGroups[one], mGroups[other]);
        });
    }

    void join(std::uint32_t one, std::uint32_t other) {
        std::replace(mGroups.begin(), mGroups.end(), std::uint32_t(mGroups[other]),
                     std::uint32_t(mGroups[one]));
    }

    // Each group, in order, the first controller that no group apart from it has.
    [[nodiscard]] std::vector<std::uint32_t> colours() const {
        std::map<std::uint32_t, std::uint32_t> colourOf;
        std::vector<std::uint32_t> colours;
        for (std::uint32_t client = 0; client < mGroups.size(); ++client) {
            auto const [colour, isNew] = colourOf.emplace(mGroups[client], 0U);
            if (isNew) {
                std::set<std::uint32_t> taken;
                for (std::uint32_t other = 0; other < client; ++other) {
                    if (areApart(client, other) || areIn(mUnlike, client, other))
                        taken.insert(colours[other]);
                }
                while (taken.contains(colour->second)) ++colour->second;
            }
            colours.push_back(colour->second);
        }
        return colours;
    }

    Record const& mRecord;
    std::vector<MeasuredRequest> const& mMeasured;
    std::vector<std::uint32_t> mGroups;
    std::set<Pair> mApart;
    std::set<Pair> mUnlike;  // by what may have another reason, where nothing else tells
    std::vector<Pair> mTogether;
};

}  // namespace

std::vector<std::uint32_t> controllersOf(Record const& record, std::vector<MeasuredRequest> const& measured) {
    return Sharing(record, measured).controllers();
}

}  // namespace zeqcam::tool
