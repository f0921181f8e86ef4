#include "views/SvgDistributions.h"

#include "series/Statistics.h"
#include "text/Markup.h"
#include "text/Printable.h"
#include "text/TextWidth.h"
#include "text/TimeText.h"
#include "views/Axis.h"
#include "views/SvgSheet.h"

#include <embedded/timeline.css.h>

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <string_view>

namespace zeqcam::tool {
namespace {

using svg::Canvas;
using svg::classed;
using svg::kMargin;
using svg::kNameCharacter;
using svg::kRight;
using svg::kWidth;
using svg::widthOf;

constexpr double kLeft = kMargin + 16;
constexpr double kTop = 56;
constexpr double kTitleHeight = 26;
constexpr double kBarHeight = 44;  // of the tallest
constexpr double kAxisHeight = 24;
constexpr double kMostHeight = 4000;

Instant instantAt(double ms) {
    return Instant(std::chrono::nanoseconds(std::llround(ms * 1e6)));
}

// The more samples, the finer.
std::size_t binsFor(Distribution const& row) {
    auto const samples = static_cast<double>(std::max(row.above.size(), row.below.size()));
    return static_cast<std::size_t>(std::clamp(std::ceil(2 * std::sqrt(samples)), 10.0, 80.0));
}

// Whether it took the same in all runs, so that there is nothing to draw.
bool isFlat(Distribution const& row) {
    double const any = row.above.empty() ? row.below.front() : row.above.front();
    auto const isAny = [any](double ms) { return ms == any; };
    return std::all_of(row.above.begin(), row.above.end(), isAny) &&
           std::all_of(row.below.begin(), row.below.end(), isAny);
}

// What becomes of a time on the line of one row.
class RowScale {
  public:
    explicit RowScale(Distribution const& row) {
        for (auto const* samples : {&row.above, &row.below}) {
            if (samples->empty()) continue;
            mBegin = std::min(mBegin, samples->front());
            mEnd = std::max(mEnd, samples->back());
        }
        double const room = (mEnd - mBegin) / 50;
        mBegin = std::max(0.0, mBegin - room);
        mEnd += room;
    }

    [[nodiscard]] double begin() const { return mBegin; }
    [[nodiscard]] double end() const { return mEnd; }
    [[nodiscard]] double xOf(double ms) const {
        return kLeft + (ms - mBegin) / (mEnd - mBegin) * (kRight - kLeft);
    }
    [[nodiscard]] std::vector<Tick> ticks() const {
        constexpr int kMostTicks = 8;
        Timeline axis;
        axis.begin = instantAt(mBegin);
        axis.end = instantAt(mEnd);
        return ticksOf(axis, kMostTicks);
    }

  private:
    double mBegin = 1e300;
    double mEnd = 0;
};

// The bars of one kind of samples from `base` on, `up` or down, and its median.
void addBars(Canvas& canvas, RowScale const& scale, std::vector<double> const& samples, std::size_t bins,
             double base, bool up, std::string_view look, std::string_view name) {
    if (samples.empty()) return;
    Histogram const histogram = histogramOf(samples, scale.begin(), scale.end(), bins);
    double const most =
        static_cast<double>(*std::max_element(histogram.counts.begin(), histogram.counts.end()));
    for (std::size_t i = 0; i < histogram.counts.size(); ++i) {
        if (histogram.counts[i] == 0) continue;
        double const from = histogram.begin + static_cast<double>(i) * histogram.width;
        double const height = std::max(2.0, static_cast<double>(histogram.counts[i]) / most * kBarHeight);
        double const x = scale.xOf(from);
        canvas << "<g><title>" << escaped(name)
               << fmt::format("{:.3f} to {:.3f} ms: {}", from, from + histogram.width, histogram.counts[i])
               << "</title>";
        canvas.rect(x, up ? base - height : base, scale.xOf(from + histogram.width) - x, height,
                    classed(look));
        canvas << "</g>\n";
    }
    double const median = scale.xOf(medianOf(samples));
    canvas.line(median, base, median, up ? base - kBarHeight - 4 : base + kBarHeight + 4,
                R"(class="powered")");
}

class Rows {
  public:
    explicit Rows(DistributionPicture const& picture) : mPicture(picture), mHasTwo(!picture.below.empty()) {}

