#include "rules/Boundary.h"
#include "rules/Clients.h"
#include "rules/EndState.h"
#include "rules/Handles.h"
#include "rules/Requests.h"
#include "rules/Rule.h"
#include "rules/Sections.h"
#include "rules/Services.h"
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
    Rule{"tags-asked",
         "A trace section begins and ends after a look at the tags.",
         Rule::Of::Sequence,
         {Kind::TraceTags, Kind::TraceBegin, Kind::TraceEnd},
         sectionsWithoutALook},
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
    Rule{"up-before-told",
         "A sensor's services are told of its power-on after that has ended.",
         Rule::Of::Sequence,
         {Kind::SensorCreate, Kind::SensorPowerOnDone, Kind::Hal3APowerOn, Kind::PeripheralPowerOn},
         servicesToldBeforeUp},
    Rule{"told-before-off",
         "A sensor's services are told of its power-off before it goes off.",
         Rule::Of::Sequence,
         {Kind::SensorPowerOff, Kind::SensorRelease, Kind::Hal3APowerOff, Kind::PeripheralPowerOff},
         servicesToldAfterOff},
    Rule{"work-inside",
         "Workers and tasks have ended before their request does.",
         Rule::Of::Sequence,
         {Kind::TraceBegin, Kind::TraceEnd},
         workThatOutlivesItsRequest},
    Rule{"admitted-called",
         "A sensor that is admitted to a power-on is called.",
         Rule::Of::Sequence,
         {Kind::SensorCreate, Kind::SensorPowerOn, Kind::ProfileBegin, Kind::ProfileMark},
         sensorsWithoutACall},
    Rule{"record-gone",
         "The record of a sensor, and with it the handle, does not outlive the sensor's power-off.",
         Rule::Of::Sequence,
         {Kind::SensorPowerOff, Kind::SensorRelease, Kind::TraceBegin, Kind::TraceEnd},
         handlesThatOutliveAPowerOff},
    Rule{"wait-for-free",
         "A wait ends when the power-on lock has been free.",
         Rule::Of::Sequence,
         {Kind::Request, Kind::Reply, Kind::TraceBegin, Kind::SensorPowerOff, Kind::SensorRelease},
         waitsThatEndUnderTheLock},
    Rule{"boundary-kept",
         "No call across the boundary is its caller's fault.",
         Rule::Of::Sequence,
         {Kind::CallerFault},
         faultsOfTheCaller},
    Rule{"sensor-to-itself",
         "Controllers that share a sensor leave it alone while another one uses it.",
         Rule::Of::Clients,
         {Kind::CallerFault},
         faultsBetweenControllers},
    Rule{"counted-on",
         "No client powers a sensor off that another client still counts on.",
         Rule::Of::Clients,
         {Kind::Request, Kind::Reply, Kind::SensorPowerOff},
         sensorsOffUnderAClient},
    Rule{"off-what-was-on",
         "A client powers off only what its controller has powered on.",
         Rule::Of::Clients,
         {Kind::Request, Kind::Reply},
         powerOffsOfWhatIsNotOn},
    Rule{"wait-can-end",
         "A client waits for the power-on lock only where somebody else is left to free it.",
         Rule::Of::Clients,
         {Kind::Request},
         waitsThatNobodyCanEnd},
    Rule{"status-true",
         "What a controller counts as on at the end has power.",
         Rule::Of::Clients,
         {Kind::SensorPowerOnDone, Kind::SensorPowerOffDone},
         statesThatAreNotTrue},
    Rule{"all-off",
         "No sensor has power at the end.",
         Rule::Of::Clients,
         {Kind::SensorPowerOnDone, Kind::SensorPowerOffDone},
         powerLeftOn},
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
