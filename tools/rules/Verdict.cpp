#include "rules/Verdict.h"

#include "analysis/Attribution.h"

#include <algorithm>

namespace zeqcam::tool {
namespace {

void locate(Record const& record, std::vector<OptionalNumber<std::uint32_t>> const& requests,
            BrokenRule& broken) {
    broken.time = record.end;
    for (std::uint32_t const index : broken.breach.events) {
        Event const& event = record.events[index];
        broken.time = event.time;
        if (event.sensor &&
            std::find(broken.sensors.begin(), broken.sensors.end(), *event.sensor) == broken.sensors.end())
            broken.sensors.push_back(*event.sensor);
        if (!requests[index]) continue;
        Request const& request = record.requests[*requests[index]];
        broken.client = request.client;
        broken.line = request.line;
    }
}

}  // namespace

bool allHeld(Record const& record) {
    return std::all_of(record.expectations.begin(), record.expectations.end(),
                       [](Expectation const& each) { return each.state == Expectation::State::Held; });
}

std::vector<BrokenRule> brokenRulesOf(Record const& record, Strictness const& strictness) {
    std::vector<BrokenRule> all;
    auto const requests = attributionOf(record);
    for (Judgement& judgement : judge(record)) {
        auto const& allowed = strictness.allowed;
        if (!judgement.breaches ||
            std::find(allowed.begin(), allowed.end(), judgement.rule->name) != allowed.end())
            continue;
        for (Breach& breach : *judgement.breaches) {
            BrokenRule& broken = all.emplace_back();
            broken.rule = judgement.rule;
            broken.isWarning = judgement.rule->of == Rule::Of::Clients && !strictness.clientsToo;
            broken.breach = std::move(breach);
            locate(record, requests, broken);
        }
    }
    return all;
}

std::string_view nameOf(Verdict verdict) {
    switch (verdict) {
        case Verdict::Passed:
            return "passed";
        case Verdict::Failed:
            return "failed";
        case Verdict::CutOff:
            return "cut off";
    }
    return "?";
}

Verdict verdictOn(Record const& record, Strictness const& strictness) {
    if (record.cutOff) return Verdict::CutOff;
    return verdictOn(record, brokenRulesOf(record, strictness));
}

Verdict verdictOn(Record const& record, std::vector<BrokenRule> const& broken) {
    if (record.cutOff) return Verdict::CutOff;
    bool const rulesHold =
        std::all_of(broken.begin(), broken.end(), [](BrokenRule const& each) { return each.isWarning; });
    return rulesHold && allHeld(record) ? Verdict::Passed : Verdict::Failed;
}

}  // namespace zeqcam::tool
