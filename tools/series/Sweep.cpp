#include "series/Sweep.h"

#include "series/Statistics.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>
#include <optional>
#include <stdexcept>

namespace zeqcam::tool {
namespace {

constexpr std::size_t kMostValues = 10'000;

std::optional<double> numberOf(std::string const& text) {
    char* end = nullptr;
    double const number = std::strtod(text.c_str(), &end);
    bool const isNumber = !text.empty() && end == text.c_str() + text.size() && std::isfinite(number);
    return isNumber ? std::optional(number) : std::nullopt;
}

// At the commas that stand in no list and in no quotes.
std::vector<std::string> split(std::string_view text) {
    std::vector<std::string> parts(1);
    int depth = 0;
    char quote = 0;
    for (char const c : text) {
        if (quote == 0 && (c == '"' || c == '\'')) {
            quote = c;
        } else if (c == quote) {
            quote = 0;
        } else if (quote == 0) {
            depth += c == '[' || c == '{' ? 1 : c == ']' || c == '}' ? -1 : 0;
        }
        if (c == ',' && depth == 0 && quote == 0) {
            parts.emplace_back();
        } else {
            parts.back() += c;
        }
    }
    return parts;
}

// False where the text is no range.
bool addRange(std::string const& text, std::vector<std::string>& values) {
    std::size_t const dots = text.find("..");
    if (dots == std::string::npos) return false;
    std::size_t const colon = text.find(':', dots);
    bool const hasStep = colon != std::string::npos;
    auto const first = numberOf(text.substr(0, dots));
    auto const last = numberOf(text.substr(dots + 2, hasStep ? colon - dots - 2 : std::string::npos));
    auto const step = hasStep ? numberOf(text.substr(colon + 1)) : 1.0;
    if (!first || !last) return false;
    if (!step || *step <= 0) throw std::invalid_argument(text + ": the step must be a number above 0");
    if (*last < *first) throw std::invalid_argument(text + ": ends before it begins");
    double const steps = std::floor((*last - *first) / *step + 1e-9);
    if (steps >= static_cast<double>(kMostValues)) throw std::invalid_argument(text + ": is too many values");
    for (int i = 0; i <= static_cast<int>(steps); ++i)
        values.push_back(fmt::format("{:.10g}", *first + i * *step));
    return true;
}

}  // namespace

SweepAxis sweepAxisOf(std::string_view setting) {
    std::size_t const equals = setting.find('=');
    if (equals == std::string_view::npos || equals == 0)
        throw std::invalid_argument(std::string(setting) + ": must be PATH=VALUES");
    SweepAxis axis{std::string(setting.substr(0, equals)), {}};
    for (std::string const& part : split(setting.substr(equals + 1))) {
        if (!addRange(part, axis.values)) axis.values.push_back(part);
    }
    return axis;
}

std::vector<std::vector<std::string>> combinationsOf(std::vector<SweepAxis> const& axes) {
    std::vector<std::vector<std::string>> all(1);
    for (SweepAxis const& axis : axes) {
        std::vector<std::vector<std::string>> longer;
        for (auto const& values : all) {
            for (std::string const& value : axis.values) {
                longer.push_back(values);
                longer.back().push_back(value);
            }
        }
        all = std::move(longer);
        if (all.size() > kMostValues) throw std::invalid_argument("the values are too many together");
    }
    return all;
}

std::vector<SweptRequest> sweptRequestsOf(Sweep const& sweep) {
    std::vector<SweptRequest> swept;
    std::map<Subject, std::size_t> places;
    for (SweepPoint const& point : sweep.points) {
        for (Series::Measured const* const measured : measuredOf(point.series, Subject::Of::Request)) {
            if (measured->samples.empty()) continue;
            auto const times = sortedTimes(*measured);
            double const median = medianOf(times);
            auto const [place, isNew] = places.emplace(measured->subject, swept.size());
            if (isNew) swept.push_back({measured->subject, median, median, times.back()});
            SweptRequest& request = swept[place->second];
            request.least = std::min(request.least, median);
            request.most = std::max(request.most, median);
            request.longest = std::max(request.longest, times.back());
        }
    }
    std::stable_sort(swept.begin(), swept.end(), [](SweptRequest const& left, SweptRequest const& right) {
        return left.change() > right.change();
    });
    return swept;
}

}  // namespace zeqcam::tool
