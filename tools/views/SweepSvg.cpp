#include "series/Statistics.h"
#include "text/Markup.h"
#include "views/SweepReport.h"

#include <embedded/sweep.css.h>
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

namespace zeqcam::tool {
namespace {

constexpr double kPlotWidth = 1000;
constexpr double kHeight = 420;
constexpr double kPlotLeft = 64;
constexpr double kPlotTop = 44;
constexpr double kPlotBottom = 360;
constexpr double kPlotRight = 680;  // where the names begin
constexpr std::size_t kMostLines = 8;

// A number of milliseconds that ends an axis, at least this one.
double roundUp(double number) {
    double const unit = std::pow(10, std::floor(std::log10(std::max(number, 1e-3))));
    for (double const step : {1.0, 2.0, 5.0, 10.0}) {
        if (number <= step * unit) return step * unit;
    }
    return number;
}

class Plot {
  public:
    Plot(Sweep const& sweep, double most) : mSweep(sweep), mMost(most) {}

    void axes() {
        constexpr int kLines = 4;
        constexpr std::size_t kMostNames = 12;
        for (int i = 0; i <= kLines; ++i) {
            double const ms = mMost * i / kLines;
            mText += fmt::format(
                "<line class=\"grid\" x1=\"{:.1f}\" x2=\"{:.1f}\" y1=\"{:.1f}\" y2=\"{:.1f}\"/>\n", kPlotLeft,
                kPlotRight, yOf(ms), yOf(ms));
            text(kPlotLeft - 8, yOf(ms) + 4, "end", fmt::format("{:g}", ms));
        }
        std::size_t const every = (mSweep.points.size() + kMostNames - 1) / kMostNames;
        for (std::size_t i = 0; i < mSweep.points.size(); i += every) {
            std::string values;
            for (std::string const& value : mSweep.points[i].values)
                values += (values.empty() ? "" : " ") + value;
            text(xOf(i), kPlotBottom + 20, "middle", values);
        }
        std::string paths;
        for (SweepAxis const& axis : mSweep.axes) paths += (paths.empty() ? "" : ", ") + axis.path;
        text((kPlotLeft + kPlotRight) / 2, kPlotBottom + 44, "middle", paths);
        text(kPlotLeft - 8, kPlotTop - 12, "end", "ms");
    }

    // From the shortest to the longest run a band, and the medians as a line.
    void line(SweptRequest const& request, std::size_t number) {
        std::string medians;
        std::string above;
        std::string below;
        double last = 0;
        for (std::size_t i = 0; i < mSweep.points.size(); ++i) {
            auto const* const measured = mSweep.points[i].series.find(request.subject);
            if (!measured || measured->samples.empty()) continue;
            Spread const spread = spreadOf(sortedTimes(*measured));
            auto const at = [&](double ms) { return fmt::format("{:.1f},{:.1f} ", xOf(i), yOf(ms)); };
            medians += at(spread.median);
            above += at(spread.longest);
            below.insert(0, at(spread.shortest));
            last = spread.median;
            mText += fmt::format("<circle class=\"l{}\" cx=\"{:.1f}\" cy=\"{:.1f}\" r=\"3\"/>\n", number,
                                 xOf(i), yOf(spread.median));
        }
        mText += fmt::format("<polygon class=\"band l{}\" points=\"{}{}\"/>\n", number, above, below);
        mText += fmt::format("<polyline class=\"l{}\" points=\"{}\"/>\n", number, medians);
        double const y = kPlotTop + 8 + 22 * static_cast<double>(number);
        mText += fmt::format("<circle class=\"l{}\" cx=\"{:.1f}\" cy=\"{:.1f}\" r=\"4\"/>\n", number,
                             kPlotRight + 20, y - 4);
        text(kPlotRight + 30, y, "start", fmt::format("{}, last {:.1f}", textOf(request.subject), last));
    }

    void text(double x, double y, char const* anchor, std::string const& what) {
        mText += fmt::format("<text x=\"{:.1f}\" y=\"{:.1f}\" text-anchor=\"{}\">{}</text>\n", x, y, anchor,
                             escaped(what));
    }

    [[nodiscard]] std::string const& str() const { return mText; }

  private:
    [[nodiscard]] double xOf(std::size_t point) const {
        double const share = mSweep.points.size() < 2
                                 ? 0.5
                                 : static_cast<double>(point) / static_cast<double>(mSweep.points.size() - 1);
        constexpr double kInset = 20;
        return kPlotLeft + kInset + share * (kPlotRight - kPlotLeft - 2 * kInset);
    }
    [[nodiscard]] double yOf(double ms) const { return kPlotBottom - ms / mMost * (kPlotBottom - kPlotTop); }

    Sweep const& mSweep;
    double const mMost;
    std::string mText;
};

}  // namespace

void writeSweepSvg(Sweep const& sweep, Presentation const& presentation, std::ostream& out) {
    auto requests = sweptRequestsOf(sweep);
    std::erase_if(requests, [](SweptRequest const& each) { return each.longest <= 0; });
    std::size_t const left = requests.size() - std::min(requests.size(), kMostLines);
    requests.resize(requests.size() - left);
    double most = 0;
    for (SweptRequest const& request : requests) most = std::max(most, request.longest);
    Plot plot(sweep, roundUp(most));
    plot.text(16, 22, "start", presentation.title);
    plot.axes();
    for (std::size_t i = 0; i < requests.size(); ++i) plot.line(requests[i], i);
    if (left > 0)
        plot.text(kPlotRight + 30, kPlotTop + 8 + 22 * static_cast<double>(kMostLines), "start",
                  fmt::format("and {} that change less", left));
    out << fmt::format(
        "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{0}\" height=\"{1}\" viewBox=\"0 0 {0} "
        "{1}\" role=\"img\">\n<style>\n{2}</style>\n<rect class=\"paper\" width=\"{0}\" "
        "height=\"{1}\"/>\n{3}</svg>\n",
        kPlotWidth, kHeight, embedded::kSweepCss, plot.str());
}

}  // namespace zeqcam::tool
