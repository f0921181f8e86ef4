#include "rules/Handles.h"
#include "rules/Rule.h"
#include "rules/Sections.h"
#include "rules/Workers.h"

#include <array>

namespace zeqcam::tool {
namespace {

using board::Kind;

constexpr std::array kRules{
    Rule{"sections-nest",
         "Each thread ends its trace sections in turn, the innermost first, and all of them.",
         Rule::Of::Sequence,
         {Kind::TraceBegin, Kind::TraceEnd},
         sectionsThatDoNotNest},
    Rule{"hints-first",
         "A worker has its performance hints before it touches its sensor.",
         Rule::Of::Sequence,
         {Kind::Affinity, Kind::CriticalTask, Kind::SensorPowerOn},
         sensorsBeforeHints},
    Rule{"one-sensor-each",
         "A worker powers on one sensor.",
         Rule::Of::Sequence,
         {Kind::Affinity, Kind::CriticalTask, Kind::SensorPowerOn},
         workersOfSeveralSensors},
    Rule{"up-before-after",
         "A sensor's call after its power-on follows a power-on that succeeded.",
         Rule::Of::Sequence,
         {Kind::SensorPowerOnDone, Kind::SensorAfterPowerOn},
         callsAfterNoPowerOn},
    Rule{"off-before-release",
         "A power-off has powered all of its sensors off before it releases a handle of theirs.",
         Rule::Of::Sequence,
         {Kind::SensorCreate, Kind::SensorPowerOff, Kind::SensorRelease},
         sensorsOffAfterARelease},
    Rule{"told-before-release",
         "A sensor's services are told of its power-off before its handle is released.",
         Rule::Of::Sequence,
         {Kind::SensorCreate, Kind::SensorRelease, Kind::Hal3APowerOff, Kind::PeripheralPowerOff},
         servicesToldAfterARelease},
};

}  // namespace

std::span<Rule const> rules() {
    return kRules;
}

std::vector<Judgement> judge(Record const& record) {
    std::vector<Judgement> judgements;
    for (Rule const& rule : kRules) {
        Judgement& judgement = judgements.emplace_back();
        judgement.rule = &rule;
        if (record.shows.contains(rule.needs)) judgement.breaches = rule.breaches(record);
    }
    return judgements;
}

}  // namespace zeqcam::tool
