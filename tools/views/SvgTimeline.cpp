#include "views/SvgTimeline.h"

#include "analysis/Selection.h"
#include "analysis/SensorLanes.h"
#include "analysis/SensorNames.h"
#include "analysis/Timeline.h"
#include "text/Markup.h"
#include "text/Printable.h"
#include "text/TextWidth.h"
#include "text/TimeText.h"
#include "views/Axis.h"
#include "views/RowChoice.h"
#include "views/SvgRow.h"
#include "views/SvgSheet.h"

#include <embedded/timeline.css.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zeqcam::tool {
namespace {

using svg::classed;
using svg::Detail;
using svg::kCharacter;
using svg::kMargin;
using svg::kMarkStrip;
using svg::kNameCharacter;
using svg::kRight;
using svg::kSliver;
using svg::kWidth;
using svg::widthOf;

constexpr double kCountStep = 14;

// What must not depend on colour alone: a failure is hatched, a wait is dotted.
constexpr std::string_view kPatterns = R"svg(<defs>
<pattern id="failing" width="8" height="8" patternUnits="userSpaceOnUse" patternTransform="rotate(45)">
<rect class="paper" width="8" height="8"/><line class="hatch" x1="2" y1="0" x2="2" y2="8"/></pattern>
<pattern id="waiting" width="6" height="6" patternUnits="userSpaceOnUse">
<rect class="idle" width="6" height="6"/><circle class="dot" cx="3" cy="3" r="1"/></pattern>
</defs>
)svg";

constexpr double kSwatch = 13;

struct LegendEntry {
    std::string_view look;
    std::string_view name;
    double height = kSwatch;
};
constexpr std::array kLegend{
    LegendEntry{"request", "request"},
    LegendEntry{"wait", "wait"},
    LegendEntry{"trace", "trace section"},
    LegendEntry{"call", "sensor power call"},
    LegendEntry{"powering", "powering"},
    LegendEntry{"on", "on"},
    LegendEntry{"failed", "failed"},
    LegendEntry{"conflict", "counted on, but not on"},
    LegendEntry{"gathered", "several, too short to draw"},
    LegendEntry{"open", "not ended"},
    LegendEntry{"running", "running", svg::processorLookOf(Scheduling::State::Running).height},
    LegendEntry{"runnable", "waiting for a processor",
                svg::processorLookOf(Scheduling::State::Runnable).height},
    LegendEntry{"asleep", "asleep", svg::processorLookOf(Scheduling::State::Asleep).height},
    LegendEntry{"error", "error logged"},
    LegendEntry{"warning", "warning logged"},
};

// No picture is larger unless it is asked for in full.
constexpr double kMostTimelineHeight = 4000;
constexpr std::size_t kMostBytes = 2'000'000;

struct Shown {
    Record const& record;
    Timeline timeline;
    std::vector<SensorLane> lanes;
    std::string_view title;
};

class TimelinePicture {
  public:
    TimelinePicture(Shown const& shown, Detail detail)
        : mRecord(shown.record),
          mTimeline(shown.timeline),
          mLanes(shown.lanes),
          mTitle(shown.title),
          mSheet(shown.timeline, leftOf(shown), detail) {}

    // That it has with all of its rows.
    [[nodiscard]] double height() {
        double height = mY + kRoomBelow + kSensorHeight * static_cast<double>(mLanes.size());
        for (Row const& row : mTimeline.rows) {
            if (!row.sections.empty()) height += svg::heightOf(mSheet, row);
        }
        return height;
    }

    std::string text() {
        double const top = mY;
        mShownRows = chooseRows(
            mTimeline, mLanes, mSheet.detail().height - mY - kRoomBelow,
            [this](Row const& row) { return svg::heightOf(mSheet, row); }, kSensorHeight);
        for (std::size_t const row : mShownRows.rows) {
            double const height = svg::heightOf(mSheet, mTimeline.rows[row]);
            addBand(shownName(mTimeline.rows[row].name), height);
            svg::addRow(mSheet, row, mY);
            mY += height;
        }
        for (std::size_t const lane : mShownRows.lanes) addSensor(mLanes[lane]);
        addPowered();
        double const bottom = mY;
        if (bottom - top > kHeightForASecondAxis) mY += 18;
        addLeftOut();
        addLegend();
        return ground(mY + kMargin) + grid(top, bottom) + mSheet.shapes.str() + "</svg>\n";
    }

  private:
    static constexpr double kSensorHeight = 26;
    static constexpr double kRoomBelow = 250;  // of the rows: the powered sensors, the axis, the legend
    static constexpr double kHeightForASecondAxis = 600;
    static constexpr std::string_view kPoweredName = "sensors powered";

    static std::string shownName(std::string_view name) {
        constexpr int kLongestName = 28;
        return shortened(printable(name), kLongestName, "…");
    }

