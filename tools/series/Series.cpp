#include "series/Series.h"

#include "series/Statistics.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace zeqcam::tool {

void Series::add(RunFigures figures) {
    auto const run = static_cast<std::uint32_t>(mRuns.size());
    mRuns.push_back(figures.run);
    if (figures.verdict != Verdict::Passed)
        mFailedRuns.push_back({run, figures.verdict == Verdict::CutOff, std::move(figures.why)});
    for (Figure const& figure : figures.figures) {
        Measured& measured = at(figure.subject);
        measured.line = figure.line;
        ++measured.seen;
        if (figure.ms) measured.samples.push_back({*figure.ms, static_cast<float>(figure.beganMs), run});
        if (figure.failed) measured.failed.push_back(run);
    }
}

void Series::add(Series const& other) {
    auto const first = static_cast<std::uint32_t>(mRuns.size());
    if (asked + other.asked > 0)
        asked = std::max(asked, mRuns.size()) + std::max(other.asked, other.mRuns.size());
    mRuns.insert(mRuns.end(), other.mRuns.begin(), other.mRuns.end());
    for (FailedRun const& failed : other.mFailedRuns)
        mFailedRuns.push_back({failed.run + first, failed.isCutOff, failed.why});
    for (Measured const& its : other.mMeasured) {
        Measured& measured = at(its.subject);
        measured.line = its.line;
        measured.seen += its.seen;
        for (Sample const& sample : its.samples)
            measured.samples.push_back({sample.ms, sample.beganMs, sample.run + first});
        for (std::uint32_t const run : its.failed) measured.failed.push_back(run + first);
    }
}

Series::Measured const* Series::find(Subject const& subject) const {
    auto const found = mPlaces.find(subject);
    return found == mPlaces.end() ? nullptr : &mMeasured[found->second];
}

Series::Measured& Series::at(Subject const& subject) {
    auto const [found, isNew] = mPlaces.emplace(subject, mMeasured.size());
    if (isNew) mMeasured.emplace_back().subject = subject;
    return mMeasured[found->second];
}

std::vector<Series::Measured const*> measuredOf(Series const& series, Subject::Of of) {
    std::vector<std::pair<double, Series::Measured const*>> found;
    for (Series::Measured const& each : series.measured()) {
        if (each.subject.of != of) continue;
        std::vector<double> begins;
        for (Series::Sample const& sample : each.samples) begins.push_back(sample.beganMs);
        std::sort(begins.begin(), begins.end());
        // What never ended stands last.
        double const begin = begins.empty() ? std::numeric_limits<double>::infinity() : medianOf(begins);
        found.emplace_back(begin, &each);
    }
    std::stable_sort(found.begin(), found.end(),
                     [](auto const& left, auto const& right) { return left.first < right.first; });
    std::vector<Series::Measured const*> all;
    all.reserve(found.size());
    for (auto const& [begin, each] : found) all.push_back(each);
    return all;
}

Series::Sample const* longestOf(Series::Measured const& measured) {
    auto const longest = std::max_element(
        measured.samples.begin(), measured.samples.end(),
        [](Series::Sample const& left, Series::Sample const& right) { return left.ms < right.ms; });
    return longest == measured.samples.end() ? nullptr : &*longest;
}

std::vector<double> sortedTimes(Series::Measured const& measured) {
    std::vector<double> times;
    times.reserve(measured.samples.size());
    for (Series::Sample const& sample : measured.samples) times.push_back(sample.ms);
    std::sort(times.begin(), times.end());
    return times;
}

}  // namespace zeqcam::tool
