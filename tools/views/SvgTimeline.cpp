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

#include <embedded/timeline.css.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <functional>
#include <limits>
#include <map>
#include <set>
#include <span>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

namespace zeqcam::tool {
namespace {

constexpr double kWidth = 1000;
constexpr double kMargin = 16;
constexpr double kCharacter = 6.65;  // of a label's font: one width for all, whichever font it is
constexpr double kNameCharacter = 7.4;
constexpr double kMarkStrip = 9;  // above a row's bars
constexpr double kLane = 20;
constexpr double kThinLane = 7;  // of slivers, which take no label
constexpr double kSliver = 1.5;
constexpr double kCountStep = 14;

// What must not depend on colour alone: a failure is hatched, a wait is dotted.
constexpr std::string_view kPatterns = R"svg(<defs>
<pattern id="failing" width="8" height="8" patternUnits="userSpaceOnUse" patternTransform="rotate(45)">
<rect class="paper" width="8" height="8"/><line class="hatch" x1="2" y1="0" x2="2" y2="8"/></pattern>
<pattern id="waiting" width="6" height="6" patternUnits="userSpaceOnUse">
<rect class="idle" width="6" height="6"/><circle class="dot" cx="3" cy="3" r="1"/></pattern>
</defs>
)svg";

constexpr std::array<std::pair<std::string_view, std::string_view>, 12> kLegend{{
    {"request", "request"},
    {"wait", "wait"},
    {"trace", "trace section"},
    {"call", "sensor power call"},
    {"powering", "powering"},
    {"on", "on"},
    {"failed", "failed"},
    {"conflict", "counted on, but not on"},
    {"gathered", "several, too short to draw"},
    {"open", "not ended"},
    {"error", "error logged"},
    {"warning", "warning logged"},
}};

char const* classOf(SectionKind kind) {
    switch (kind) {
        case SectionKind::Request:
            return "request";
        case SectionKind::Wait:
            return "wait";
        case SectionKind::Trace:
            return "trace";
        case SectionKind::SensorCall:
            return "call";
    }
    return "trace";
}

// Text whose every character takes as much as the widest, for fonts that are not known.
double widthOf(std::string_view text, double character) {
    return columnsOf(text) * character;
}

// Writes shapes. `look`: attributes that say how one is drawn.
class Canvas {
  public:
    Canvas() {
        mOut.setf(std::ios::fixed);
        mOut.precision(1);
    }

    template <class Value>
    Canvas& operator<<(Value const& value) {
        mOut << value;
        return *this;
    }

    void text(double x, double y, std::string_view look, std::string_view text) {
        mOut << "<text x=\"" << x << "\" y=\"" << y << "\" " << look << '>' << escaped(text) << "</text>\n";
    }
    void rect(double x, double y, double width, double height, std::string_view look) {
        mOut << "<rect x=\"" << x << "\" y=\"" << y << "\" width=\"" << width << "\" height=\"" << height
             << "\" " << look << "/>\n";
    }
    void line(double x1, double y1, double x2, double y2, std::string_view look) {
        mOut << "<line x1=\"" << x1 << "\" y1=\"" << y1 << "\" x2=\"" << x2 << "\" y2=\"" << y2 << "\" "
             << look << "/>\n";
    }

    [[nodiscard]] std::string str() const { return mOut.str(); }

  private:
    std::ostringstream mOut;
};

// No picture is larger unless it is asked for in full.
constexpr double kMostHeight = 4000;
constexpr std::size_t kMostBytes = 2'000'000;

// What a picture leaves out to keep its size.
struct Detail {
    double gathers = 1;  // what is narrower than this and has such neighbours becomes one shape with them
    std::size_t lanes = 16;
    double height = kMostHeight;  // rows beyond it are left out
};

struct Lane {
    std::vector<Section const*> sections;  // from left to right
    double top = 0;                        // below the row's
    double height = kThinLane;
};

struct Shown {
    Record const& record;
    Timeline timeline;
    std::vector<SensorLane> lanes;
    std::string_view title;
};

class Picture {
  public:
    Picture(Shown const& shown, Detail detail)
        : mRecord(shown.record),
          mTimeline(shown.timeline),
          mLanes(shown.lanes),
          mTitle(shown.title),
          mDetail(detail) {
        double names = widthOf(kPoweredName, kNameCharacter);
        for (Row const& row : mTimeline.rows) {
            if (!row.sections.empty()) names = std::max(names, widthOf(shownName(row.name), kNameCharacter));
        }
        for (SensorLane const& lane : mLanes)
            names = std::max(names, widthOf(shownName(sensorTitle(mRecord, lane.sensor)), kNameCharacter));
        mLeft = kMargin + 8 + names + 12;
    }

