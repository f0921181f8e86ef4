#include "views/SvgSheet.h"

#include "text/Markup.h"
#include "text/TextWidth.h"

#include <chrono>

namespace zeqcam::tool::svg {

double widthOf(std::string_view text, double character) {
    return columnsOf(text) * character;
}

std::string classed(std::string_view look) {
    return R"(rx="2" class=")" + std::string(look) + '"';
}

void Canvas::text(double x, double y, std::string_view look, std::string_view text) {
    mOut << "<text x=\"" << x << "\" y=\"" << y << "\" " << look << '>' << escaped(text) << "</text>\n";
}

void Canvas::rect(double x, double y, double width, double height, std::string_view look) {
    mOut << "<rect x=\"" << x << "\" y=\"" << y << "\" width=\"" << width << "\" height=\"" << height << "\" "
         << look << "/>\n";
}

void Canvas::line(double x1, double y1, double x2, double y2, std::string_view look) {
    mOut << "<line x1=\"" << x1 << "\" y1=\"" << y1 << "\" x2=\"" << x2 << "\" y2=\"" << y2 << "\" " << look
         << "/>\n";
}

void Canvas::sign(double x, double y) {
    mOut << "<circle class=\"sign\" cx=\"" << x + 10 << "\" cy=\"" << y << "\" r=\"6\"/>"
         << "<path class=\"cross\" d=\"M" << x + 7.7 << ' ' << y - 2.3 << "l4.6 4.6m0 -4.6l-4.6 4.6\"/>";
}

void Canvas::pointer(double x, double y, std::string_view level) {
    mOut << "<path class=\"" << level << "\" d=\"M" << x - 4 << ' ' << y << "h8l-4 7z\"/>";
}

double Sheet::xOf(Instant time) const {
    using Seconds = std::chrono::duration<double>;
    double const span = Seconds(mTimeline.end - mTimeline.begin).count();
    double const part = span > 0 ? Seconds(time - mTimeline.begin).count() / span : 0;
    return mLeft + std::clamp(part, 0.0, 1.0) * (kRight - mLeft);
}

}  // namespace zeqcam::tool::svg
