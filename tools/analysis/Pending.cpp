#include "analysis/Pending.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace zeqcam::tool {
namespace {

void addOpen(Timeline const& timeline, std::vector<Section> const& sections, std::vector<Pending::In>& in) {
    auto const open =
        std::find_if(sections.begin(), sections.end(), [](Section const& section) { return section.open; });
    if (open == sections.end()) return;
    in.push_back({std::string(timeline.textOf(open->label)), open->begin});
    addOpen(timeline, open->inner, in);
}

bool holdsThread(std::vector<Pending> const& pending, std::string_view thread) {
    return std::any_of(pending.begin(), pending.end(),
                       [&](Pending const& each) { return each.thread == thread; });
}

}  // namespace

std::vector<Pending> pendingIn(Record const& record, Timeline const& timeline) {
    std::vector<Pending> pending;
    for (Row const& row : timeline.rows) {
        Pending thread{row.name, {}};
        addOpen(timeline, row.sections, thread.in);
        if (!thread.in.empty()) pending.push_back(std::move(thread));
    }
    for (Request const& request : record.requests) {
        std::string_view const client = record.nameOfClient(request.client);
        if (request.ended || holdsThread(pending, client)) continue;
        pending.push_back({std::string(client), {{std::string(record.textOf(request.name)), request.began}}});
    }
    return pending;
}

}  // namespace zeqcam::tool