    // That it has with all of its rows.
    [[nodiscard]] double height() const {
        double height = mY + kRoomBelow + kSensorHeight * static_cast<double>(mLanes.size());
        for (Row const& row : mTimeline.rows) {
            if (!row.sections.empty()) height += heightOf(lanesOf(row));
        }
        return height;
    }

    std::string text() {
        double const top = mY;
        mShownRows = chooseRows(
            mTimeline, mLanes, mDetail.height - mY - kRoomBelow,
            [this](Row const& row) { return heightOf(lanesOf(row)); }, kSensorHeight);
        for (std::size_t row = 0; row < mTimeline.rows.size(); ++row) {
            if (mShownRows.rows.contains(row)) addRow(row);
        }
        for (std::size_t lane = 0; lane < mLanes.size(); ++lane) {
            if (mShownRows.lanes.contains(lane)) addSensor(mLanes[lane]);
        }
        addPowered();
        double const bottom = mY;
        if (bottom - top > kHeightForASecondAxis) mY += 18;
        addLeftOut();
        addLegend();
        return ground(mY + kMargin) + grid(top, bottom) + mShapes.str() + "</svg>\n";
    }

  private:
    static constexpr double kSensorHeight = 26;
    static constexpr double kRoomBelow = 250;  // of the rows: the powered sensors, the axis, the legend
    static constexpr double kHeightForASecondAxis = 600;
    static constexpr std::string_view kPoweredName = "sensors powered";
    static constexpr double kRight = kWidth - kMargin - 10;

    static std::string shownName(std::string_view name) {
        constexpr int kLongestName = 28;
        return shortened(printable(name), kLongestName, "…");
    }

    [[nodiscard]] double xOf(Instant time) const {
        using Seconds = std::chrono::duration<double>;
        double const span = Seconds(mTimeline.end - mTimeline.begin).count();
        double const part = span > 0 ? Seconds(time - mTimeline.begin).count() / span : 0;
        return mLeft + std::clamp(part, 0.0, 1.0) * (kRight - mLeft);
    }
    [[nodiscard]] double extentOf(Section const& section) const {
        return std::max(xOf(section.end) - xOf(section.begin), kSliver);
    }
    [[nodiscard]] std::string ground(double height) const {
        constexpr double kBaseline = 34;
        constexpr double kTitleCharacter = 10;
        constexpr double kRoomForTitle = kWidth - 2 * kMargin - 220;
        Canvas canvas;
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
        Canvas canvas;
        for (Tick const& tick : ticksOf(mTimeline, kMostTicks)) {
            double const x = xOf(tick.time);
            canvas.line(x, top, x, bottom, R"(class="grid")");
            bool const fits = x + widthOf(tick.label, kNameCharacter) / 2 <= kRight;
            std::string_view const look =
                fits ? R"(class="muted" text-anchor="middle")" : R"(class="muted" text-anchor="end")";
            canvas.text(x, top - 6, look, tick.label);
            if (bottom - top > kHeightForASecondAxis) canvas.text(x, bottom + 16, look, tick.label);
        }
        return canvas.str();
    }

    [[nodiscard]] std::vector<Lane> lanesOf(Row const& row) const {
        std::vector<Lane> lanes;
        addToLanes(lanes, row.sections, 0);
        double top = kMarkStrip;
        for (Lane& lane : lanes) {
            constexpr double kLeastForALabel = 8;
            for (Section const* const section : lane.sections) {
                if (&lane == lanes.data() || extentOf(*section) >= kLeastForALabel) lane.height = kLane;
            }
            lane.top = std::exchange(top, top + lane.height);
        }
        return lanes;
    }

