#include "series/FiguresBytes.h"

#include <nlohmann/json.hpp>

#include <utility>

namespace zeqcam::tool {

using nlohmann::json;

std::string bytesOf(RunFigures const& figures) {
    json all = json::array();
    for (Figure const& each : figures.figures) {
        json const ms = each.ms ? json(*each.ms) : json();
        json const line = each.line ? json(*each.line) : json();
        all.push_back({each.subject.of, each.subject.who, each.subject.what, each.subject.nth, line,
                       each.beganMs, ms, each.failed});
    }
    std::string bytes;
    json::to_cbor({figures.run, figures.verdict, figures.why, std::move(all)}, bytes);
    return bytes;
}

RunFigures figuresFrom(std::string_view bytes) {
    json const all = json::from_cbor(bytes);
    RunFigures figures{.run = all[0], .verdict = all[1], .why = all[2], .figures = {}};
    figures.figures.reserve(all[3].size());
    for (json const& each : all[3]) {
        Figure& figure = figures.figures.emplace_back();
        figure.subject = {each[0], each[1], each[2], each[3]};
        if (!each[4].is_null()) figure.line = each[4].get<std::int32_t>();
        figure.beganMs = each[5];
        if (!each[6].is_null()) figure.ms = each[6].get<double>();
        figure.failed = each[7];
    }
    return figures;
}

}  // namespace zeqcam::tool
