#include "series/Comparison.h"

#include "series/Reordering.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <map>
#include <set>
#include <utility>

namespace zeqcam::tool {
namespace {

using Of = Subject::Of;
using Measured = Series::Measured;

std::optional<double> medianIn(Measured const* measured) {
    if (measured == nullptr || measured->samples.empty()) return {};
    return medianOf(sortedTimes(*measured));
}

Difference differenceOf(Subject const& subject, Measured const* before, Measured const* after) {
    Difference difference;
    difference.subject = subject;
    difference.before = before;
    difference.after = after;
    difference.medianBefore = medianIn(before);
    difference.medianAfter = medianIn(after);
    bool const areEnough = before != nullptr && after != nullptr &&
                           std::min(before->samples.size(), after->samples.size()) >= kFewestForConfidence;
    if (areEnough) difference.interval = differenceOfMedians(sortedTimes(*before), sortedTimes(*after));
    return difference;
}

// What the request waited for there, in its median run: a run that did not wait for it waited no time.
double medianOfLink(Measured const* link, Measured const& request) {
    if (link == nullptr) return 0;
    std::size_t const runs = std::max(link->samples.size(), request.seen);
    std::vector<double> times = sortedTimes(*link);
    times.insert(times.begin(), runs - times.size(), 0.0);
    return medianOf(times);
}

std::map<std::string, std::set<std::string>> linksOf(Series const& series) {
    std::map<std::string, std::set<std::string>> links;  // by request
    for (Measured const& each : series.measured()) {
        if (each.subject.of == Of::Link) links[each.subject.who].insert(each.subject.what);
    }
    return links;
}

class Comparing {
  public:
    Comparing(Series const& before, Series const& after) : mBefore(before), mAfter(after) {}

    Comparison run() {
        addDifferences(Of::Request);
        for (Of const of : {Of::Sensor, Of::Service}) {
            if (areKnown(of)) addDifferences(of);
        }
        addCauses();
        addOrder();
        return std::move(mComparison);
    }

  private:
    // Results of one run tell of requests alone: that they name no call does not mean that there was none.
    [[nodiscard]] bool areKnown(Of of) const {
        return !measuredOf(mBefore, of).empty() && !measuredOf(mAfter, of).empty();
    }

    void addDifferences(Of of) {
        for (Measured const* before : measuredOf(mBefore, of)) {
            Measured const* const after = mAfter.find(before->subject);
            mComparison.differences.push_back(differenceOf(before->subject, before, after));
            if (of == Of::Request && after == nullptr) mComparison.gone.push_back(before->subject);
        }
        for (Measured const* after : measuredOf(mAfter, of)) {
            if (mBefore.find(after->subject) != nullptr) continue;
            mComparison.differences.push_back(differenceOf(after->subject, nullptr, after));
            if (of == Of::Request) mComparison.appeared.push_back(after->subject);
        }
    }

    // The chains of both sides tell what the difference is made of.
    void addCauses() {
        if (!areKnown(Of::Link)) return;
        auto links = linksOf(mBefore);
        for (auto const& [request, all] : linksOf(mAfter)) links[request].insert(all.begin(), all.end());
        for (Difference& difference : mComparison.differences) {
            auto const change = difference.ms();
            if (difference.subject.of != Of::Request || !change || *change == 0) continue;
            std::string const request = textOf(difference.subject);
            for (std::string const& link : links[request]) {
                Subject const subject{.of = Of::Link, .who = request, .what = link};
                double const ms = medianOfLink(mAfter.find(subject), *difference.after) -
                                  medianOfLink(mBefore.find(subject), *difference.before);
                bool const isSameWay = ms * *change > 0;
                if (isSameWay && (!difference.cause || std::abs(ms) > std::abs(difference.cause->ms)))
                    difference.cause = {link, ms};
            }
        }
    }

    // When it began, in all runs but the earliest and the latest of them.
    static Interval beginOf(Measured const& measured) {
        constexpr double kLeftOut = 0.05;
        std::vector<double> begins;
        for (Series::Sample const& sample : measured.samples) begins.push_back(sample.beganMs);
        std::sort(begins.begin(), begins.end());
        return {quantileOf(begins, kLeftOut), quantileOf(begins, 1 - kLeftOut)};
    }

    void addOrder() {
        std::vector<Subject> subjects;
        std::vector<Begins> begins;
        for (Measured const* before : measuredOf(mBefore, Of::Request)) {
            Measured const* const after = mAfter.find(before->subject);
            if (after == nullptr || after->samples.empty() || before->samples.empty()) continue;
            subjects.push_back(before->subject);
            begins.push_back({beginOf(*before), beginOf(*after)});
        }
        for (Move const& move : movesOf(begins)) {
            mComparison.reordered.push_back({subjects[move.which], subjects[move.beside],
                                             begins[move.which].after.low < begins[move.beside].after.low});
        }
    }

    Series const& mBefore;
    Series const& mAfter;
    Comparison mComparison;
};

}  // namespace

std::optional<double> Difference::ms() const {
    if (!medianBefore || !medianAfter) return {};
    return *medianAfter - *medianBefore;
}

Comparison compare(Series const& before, Series const& after) {
    return Comparing(before, after).run();
}

bool isSlowerBy(Difference const& difference, double share) {
    if (!difference.interval || !difference.medianBefore) return false;
    return difference.interval->low > 0 && difference.interval->low > share * *difference.medianBefore;
}

}  // namespace zeqcam::tool