    void addToLanes(std::vector<Lane>& lanes, std::vector<Section> const& sections, std::size_t depth) const {
        if (depth == mDetail.lanes) return;
        if (!sections.empty() && lanes.size() == depth) lanes.emplace_back();
        for (Section const& section : sections) {
            lanes[depth].sections.push_back(&section);
            addToLanes(lanes, section.inner, depth + 1);
        }
    }

    [[nodiscard]] static double heightOf(std::vector<Lane> const& lanes) {
        return lanes.back().top + lanes.back().height + 5;
    }

    void addLeftOut() {
        if (mShownRows.leftOut.empty()) return;
        mShapes.text(kMargin + 8, mY + 16, R"(class="muted")",
                     "No room for " + mShownRows.leftOut + ": choose by --client and --sensor, or --full.");
        mY += 18;
    }

    void addRow(std::size_t index) {
        Row const& row = mTimeline.rows[index];
        std::vector<Lane> const lanes = lanesOf(row);
        double const height = heightOf(lanes);
        addBand(shownName(row.name), height);
        for (Lane const& lane : lanes) {
            for (std::size_t i = 0; i < lane.sections.size();) {
                std::size_t const end = gatheredEnd(lane.sections.size(), i, [&](std::size_t each) {
                    return Extent{xOf(lane.sections[each]->begin), xOf(lane.sections[each]->end)};
                });
                double const next = end == lane.sections.size() ? kRight : xOf(lane.sections[end]->begin);
                if (end > i + 1) {
                    addGathered({lane.sections.data() + i, end - i}, mY + lane.top, lane.height - 2, next);
                } else {
                    addSection(*lane.sections[i], mY + lane.top, lane.height - 2, next);
                }
                i = end;
            }
        }
        std::map<Level, double> last;  // mark of a level
        for (Mark const& mark : mTimeline.marks) {
            if (mark.row != index) continue;
            auto const [before, first] = last.emplace(mark.level, xOf(mark.time));
            if (!first && xOf(mark.time) < before->second + mDetail.gathers) continue;
            before->second = xOf(mark.time);
            addMark(mark);
        }
        mY += height;
    }

    void addBand(std::string_view name, double height, double baseline = kMarkStrip + 13) {
        if (std::exchange(mBanded, !mBanded)) {
            mShapes.rect(kMargin, mY, kWidth - 2 * kMargin, height,
                         R"(rx="4" class="band" fill-opacity=".6")");
        }
        mShapes.text(kMargin + 8, mY + baseline, "", name);
    }

    struct Extent {
        double begin;
        double end;
    };

    // Behind the last of those from `first` on that are drawn as one: as long as each is too narrow.
    template <class ExtentOf>
    std::size_t gatheredEnd(std::size_t count, std::size_t first, ExtentOf const& extentAt) const {
        double const begin = extentAt(first).begin;
        std::size_t end = first;
        while (end < count && extentAt(end).end - extentAt(end).begin < mDetail.gathers &&
               extentAt(end).begin < begin + 2 * mDetail.gathers) {
            ++end;
        }
        return std::max(end, first + 1);
    }

    void addGathered(std::span<Section const* const> sections, double top, double height, double next) {
        Section const& first = *sections.front();
        Section const& last = *sections.back();
        auto const failed = std::count_if(sections.begin(), sections.end(),
                                          [](Section const* section) { return holdsFailure(*section); });
        std::string const look = failed > 0 ? "failed" : "gathered";
        mLooks.insert(look);
        std::string const count = std::to_string(sections.size());
        mShapes << "<g><title>" << count << " sections";
        if (failed > 0) mShapes << ", " << failed << " failed";
        mShapes << "\nstart " << timeText(first.begin - mTimeline.zero) << ", took "
                << timeText(last.end - first.begin) << "</title>";
        double const x = xOf(first.begin);
        double const width = std::max(xOf(last.end) - x, kSliver);
        mShapes.rect(x, top, width, height, classed(look));
        if (height > kThinLane && x + width + widthOf(count, kCharacter) + 10 <= next)
            mShapes.text(x + width + 4, top + 13, R"(class="label muted")", count);
        mShapes << "</g>\n";
    }

    // A failure shows on what holds it where that is not drawn.
    [[nodiscard]] bool fails(Section const& section) const {
        return section.failed || (mDetail.lanes == 1 && holdsFailure(section));
    }

