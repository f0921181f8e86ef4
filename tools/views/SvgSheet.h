#pragma once

#include "analysis/Timeline.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <set>
#include <sstream>
#include <string>
#include <string_view>

// What the parts of a picture share: shapes in SVG, and how a time becomes a place.
namespace zeqcam::tool::svg {

constexpr double kWidth = 1000;
constexpr double kMargin = 16;
constexpr double kRight = kWidth - kMargin - 10;  // where the timeline ends
constexpr double kCharacter = 6.65;  // of a label's font: one width for all, whichever font it is
constexpr double kNameCharacter = 7.4;
constexpr double kMarkStrip = 9;  // above a row's bars
constexpr double kSliver = 1.5;
constexpr double kProcessorBand = 6;  // below a row's bars

// Text whose every character takes as much as the widest, for fonts that are not known.
double widthOf(std::string_view text, double character);

// How what a thread did for the processor looks. Each has a height of its own, so that it needs no colour.
struct ProcessorLook {
    std::string_view look;
    double height;
};
constexpr ProcessorLook processorLookOf(Scheduling::State state) {
    switch (state) {
        case Scheduling::State::Running:
            return {"running", kProcessorBand};
        case Scheduling::State::Runnable:
            return {"runnable", kProcessorBand / 2};
        default:
            return {"asleep", 1};
    }
}

// The attributes of a shape that looks so.
std::string classed(std::string_view look);

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

    void text(double x, double y, std::string_view look, std::string_view text);
    void rect(double x, double y, double width, double height, std::string_view look);
    void line(double x1, double y1, double x2, double y2, std::string_view look);
    // Of a failure.
    void sign(double x, double y);
    // At a time of which the log tells.
    void pointer(double x, double y, std::string_view level);

    [[nodiscard]] std::string str() const { return mOut.str(); }

  private:
    std::ostringstream mOut;
};

// What a picture leaves out to keep its size.
struct Detail {
    double gathers = 1;  // what is narrower than this and has such neighbours becomes one shape with them
    std::size_t lanes = 16;
    double height = 4000;  // rows beyond it are left out
};

// The shapes of one picture.
class Sheet {
  public:
    // `left`: where the timeline begins.
    Sheet(Timeline const& timeline, double left, Detail detail)
        : mTimeline(timeline), mLeft(left), mDetail(detail) {}

    [[nodiscard]] Timeline const& timeline() const { return mTimeline; }
    [[nodiscard]] double left() const { return mLeft; }
    [[nodiscard]] Detail const& detail() const { return mDetail; }

    [[nodiscard]] double xOf(Instant time) const;

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

    Canvas shapes;
    std::set<std::string, std::less<>> looks;  // that it has used

  private:
    Timeline const& mTimeline;
    double const mLeft;
    Detail const mDetail;
};

}  // namespace zeqcam::tool::svg
