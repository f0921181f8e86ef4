#include "views/TerminalTimeline.h"

#include "analysis/Selection.h"
#include "analysis/SensorLanes.h"
#include "analysis/SensorNames.h"
#include "analysis/Timeline.h"
#include "text/Printable.h"
#include "text/TextWidth.h"
#include "views/Axis.h"
#include "views/RowChoice.h"
#include "views/Table.h"
#include "views/TerminalBars.h"
#include "views/TerminalGlyphs.h"
#include "views/TerminalLine.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <initializer_list>
#include <limits>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zeqcam::tool {
namespace {

using terminal::Alphabet;
using terminal::Bar;
using terminal::colourOf;
using terminal::kAscii;
using terminal::kDim;
using terminal::kFailed;
using terminal::kFailure;
using terminal::kName;
using terminal::kPlain;
using terminal::kUtf8;
using terminal::kWaits;
using terminal::Levels;
using terminal::Line;
using terminal::Scale;

class TimelineText {
  public:
    // `leastNames`: columns that names take, if only to stand in line with another picture's. `ended`: when
    // the record did, of a timeline that is drawn longer.
    TimelineText(Record const& record, Timeline const& timeline, Presentation const& presentation,
                 int leastNames = 0, Instant ended = Instant::max())
        : mRecord(record),
          mTimeline(timeline),
          mLanes(sensorLanesOf(record, presentation.selection)),
          mColumns(presentation.columns),
          mColours(presentation.colours),
          mAlphabet(presentation.glyphs == Glyphs::Utf8 ? kUtf8 : kAscii),
          mNames(std::max(namesWidth(), leastNames)),
          mScale(timeline, mColumns - mNames),
          mEnded(ended),
          mMostLines(presentation.full ? std::numeric_limits<double>::infinity() : kMostLines) {}

    [[nodiscard]] int names() const { return mNames; }

    std::string text() {
        addAxis(true);
        RowChoice const shown = chooseRows(
            mTimeline, mLanes, mMostLines, [this](Row const& row) { return linesOf(row); }, 1);
        for (std::size_t const row : shown.rows) addRow(mTimeline.rows[row]);
        for (std::size_t const lane : shown.lanes) addLane(mLanes[lane]);
        addPowered();
        if (mLines > kLinesForASecondAxis) addAxis(false);
        if (!mLanes.empty()) addLegendOfLanes();
        addLegendOfProcessor();
        addLeftOut(shown.leftOut);
        return std::move(mText);
    }

  private:
    static constexpr int kLinesForASecondAxis = 24;
    static constexpr double kMostLines = 100;  // of rows and lanes, unless all are asked for
    static constexpr std::string_view kPowered = "sensors powered";

    // With the space behind them. The larger part of the width is for the bars.
    [[nodiscard]] int namesWidth() const {
        int width = columnsOf(kPowered);
        for (Row const& row : mTimeline.rows) {
            if (!row.sections.empty()) width = std::max(width, columnsOf(shownText(row.name)));
        }
        for (SensorLane const& lane : mLanes)
            width = std::max(width, columnsOf(shownText(sensorTitle(mRecord, lane.sensor))));
        return std::min(width, mColumns / 3) + 1;
    }

    // How many levels a row shows.
    [[nodiscard]] std::size_t mostLevels() const { return mColumns < 100 ? 2 : mColumns < 160 ? 3 : 6; }

    [[nodiscard]] bool isAscii() const { return mAlphabet.fill == kAscii.fill; }

    [[nodiscard]] std::string shownText(std::string_view text) const {
        std::string shown;
        std::string const safe = printable(text);
        for (Character const& character : charactersOf(safe)) {
            if (isAscii() && character.code > 0x7e) {
                shown.append(static_cast<std::size_t>(character.columns), '?');
            } else {
                shown += character.bytes;
            }
        }
        return shown;
    }