    // `next`: where the next section of its lane begins.
    void addSection(Section const& section, double top, double height, double next) {
        double const x = xOf(section.begin);
        double const width = extentOf(section);
        mShapes << "<g><title>" << escaped(mTimeline.textOf(section.label)) << "\nstart "
                << timeText(section.begin - mTimeline.zero) << ", "
                << (section.open ? "not ended after " : "took ") << timeText(section.end - section.begin)
                << (fails(section) ? ", failed" : "") << "</title>";
        std::string const look = fails(section) ? "failed" : classOf(section.kind);
        mLooks.insert(look);
        if (section.open) mLooks.insert("open");
        mShapes.rect(x, top, width, height, classed(section.open ? look + " open" : look));
        if (fails(section)) addSign(x, top + height / 2);
        if (height > kThinLane) addLabel(section, x, top, next);
        mShapes << "</g>\n";
    }

    void addSign(double x, double y) {
        mShapes << "<circle class=\"sign\" cx=\"" << x + 10 << "\" cy=\"" << y << "\" r=\"6\"/>"
                << "<path class=\"cross\" d=\"M" << x + 7.7 << ' ' << y - 2.3
                << "l4.6 4.6m0 -4.6l-4.6 4.6\"/>";
    }

    void addLabel(Section const& section, double x, double top, double next) {
        constexpr double kLeastColumns = 5;
        double const before = fails(section) ? 20 : 4;
        double const room = extentOf(section) - before - 2;
        double const beside = x + std::max(extentOf(section), fails(section) ? before : 0);
        bool const patterned = fails(section) || section.kind == SectionKind::Wait;
        std::string_view const inside = patterned ? R"(class="label halo")" : R"(class="label")";
        std::string label;
        for (TextId const form : {section.label, section.briefLabels[0], section.briefLabels[1]}) {
            if (form == TextId::Empty) continue;
            label = printable(mTimeline.textOf(form));
            double const needed = widthOf(label, kCharacter);
            if (needed <= room) return mShapes.text(x + before, top + 13, inside, label);
            if (beside + needed + 10 <= next)
                return mShapes.text(beside + 5, top + 13, R"(class="label muted")", label);
        }
        if (room >= kLeastColumns * kCharacter) {
            mShapes.text(x + before, top + 13, inside,
                         shortened(label, static_cast<int>(room / kCharacter), "…"));
        }
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
        mShapes.line(mLeft, mY + 20, kRight, mY + 20, R"(class="grid")");
        double gathered = 0;  // up to there something too narrow has a shape
        for (SensorPart const& part : lane.parts) {
            std::string const look(lookOf(part));
            bool const isNarrow = xOf(part.end) - xOf(part.begin) < mDetail.gathers;
            if (look.empty() || (isNarrow && look != "conflict" && xOf(part.begin) < gathered)) continue;
            if (isNarrow) gathered = xOf(part.begin) + mDetail.gathers;
            mLooks.insert(look);
            double const x = xOf(part.begin);
            double const width = std::max(xOf(part.end) - x, kSliver);
            std::string const clients = clientsText(mRecord, part);
            mShapes << "<g><title>" << escaped(name) << ": " << nameOf(part.state)
                    << (clients.empty() ? "" : ", counted on by ") << escaped(clients) << "\nfrom "
                    << timeText(part.begin - mTimeline.zero) << ", for " << timeText(part.end - part.begin)
                    << "</title>";
            mShapes.rect(x, mY + 4, width, 16, classed(look));
            bool const signs = look == "failed" || look == "conflict";
            if (signs) addSign(x, mY + 12);
            std::string const label = printable(clients);
            double const before = signs ? 20 : 4;
            if (!label.empty() && before + widthOf(label, kCharacter) <= width)
                mShapes.text(x + before, mY + 16, R"(class="label")", label);
            mShapes << "</g>\n";
        }
        mY += kSensorHeight;
    }

    void addMark(Mark const& mark) {
        if (mark.level != Level::Error && mark.level != Level::Warning) return;
        std::string_view const level = nameOf(mark.level);
        mLooks.emplace(level);
        mShapes << "<g><title>" << level << " at " << timeText(mark.time - mTimeline.zero) << "\n"
                << escaped(mTimeline.textOf(mark.text)) << "</title>";
        addPointer(xOf(mark.time), mY + 1, level);
        mShapes << "</g>\n";
    }

