#include "views/SvgRow.h"

#include "text/Markup.h"
#include "text/Printable.h"
#include "text/TextWidth.h"
#include "text/TimeText.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zeqcam::tool::svg {
namespace {

constexpr double kLane = 20;
constexpr double kThinLane = 7;  // of slivers, which take no label

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

struct Lane {
    std::vector<Section const*> sections;  // from left to right
    double top = 0;                        // below the row's
    double height = kThinLane;
};

// Draws one row.
class RowDrawing {
  public:
    RowDrawing(Sheet& sheet, double y) : mSheet(sheet), mY(y) {}

    void add(std::size_t index) {
        std::vector<Lane> const lanes = lanesOf(mSheet.timeline().rows[index]);
        for (Lane const& lane : lanes) {
            for (std::size_t i = 0; i < lane.sections.size();) {
                std::size_t const end = mSheet.gatheredEnd(lane.sections.size(), i, [&](std::size_t each) {
                    return Sheet::Extent{mSheet.xOf(lane.sections[each]->begin),
                                         mSheet.xOf(lane.sections[each]->end)};
                });
                double const next =
                    end == lane.sections.size() ? kRight : mSheet.xOf(lane.sections[end]->begin);
                if (end > i + 1) {
                    addGathered({lane.sections.data() + i, end - i}, mY + lane.top, lane.height - 2, next);
                } else {
                    addSection(*lane.sections[i], mY + lane.top, lane.height - 2, next);
                }
                i = end;
            }
        }
        addProcessor(mSheet.timeline().rows[index].processor, mY + heightOf(lanes) + kProcessorBand);
        std::map<Level, double> last;  // mark of a level
        for (Mark const& mark : mSheet.timeline().marks) {
            if (mark.row != index) continue;
            auto const [before, first] = last.emplace(mark.level, mSheet.xOf(mark.time));
            if (!first && mSheet.xOf(mark.time) < before->second + mSheet.detail().gathers) continue;
            before->second = mSheet.xOf(mark.time);
            addMark(mark);
        }
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
        if (depth == mSheet.detail().lanes) return;
        if (!sections.empty() && lanes.size() == depth) lanes.emplace_back();
        for (Section const& section : sections) {
            lanes[depth].sections.push_back(&section);
            addToLanes(lanes, section.inner, depth + 1);
        }
    }

    [[nodiscard]] static double heightOf(std::vector<Lane> const& lanes) {
        return lanes.back().top + lanes.back().height + 5;
    }

    // `floor`: the lower end of the band.
    void addProcessor(std::vector<ProcessorPart> const& parts, double floor) {
        for (std::size_t i = 0; i < parts.size();) {
            std::size_t const end = mSheet.gatheredEnd(parts.size(), i, [&](std::size_t each) {
                return Sheet::Extent{mSheet.xOf(parts[each].begin), mSheet.xOf(parts[each].end)};
            });
            addProcessorParts({parts.data() + i, end - i}, floor);
            i = end;
        }
    }

  private:
    [[nodiscard]] double extentOf(Section const& section) const {
        return std::max(mSheet.xOf(section.end) - mSheet.xOf(section.begin), kSliver);
    }
    void addGathered(std::span<Section const* const> sections, double top, double height, double next) {
        Section const& first = *sections.front();
        Section const& last = *sections.back();
        auto const failed = std::count_if(sections.begin(), sections.end(),
                                          [](Section const* section) { return holdsFailure(*section); });
        std::string const look = failed > 0 ? "failed" : "gathered";
        mSheet.looks.insert(look);
        std::string const count = std::to_string(sections.size());
        mSheet.shapes << "<g><title>" << count << " sections";
        if (failed > 0) mSheet.shapes << ", " << failed << " failed";
        mSheet.shapes << "\nstart " << timeText(first.begin - mSheet.timeline().zero) << ", took "
                      << timeText(last.end - first.begin) << "</title>";
        double const x = mSheet.xOf(first.begin);
        double const width = std::max(mSheet.xOf(last.end) - x, kSliver);
        mSheet.shapes.rect(x, top, width, height, classed(look));
        if (height > kThinLane && x + width + widthOf(count, kCharacter) + 10 <= next)
            mSheet.shapes.text(x + width + 4, top + 13, R"(class="label muted")", count);
        mSheet.shapes << "</g>\n";
    }