    [[nodiscard]] Line lineNamed(std::string_view name) const {
        Line line(mColumns);
        line.put(0, shortened(shownText(name), mNames - 1, mAlphabet.ellipsis), kName);
        return line;
    }

    void add(Line const& line) {
        mText += line.text(mColours);
        ++mLines;
    }

    // What the labels count.
    [[nodiscard]] std::string clockText() const { return std::string(nameOf(mRecord.clock)) + " clock"; }

    // The labels stand away from the rows.
    void addAxis(bool above) {
        constexpr int kCellsForATick = 12;
        Line labels(mColumns);
        Line ruler(mColumns);
        labels.put(0, shortened(clockText(), mNames - 1, mAlphabet.ellipsis), kDim);
        ruler.fill(mNames, mColumns, mAlphabet.axis, kDim);
        for (Tick const& tick : ticksOf(mTimeline, mScale.cells() / kCellsForATick)) {
            int const column = mNames + mScale.cellOf(tick.time);
            ruler.put(column, mAlphabet.axisTick, kDim);
            if (column + columnsOf(tick.label) <= mColumns) labels.put(column, tick.label, kDim);
        }
        add(above ? labels : ruler);
        add(above ? ruler : labels);
    }

    // A line above them may name short ones, and one below them tell of the processor.
    [[nodiscard]] double linesOf(Row const& row) const {
        std::size_t const around = row.processor.empty() ? 1 : 2;
        return static_cast<double>(Levels(row.sections, mScale, mostLevels()).bars().size() + around);
    }

    void addRow(Row const& row) {
        Levels const levels(row.sections, mScale, mostLevels());
        mLeftOut += levels.leftOut();
        std::string_view name = row.name;
        for (std::vector<Bar> const& bars : levels.bars()) {
            Line line = lineNamed(std::exchange(name, {}));
            std::vector<Bar> unnamed;
            for (std::size_t i = 0; i < bars.size(); ++i) {
                int const next = i + 1 < bars.size() ? bars[i + 1].cells.begin : mScale.cells();
                draw(line, bars[i]);
                if (!putLabel(line, bars[i], next - bars[i].cells.end)) unnamed.push_back(bars[i]);
            }
            if (&bars == levels.bars().data()) addCaptions(std::move(unnamed));
            add(line);
        }
        if (!row.processor.empty()) addProcessor(row.processor);
    }

    [[nodiscard]] std::string_view glyphOf(Scheduling::State state) const {
        switch (state) {
            case Scheduling::State::Running:
                return mAlphabet.running;
            case Scheduling::State::Runnable:
                return mAlphabet.runnable;
            default:
                return mAlphabet.asleep;
        }
    }

    void addProcessor(std::vector<ProcessorPart> const& parts) {
        Line line(mColumns);
        int column = mNames;
        for (auto const state : terminal::statesOf(parts, mScale)) {
            if (state) {
                mLooks.insert(glyphOf(*state));
                line.put(column, glyphOf(*state), *state == Scheduling::State::Runnable ? kWaits : kDim);
            }
            ++column;
        }
        add(line);
    }

    void draw(Line& line, Bar const& bar) const {
        std::string_view const style = styleOf(bar);
        int const begin = mNames + bar.cells.begin;
        int const end = mNames + bar.cells.end;
        if (bar.cells.size() == 1) {
            line.put(begin, bar.section->open ? mAlphabet.open : mAlphabet.tick, style);
        } else {
            line.put(begin, mAlphabet.left, style);
            line.fill(begin + 1, end - 1, mAlphabet.fill, style);
            line.put(end - 1, bar.section->open ? mAlphabet.open : mAlphabet.right, style);
        }
        // A bar of two cells keeps its begin, one of a single cell is the sign alone.
        if (bar.failed) line.put(std::min(begin + 1, end - 1), kFailed, style);
    }