    void addPointer(double x, double y, std::string_view level) {
        mShapes << "<path class=\"" << level << "\" d=\"M" << x - 4 << ' ' << y << "h8l-4 7z\"/>";
    }

    void addPowered() {
        int most = 1;
        for (PoweredCount const& count : mTimeline.powered) most = std::max(most, count.sensors);
        double const step = std::min(kCountStep, 84.0 / most);
        double const height = kMarkStrip + 14 + most * step;
        addBand(kPoweredName, height);
        double const floor = mY + height - 4;
        Canvas line;
        line << 'M' << mLeft << ' ' << floor;
        double last = 0;
        for (PoweredCount const& count : mTimeline.powered) {
            if (xOf(count.time) < last) continue;
            last = xOf(count.time) + mDetail.gathers / 2;
            line << 'H' << xOf(count.time) << 'V' << floor - count.sensors * step;
        }
        if (!mTimeline.powered.empty())
            line << 'H' << kRight << 'V' << floor - mTimeline.powered.back().sensors * step;
        line << 'H' << kRight;
        mShapes << R"(<path class="area" d=")" << line.str() << 'V' << floor << "z\"/>\n"
                << R"(<path class="powered" d=")" << line.str() << "\"/>\n";
        addCounts(floor, step);
        mY += height;
    }

    void addCounts(double floor, double step) {
        for (std::size_t i = 0; i < mTimeline.powered.size(); ++i) {
            PoweredCount const& count = mTimeline.powered[i];
            bool const last = i + 1 == mTimeline.powered.size();
            double const room = (last ? kRight : xOf(mTimeline.powered[i + 1].time)) - xOf(count.time);
            std::string const number = std::to_string(count.sensors);
            if (room < widthOf(number, kCharacter) + 4) continue;
            mShapes.text(xOf(count.time) + 3, floor - count.sensors * step - 4, R"(class="label")", number);
        }
    }

    // Names what stands in this picture.
    void addLegend() {
        constexpr double kSwatch = 24;
        mY += 12;
        double x = kMargin + 8;
        for (auto const& [look, name] : kLegend) {
            if (!mLooks.contains(look)) continue;
            bool const isLevel = look == "error" || look == "warning";
            double const width = isLevel ? 8 : kSwatch;
            if (x + width + 7 + widthOf(name, kNameCharacter) > kRight) {
                x = kMargin + 8;
                mY += 20;
            }
            if (isLevel) {
                addPointer(x + 4, mY + 3, look);
            } else {
                mShapes.rect(x, mY, width, 13, look == "open" ? classed("request open") : classed(look));
            }
            if (look == "failed" || look == "conflict") addSign(x + 2, mY + 6.5);
            mShapes.text(x + width + 7, mY + 11, R"(class="muted")", name);
            x += width + 7 + widthOf(name, kNameCharacter) + 16;
        }
        mY += 13;
    }

    static std::string classed(std::string_view look) {
        return R"(rx="2" class=")" + std::string(look) + '"';
    }

    Record const& mRecord;
    Timeline const& mTimeline;
    std::vector<SensorLane> const& mLanes;
    std::string_view const mTitle;
    Detail const mDetail;
    RowChoice mShownRows;
    double mLeft = 0;
    double mY = 64;  // where the next row begins
    bool mBanded = false;
    Canvas mShapes;
    std::set<std::string, std::less<>> mLooks;  // that it has used
};

}  // namespace

void writeSvg(Record const& record, Presentation const& presentation, std::ostream& out) {
    Shown const shown{record, timelineOf(record, presentation.selection),
                      sensorLanesOf(record, presentation.selection), presentation.title};
    if (presentation.full) {
        out << Picture(shown, {.height = std::numeric_limits<double>::infinity()}).text();
        return;
    }
    // The rows first give up what they hold, and then some of them go.
    Detail detail;
    while (detail.lanes > 1 && Picture(shown, detail).height() > kMostHeight) --detail.lanes;
    std::string text = Picture(shown, detail).text();
    while (text.size() > kMostBytes) {
        detail.gathers *= 2;
        text = Picture(shown, detail).text();
    }
    out << text;
}

}  // namespace zeqcam::tool