    std::string text() {
        std::size_t shown = 0;
        for (Distribution const& row : mPicture.rows) {
            if (!mPicture.full && mY + rowHeight() > kMostHeight) break;
            addRow(row);
            ++shown;
        }
        if (shown < mPicture.rows.size()) {
            mY += 16;
            mShapes.text(kLeft, mY, R"(class="muted")",
                         fmt::format("No room for {} more: --full.", mPicture.rows.size() - shown));
        }
        addLegend();
        return ground(mY + kMargin) + mShapes.str() + "</svg>\n";
    }

  private:
    [[nodiscard]] double rowHeight() const {
        return kTitleHeight + kBarHeight * (mHasTwo ? 2 : 1) + kAxisHeight;
    }

    void addRow(Distribution const& row) {
        constexpr int kLongest = 70;
        mShapes.text(kLeft, mY + 16, "", shortened(printable(row.title), kLongest, "…"));
        mShapes.text(kRight, mY + 16, R"(class="muted" text-anchor="end")", printable(row.note));
        if (isFlat(row)) {
            mY += kTitleHeight;
            return;
        }
        RowScale const scale(row);
        double const base = mY + kTitleHeight + kBarHeight;
        double const foot = base + (mHasTwo ? kBarHeight : 0);
        for (Tick const& tick : scale.ticks()) {
            double const ms = millisecondsOf(tick.time.time_since_epoch());
            double const x = scale.xOf(ms);
            bool const fits = x + widthOf(tick.label, kNameCharacter) / 2 <= kRight;
            mShapes.line(x, mY + kTitleHeight, x, foot, R"(class="grid")");
            mShapes.text(
                x, foot + 14,
                fits ? R"(class="muted" text-anchor="middle")" : R"(class="muted" text-anchor="end")",
                tick.label);
        }
        std::size_t const bins = binsFor(row);
        std::string const between = mHasTwo ? ": " : "";
        addBars(mShapes, scale, row.above, bins, base, true, "request", mPicture.above + between);
        addBars(mShapes, scale, row.below, bins, base, false, "on", mPicture.below + between);
        mShapes.line(kLeft, base, kRight, base, R"(class="grid")");
        mY += rowHeight();
    }

    void addLegend() {
        mY += 8;
        double x = kLeft;
        auto const swatch = [&](std::string_view look, std::string const& name) {
            mShapes.rect(x, mY, 24, 13, classed(look));
            mShapes.text(x + 31, mY + 11, R"(class="muted")", name);
            x += 31 + widthOf(name, kNameCharacter) + 16;
        };
        if (mHasTwo) {
            constexpr int kLongest = 36;
            swatch("request", "above: " + shortened(printable(mPicture.above), kLongest, "…"));
            swatch("on", "below: " + shortened(printable(mPicture.below), kLongest, "…"));
        }
        mShapes.line(x + 12, mY, x + 12, mY + 13, R"(class="powered")");
        mShapes.text(x + 22, mY + 11, R"(class="muted")", "median");
        mY += 13;
    }

    [[nodiscard]] std::string ground(double height) const {
        constexpr int kLongest = 64;
        Canvas canvas;
        canvas << R"(<svg xmlns="http://www.w3.org/2000/svg" width=")" << kWidth << R"(" height=")" << height
               << R"(" viewBox="0 0 )" << kWidth << ' ' << height << "\" role=\"img\">\n<title>"
               << escaped(mPicture.title) << "</title>\n<style>\n"
               << embedded::kTimelineCss << "</style>\n";
        canvas.rect(0.5, 0.5, kWidth - 1, height - 1, R"(rx="8" class="ground")");
        canvas.text(kMargin + 8, 34, R"(class="title")", shortened(printable(mPicture.title), kLongest, "…"));
        canvas.text(kRight, 34, R"(class="muted" text-anchor="end")", printable(mPicture.note));
        return canvas.str();
    }

    DistributionPicture const& mPicture;
    bool const mHasTwo;
    Canvas mShapes;
    double mY = kTop;  // where the next row begins
};

}  // namespace

void writeDistributions(DistributionPicture const& picture, std::ostream& out) {
    out << Rows(picture).text();
}

}  // namespace zeqcam::tool