    // Inside, or beside where it fits only there, or else as much of it as fits inside. `gap`: the free cells
    // behind the bar. False when there is no room at all.
    bool putLabel(Line& line, Bar const& bar, int gap) const {
        constexpr int kLeast = 4;
        int const begin = mNames + bar.cells.begin + (bar.failed ? 2 : 1);
        int const room = mNames + bar.cells.end - 1 - begin;
        std::string label;
        for (TextId const form :
             {bar.section->label, bar.section->briefLabels[0], bar.section->briefLabels[1]}) {
            if (form == TextId::Empty) continue;
            label = shownText(mTimeline.textOf(form));
            int const width = columnsOf(label);
            if (width <= room) return line.put(begin, label, styleOf(bar)), true;
            if (width + 2 <= gap) return line.put(mNames + bar.cells.end, " " + label, styleOf(bar)), true;
        }
        if (room < kLeast) return false;
        line.put(begin, shortened(label, room, mAlphabet.ellipsis), styleOf(bar));
        return true;
    }

    // Names short bars on a line above them, the longest first, as far as there is room.
    void addCaptions(std::vector<Bar> bars) {
        std::stable_sort(bars.begin(), bars.end(), [](Bar const& a, Bar const& b) {
            return a.section->end - a.section->begin > b.section->end - b.section->begin;
        });
        Line line(mColumns);
        for (Bar const& bar : bars) {
            std::string const label = shownText(mTimeline.textOf(bar.section->label));
            int const begin = mNames + bar.cells.begin;
            int const end = begin + 1 + columnsOf(label);
            if (end > mColumns || !line.isBlank(begin - 1, end + 1)) continue;
            line.put(begin, mAlphabet.caption, styleOf(bar));
            line.put(begin + 1, label, styleOf(bar));
        }
        if (!line.isBlank(0, mColumns)) add(line);
    }

    static std::string_view styleOf(Bar const& bar) {
        return bar.failed ? kFailure : colourOf(bar.section->kind);
    }

    struct LaneLook {
        std::string_view glyph;
        std::string_view style;
    };

    [[nodiscard]] LaneLook lookOf(SensorPart const& part) const {
        if (isConflict(part)) return {mAlphabet.conflict, kFailure};
        switch (part.state) {
            case SensorState::Off:
                return {mAlphabet.off, kDim};
            case SensorState::On:
                return {mAlphabet.on, colourOf(SectionKind::SensorCall)};
            case SensorState::Failed:
                return {kFailed, kFailure};
            case SensorState::PoweringOn:
            case SensorState::PoweringOff:
                return {mAlphabet.powering, kPlain};
        }
        return {};
    }

    // The state at each time, and the clients that count on the sensor. What counts most is drawn last: a
    // conflict of less than a cell is seen.
    void addLane(SensorLane const& lane) {
        Line line = lineNamed(sensorTitle(mRecord, lane.sensor));
        for (bool const conflicts : {false, true}) {
            for (SensorPart const& part : lane.parts) {
                if (isConflict(part) != conflicts) continue;
                auto const [glyph, style] = lookOf(part);
                mLooks.insert(glyph);
                int const begin = mNames + mScale.cellOf(part.begin);
                int const least = conflicts || part.state == SensorState::Failed ? 1 : 0;
                int const end = std::max(mNames + mScale.cellOf(part.end), begin + least);
                line.fill(begin, end, glyph, style);
                std::string const clients = shownText(clientsText(mRecord, part));
                if (!clients.empty() && columnsOf(clients) + 2 <= end - begin)
                    line.put(begin + 1, clients, style);
            }
        }
        add(line);
    }

    void addLegendOfLanes() {
        addLegend({{mAlphabet.off, "off"},
                   {mAlphabet.powering, "powering"},
                   {mAlphabet.on, "on"},
                   {kFailed, "failed"},
                   {mAlphabet.conflict, "counted on, but not on"}});
    }

    void addLegendOfProcessor() {
        using State = Scheduling::State;
        addLegend({{mAlphabet.running, nameOf(State::Running)},
                   {mAlphabet.runnable, nameOf(State::Runnable)},
                   {mAlphabet.asleep, nameOf(State::Asleep)}});
    }

