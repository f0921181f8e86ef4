#include "analysis/Pending.h"

#include "text/Printable.h"

#include <algorithm>

namespace zeqcam::tool {
namespace {

void addOpen(std::vector<Section> const& sections, std::vector<Pending::In>& in) {
    auto const open =
        std::find_if(sections.begin(), sections.end(), [](Section const& section) { return section.open; });
    if (open == sections.end()) return;
    in.push_back({open->label, open->begin});
    addOpen(open->inner, in);
}

bool holdsThread(std::vector<Pending> const& pending, std::string const& thread) {
    return std::any_of(pending.begin(), pending.end(),
                       [&](Pending const& each) { return each.thread == thread; });
}

}  // namespace

std::vector<Pending> pendingIn(Timeline const& timeline, Outcome const& outcome) {
    std::vector<Pending> pending;
    for (Row const& row : timeline.rows) {
        Pending thread{row.name, {}};
        addOpen(row.sections, thread.in);
        if (!thread.in.empty()) pending.push_back(std::move(thread));
    }
    for (Request const& request : outcome.requests) {
        if (!request.ended && !holdsThread(pending, request.client))
            pending.push_back({request.client, {{request.name, request.began}}});
    }
    return pending;
}

std::string pendingText(std::vector<Pending> const& pending, Outcome const& outcome) {
    std::string text;
    for (Pending const& thread : pending) {
        text += "  " + printable(thread.thread) + ": in ";
        for (auto const& [label, since] : thread.in) {
            if (!text.ends_with(": in ")) text += ", in ";
            text += '"' + printable(label) + "\" for " + timeText(outcome.end - since);
        }
        text += '\n';
    }
    return text;
}

}  // namespace zeqcam::tool