    // As that which takes most of their time.
    void addProcessorParts(std::span<ProcessorPart const> parts, double floor) {
        std::map<Scheduling::State, std::chrono::nanoseconds> times;
        for (ProcessorPart const& part : parts) times[part.state] += part.end - part.begin;
        auto const most =
            std::max_element(times.begin(), times.end(),
                             [](auto const& one, auto const& other) { return one.second < other.second; });
        auto const [look, height] = processorLookOf(most->first);
        mSheet.looks.emplace(look);
        mSheet.shapes << "<g><title>";
        for (auto const& [state, time] : times)
            mSheet.shapes << nameOf(state) << ' ' << timeText(time) << '\n';
        mSheet.shapes << "from " << timeText(parts.front().begin - mSheet.timeline().zero) << "</title>";
        double const x = mSheet.xOf(parts.front().begin);
        double const width = std::max(mSheet.xOf(parts.back().end) - x, 0.5);
        mSheet.shapes.rect(x, floor - height, width, height, classed(look));
        mSheet.shapes << "</g>\n";
    }

    // A failure shows on what holds it where that is not drawn.
    [[nodiscard]] bool fails(Section const& section) const {
        return section.failed || (mSheet.detail().lanes == 1 && holdsFailure(section));
    }

    // `next`: where the next section of its lane begins.
    void addSection(Section const& section, double top, double height, double next) {
        double const x = mSheet.xOf(section.begin);
        double const width = extentOf(section);
        mSheet.shapes << "<g><title>" << escaped(mSheet.timeline().textOf(section.label)) << "\nstart "
                      << timeText(section.begin - mSheet.timeline().zero) << ", "
                      << (section.open ? "not ended after " : "took ")
                      << timeText(section.end - section.begin) << (fails(section) ? ", failed" : "");
        if (section.why != TextId::Empty)
            mSheet.shapes << ": " << escaped(mSheet.timeline().textOf(section.why));
        mSheet.shapes << "</title>";
        std::string const look = fails(section) ? "failed" : classOf(section.kind);
        mSheet.looks.insert(look);
        if (section.open) mSheet.looks.insert("open");
        mSheet.shapes.rect(x, top, width, height, classed(section.open ? look + " open" : look));
        if (fails(section)) mSheet.shapes.sign(x, top + height / 2);
        if (height > kThinLane) addLabel(section, x, top, next);
        mSheet.shapes << "</g>\n";
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
            label = printable(mSheet.timeline().textOf(form));
            double const needed = widthOf(label, kCharacter);
            if (needed <= room) return mSheet.shapes.text(x + before, top + 13, inside, label);
            if (beside + needed + 10 <= next)
                return mSheet.shapes.text(beside + 5, top + 13, R"(class="label muted")", label);
        }
        if (room >= kLeastColumns * kCharacter) {
            mSheet.shapes.text(x + before, top + 13, inside,
                               shortened(label, static_cast<int>(room / kCharacter), "…"));
        }
    }

    void addMark(Mark const& mark) {
        if (mark.level != Level::Error && mark.level != Level::Warning) return;
        std::string_view const level = nameOf(mark.level);
        mSheet.looks.emplace(level);
        mSheet.shapes << "<g><title>" << level << " at " << timeText(mark.time - mSheet.timeline().zero)
                      << "\n"
                      << escaped(mSheet.timeline().textOf(mark.text)) << "</title>";
        mSheet.shapes.pointer(mSheet.xOf(mark.time), mY + 1, level);
        mSheet.shapes << "</g>\n";
    }

    Sheet& mSheet;
    double const mY;
};

}  // namespace

double heightOf(Sheet& sheet, Row const& row) {
    RowDrawing const drawing(sheet, 0);
    double const band = row.processor.empty() ? 0 : kProcessorBand + 4;
    return RowDrawing::heightOf(drawing.lanesOf(row)) + band;
}

void addRow(Sheet& sheet, std::size_t index, double y) {
    RowDrawing(sheet, y).add(index);
}

}  // namespace zeqcam::tool::svg