    static double leftOf(Shown const& shown) {
        double names = widthOf(kPoweredName, kNameCharacter);
        for (Row const& row : shown.timeline.rows) {
            if (!row.sections.empty()) names = std::max(names, widthOf(shownName(row.name), kNameCharacter));
        }
        for (SensorLane const& lane : shown.lanes) {
            names =
                std::max(names, widthOf(shownName(sensorTitle(shown.record, lane.sensor)), kNameCharacter));
        }
        return kMargin + 8 + names + 12;
    }

    [[nodiscard]] std::string ground(double height) const {
        constexpr double kBaseline = 34;
        constexpr double kTitleCharacter = 10;
        constexpr double kRoomForTitle = kWidth - 2 * kMargin - 220;
        svg::Canvas canvas;
        canvas << R"(<svg xmlns="http://www.w3.org/2000/svg" width=")" << kWidth << R"(" height=")" << height
               << R"(" viewBox="0 0 )" << kWidth << ' ' << height << "\" role=\"img\">\n<title>"
               << escaped(mTitle) << "</title>\n"
               << "<style>\n"
               << embedded::kTimelineCss << "</style>\n"
               << kPatterns;
        canvas.rect(0.5, 0.5, kWidth - 1, height - 1, R"(rx="8" class="ground")");
        canvas.text(kMargin + 8, kBaseline, R"(class="title")",
                    shortened(printable(mTitle), static_cast<int>(kRoomForTitle / kTitleCharacter), "…"));
        canvas.text(
            kRight, kBaseline, R"(class="muted" text-anchor="end")",
            fmt::format("{}, {} clock", timeText(mTimeline.end - mTimeline.begin), nameOf(mRecord.clock)));
        return canvas.str();
    }

    [[nodiscard]] std::string grid(double top, double bottom) const {
        constexpr int kMostTicks = 10;
        svg::Canvas canvas;
        for (Tick const& tick : ticksOf(mTimeline, kMostTicks)) {
            double const x = mSheet.xOf(tick.time);
            canvas.line(x, top, x, bottom, R"(class="grid")");
            bool const fits = x + widthOf(tick.label, kNameCharacter) / 2 <= kRight;
            std::string_view const look =
                fits ? R"(class="muted" text-anchor="middle")" : R"(class="muted" text-anchor="end")";
            canvas.text(x, top - 6, look, tick.label);
            if (bottom - top > kHeightForASecondAxis) canvas.text(x, bottom + 16, look, tick.label);
        }
        return canvas.str();
    }

    void addLeftOut() {
        if (mShownRows.leftOut.empty()) return;
        mSheet.shapes.text(
            kMargin + 8, mY + 16, R"(class="muted")",
            "No room for " + mShownRows.leftOut + ": choose by --client and --sensor, or --full.");
        mY += 18;
    }

    void addBand(std::string_view name, double height, double baseline = kMarkStrip + 13) {
        if (std::exchange(mBanded, !mBanded)) {
            mSheet.shapes.rect(kMargin, mY, kWidth - 2 * kMargin, height,
                               R"(rx="4" class="band" fill-opacity=".6")");
        }
        mSheet.shapes.text(kMargin + 8, mY + baseline, "", name);
    }

    static std::string_view lookOf(SensorPart const& part) {
        if (isConflict(part)) return "conflict";
        switch (part.state) {
            case SensorState::Off:
                return "";
            case SensorState::On:
                return "on";
            case SensorState::Failed:
                return "failed";
            case SensorState::PoweringOn:
            case SensorState::PoweringOff:
                return "powering";
        }
        return "";
    }

    void addSensor(SensorLane const& lane) {
        std::string const name = sensorTitle(mRecord, lane.sensor);
        addBand(shownName(name), kSensorHeight, 17);
        mSheet.shapes.line(mSheet.left(), mY + 20, kRight, mY + 20, R"(class="grid")");
        double gathered = 0;  // up to there something too narrow has a shape
        for (SensorPart const& part : lane.parts) {
            std::string const look(lookOf(part));
            bool const isNarrow = mSheet.xOf(part.end) - mSheet.xOf(part.begin) < mSheet.detail().gathers;
            if (look.empty() || (isNarrow && look != "conflict" && mSheet.xOf(part.begin) < gathered))
                continue;
            if (isNarrow) gathered = mSheet.xOf(part.begin) + mSheet.detail().gathers;
            mSheet.looks.insert(look);
            double const x = mSheet.xOf(part.begin);
            double const width = std::max(mSheet.xOf(part.end) - x, kSliver);
            std::string const clients = clientsText(mRecord, part);
            mSheet.shapes << "<g><title>" << escaped(name) << ": " << nameOf(part.state)
                          << (clients.empty() ? "" : ", counted on by ") << escaped(clients) << "\nfrom "
                          << timeText(part.begin - mTimeline.zero) << ", for "
                          << timeText(part.end - part.begin) << "</title>";
            mSheet.shapes.rect(x, mY + 4, width, 16, classed(look));
            bool const signs = look == "failed" || look == "conflict";
            if (signs) mSheet.shapes.sign(x, mY + 12);
            std::string label = printable(clients);
            if (label.empty() && look == "powering") label = nameOf(part.state);
            double const before = signs ? 20 : 4;
            if (!label.empty() && before + widthOf(label, kCharacter) <= width)
                mSheet.shapes.text(x + before, mY + 16, R"(class="label")", label);
            mSheet.shapes << "</g>\n";
        }
        mY += kSensorHeight;
    }