    // Names those that stand in this picture.
    void addLegend(std::initializer_list<std::pair<std::string_view, std::string_view>> looks) {
        Line line(mColumns);
        int column = mNames;
        for (auto const& [glyph, meaning] : looks) {
            if (!mLooks.contains(glyph)) continue;
            std::string const text = std::string(glyph) + ' ' + std::string(meaning);
            if (column + columnsOf(text) > mColumns) break;
            line.put(column, text, kDim);
            column += columnsOf(text) + 2;
        }
        if (!line.isBlank(0, mColumns)) add(line);
    }

    // Each number stands where it begins to hold.
    void addPowered() {
        Line line = lineNamed(kPowered);
        for (PoweredCount const& count : mTimeline.powered) {
            int const column = mNames + mScale.cellOf(count.time);
            line.fill(column, mColumns, count.sensors.value_or(0) > 0 ? mAlphabet.axis : " ", kDim);
            line.put(column, count.sensors ? std::to_string(*count.sensors) : "?", kPlain);
        }
        if (mEnded < mTimeline.end) line.fill(mNames + mScale.cellOf(mEnded) + 1, mColumns, " ", kPlain);
        add(line);
    }

    // `rows`: those that have no line.
    void addLeftOut(std::string const& rows) {
        auto const tell = [this](std::string const& text) {
            Line line(mColumns);
            line.put(mNames, shortened(text, mColumns - mNames, mAlphabet.ellipsis), kDim);
            add(line);
        };
        if (mLeftOut > 0) {
            tell(fmt::format("too short or too deep for this width: {} section{}", mLeftOut,
                             mLeftOut == 1 ? "" : "s"));
        }
        if (!rows.empty()) tell("left out, see --full: " + rows);
    }

    Record const& mRecord;
    Timeline const& mTimeline;
    std::vector<SensorLane> const mLanes;
    int const mColumns;
    bool const mColours;
    Alphabet const& mAlphabet;
    int const mNames;
    Scale const mScale;
    Instant const mEnded;
    double const mMostLines;
    int mLines = 0;
    int mLeftOut = 0;
    std::set<std::string_view> mLooks;  // of the sensors' lanes, and of the processor
    std::string mText;
};

bool hasNoSection(Timeline const& timeline) {
    return std::all_of(timeline.rows.begin(), timeline.rows.end(),
                       [](Row const& row) { return row.sections.empty(); });
}

}  // namespace

void writeTerminalTimeline(Record const& record, Presentation const& presentation, std::ostream& out) {
    Timeline const timeline = timelineOf(record, presentation.selection);
    if (hasNoSection(timeline) || presentation.columns < 2) return;
    out << TimelineText(record, timeline, presentation).text();
}

void writeTerminalTimelines(std::vector<NamedRecord> const& records, Presentation const& presentation,
                            std::ostream& out) {
    if (presentation.columns < 2) return;
    std::vector<Timeline> timelines;
    std::vector<Presentation> presentations;
    std::chrono::nanoseconds longest{0};
    int names = 0;
    for (NamedRecord const& each : records) {
        Timeline& timeline = timelines.emplace_back(timelineOf(*each.record, each.selection));
        timeline.zero = timeline.begin;
        presentations.push_back(presentation);
        presentations.back().selection = each.selection;
        longest = std::max(longest, timeline.end - timeline.begin);
        names = std::max(names, TimelineText(*each.record, timeline, presentations.back()).names());
    }
    for (std::size_t i = 0; i < records.size(); ++i) {
        Timeline& timeline = timelines[i];
        if (hasNoSection(timeline)) continue;
        Instant const ended = std::exchange(timeline.end, timeline.begin + longest);
        out << '\n'
            << Ink{presentation.colours}.bold(printable(records[i].name)) << '\n'
            << TimelineText(*records[i].record, timeline, presentations[i], names, ended).text();
    }
}

}  // namespace zeqcam::tool
