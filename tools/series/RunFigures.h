#pragma once

#include "record/Record.h"
#include "rules/Strictness.h"
#include "rules/Verdict.h"

#include <cstdint>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace zeqcam::tool {

struct Selection;

// What a figure is of. Runs are matched by it: no time and no id of a thread stands in it.
struct Subject {
    enum class Of : std::uint8_t {
        Request,      // who: the client, empty where its name is unknown; what: "power on main tele"
        Sensor,       // who: the sensor; what: "power on"
        Service,      // who: "hal3a of tele"; what: "power on"
        Expectation,  // who: the client; what: the step that something is expected of, "power on"
        Link,  // who: the request, as textOf tells it; what: what it waited for, "sensor power-on main"
        Rule,  // who: empty; what: its name. Of a run that breaks it
    };

    Of of = Of::Request;
    std::string who;
    std::string what;
    int nth = 1;  // of its kind in the run, from 1

    // Not by <=>: not every standard library compares texts so.
    bool operator==(Subject const&) const = default;
    bool operator<(Subject const& other) const {
        return std::tie(of, who, what, nth) < std::tie(other.of, other.who, other.what, other.nth);
    }
};

// "camera app: power on tele (2)": the second of the run.
std::string textOf(Subject const& subject);

// By what each request of a record is matched with those of others; of a sleep: by nothing.
std::vector<Subject> requestSubjectsOf(Record const& record);

// What a run tells of one subject.
struct Figure {
    Subject subject;
    OptionalNumber<std::int32_t> line;  // of its step in the scenario
    double beganMs = 0;                 // since the begin of the run
    std::optional<double> ms;           // that it took; none: it has not ended, or that is unknown
    // A request: its expectation is unmet, or it has none and ended badly or not at all. A call: it was
    // refused, or has not ended. A rule: it was broken, and not as a warning.
    bool failed = false;
};

// What of a run is kept among many: its figures, and how it ended.
struct RunFigures {
    std::uint64_t run = 0;  // its seed, or which power cycle it was
    Verdict verdict = Verdict::Passed;
    std::string why;              // unless it passed, what it failed by, first of all
    std::vector<Figure> figures;  // requests first, by their begin; then the others likewise
};

// `run`: what the figures are told by.
RunFigures figuresOf(Record const& record, Strictness const& strictness, std::uint64_t run);

// The same of what is chosen: each keeps its number among its kind. The verdict and broken rules are the
// run's, whatever is chosen.
RunFigures figuresOf(Record const& record, Strictness const& strictness, std::uint64_t run,
                     Selection const& selection);

// Leaves those in that end after the selection's begin and begin before its end, since the run's begin; what
// has not ended goes on. A request's links go with it.
void keepBetween(Selection const& selection, RunFigures& run);

}  // namespace zeqcam::tool