    void addPowered() {
        int most = 1;
        for (PoweredCount const& count : mTimeline.powered) most = std::max(most, count.sensors.value_or(0));
        double const step = std::min(kCountStep, 84.0 / most);
        double const height = kMarkStrip + 14 + most * step;
        addBand(kPoweredName, height);
        double const floor = mY + height - 4;
        svg::Canvas line;
        line << 'M' << mSheet.left() << ' ' << floor;
        double last = 0;
        double end = kRight;
        for (PoweredCount const& count : mTimeline.powered) {
            double const x = mSheet.xOf(count.time);
            if (!count.sensors) end = x;
            if (!count.sensors || x < last) continue;
            last = x + mSheet.detail().gathers / 2;
            line << 'H' << x << 'V' << floor - *count.sensors * step;
        }
        if (!mTimeline.powered.empty() && mTimeline.powered.back().sensors)
            line << 'H' << end << 'V' << floor - *mTimeline.powered.back().sensors * step;
        line << 'H' << end;
        mSheet.shapes << R"(<path class="area" d=")" << line.str() << 'V' << floor << "z\"/>\n"
                      << R"(<path class="powered" d=")" << line.str() << "\"/>\n";
        addCounts(floor, step);
        mY += height;
    }

    void addCounts(double floor, double step) {
        for (std::size_t i = 0; i < mTimeline.powered.size(); ++i) {
            PoweredCount const& count = mTimeline.powered[i];
            bool const last = i + 1 == mTimeline.powered.size();
            double const room =
                (last ? kRight : mSheet.xOf(mTimeline.powered[i + 1].time)) - mSheet.xOf(count.time);
            std::string const number = count.sensors ? std::to_string(*count.sensors) : "unknown";
            if (room < widthOf(number, kCharacter) + 4) continue;
            mSheet.shapes.text(mSheet.xOf(count.time) + 3, floor - count.sensors.value_or(0) * step - 4,
                               R"(class="label")", number);
        }
    }

    // Names what stands in this picture.
    void addLegend() {
        constexpr double kSwatchWidth = 24;
        mY += 12;
        double x = kMargin + 8;
        for (auto const& [look, name, height] : kLegend) {
            if (!mSheet.looks.contains(look)) continue;
            bool const isLevel = look == "error" || look == "warning";
            double const width = isLevel ? 8 : kSwatchWidth;
            if (x + width + 7 + widthOf(name, kNameCharacter) > kRight) {
                x = kMargin + 8;
                mY += 20;
            }
            if (isLevel) {
                mSheet.shapes.pointer(x + 4, mY + 3, look);
            } else {
                mSheet.shapes.rect(x, mY + kSwatch - height, width, height,
                                   look == "open" ? classed("request open") : classed(look));
            }
            if (look == "failed" || look == "conflict") mSheet.shapes.sign(x + 2, mY + 6.5);
            mSheet.shapes.text(x + width + 7, mY + 11, R"(class="muted")", name);
            x += width + 7 + widthOf(name, kNameCharacter) + 16;
        }
        mY += 13;
    }

    Record const& mRecord;
    Timeline const& mTimeline;
    std::vector<SensorLane> const& mLanes;
    std::string_view const mTitle;
    svg::Sheet mSheet;
    RowChoice mShownRows;
    double mY = 64;  // where the next row begins
    bool mBanded = false;
};

}  // namespace

void writeSvg(Record const& record, Presentation const& presentation, std::ostream& out) {
    Shown const shown{record, timelineOf(record, presentation.selection),
                      sensorLanesOf(record, presentation.selection), presentation.title};
    if (presentation.full) {
        out << TimelinePicture(shown, {.height = std::numeric_limits<double>::infinity()}).text();
        return;
    }
    // The rows first give up what they hold, and then some of them go.
    Detail detail;
    while (detail.lanes > 1 && TimelinePicture(shown, detail).height() > kMostTimelineHeight) --detail.lanes;
    std::string text = TimelinePicture(shown, detail).text();
    while (text.size() > kMostBytes) {
        detail.gathers *= 2;
        text = TimelinePicture(shown, detail).text();
    }
    out << text;
}

}  // namespace zeqcam::tool
