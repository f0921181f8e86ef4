#include "views/JUnit.h"

#include "analysis/Pending.h"
#include "analysis/Standings.h"
#include "rules/Verdict.h"
#include "text/Markup.h"
#include "text/TimeText.h"
#include "views/FailureText.h"
#include "views/StandingText.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// Debian's XML writers come as libraries built with one standard library for one architecture, not as headers
// or sources: they serve neither of the others that this is built with. The form is five elements deep.
namespace zeqcam::tool {
namespace {

using std::chrono::nanoseconds;

enum class Came : std::uint8_t { Passed, Failed, Erred, Skipped };

struct Case {
    std::string group;  // of its class name, behind the record's
    std::string name;
    nanoseconds took{0};
    OptionalNumber<std::int32_t> line{};  // of the scenario
    Came came = Came::Passed;
    std::string type{};                // of a failure or an error
    std::string message{};             // why it did not pass
    std::vector<std::string> told{};   // the whole of it, where that is more
    std::vector<std::string> notes{};  // beside, whatever came of it
};

struct Suite {
    std::string_view name;
    std::vector<Case> cases;
};

std::string secondsText(nanoseconds time) {
    return fmt::format("{:.6f}", std::chrono::duration<double>(time).count());
}

std::string clientOf(Record const& record, std::uint32_t client) {
    return std::string(record.textOf(record.clients[client].name));
}

// Empty where the record is of no file.
std::string fileOf(Record const& record) {
    return record.files.empty() ? std::string() : record.files.front();
}

// "phone.toml:12: ", with as much of it as is known.
std::string placeText(Record const& record, OptionalNumber<std::int32_t> line) {
    std::string const file = fileOf(record);
    if (!line) return file.empty() ? "" : file + ": ";
    return fmt::format("{}:{}: ", file.empty() ? "line" : file, *line);
}

// Who waits for whom, and what each thread was in.
std::vector<std::string> pendingLines(Record const& record) {
    std::vector<std::string> lines = standingLines(record, standingsOf(record));
    for (auto const& [thread, in] : pendingIn(record, timelineOf(record))) {
        std::string line = thread + ':';
        for (auto const& [label, since] : in)
            line += fmt::format(" in \"{}\" for {}", label, timeText(record.end - since));
        lines.push_back(std::move(line));
    }
    return lines;
}

Suite runOf(Record const& record) {
    Case ends{.group = "run", .name = "ends", .took = record.end - record.begin};
    ends.notes = failureLines(record);
    if (record.cutOff) {
        ends.came = Came::Erred;
        ends.type = "cut off";
        ends.message = "the run " + *record.cutOff;
        ends.told = pendingLines(record);
    }
    return {"run", {std::move(ends)}};
}

Suite expectationsOf(Record const& record) {
    Suite suite{"expectations", {}};
    std::map<std::pair<std::uint32_t, std::string>, int> times;  // of a client's step, which may be repeated
    for (Expectation const& each : record.expectations) {
        Case tested{.group = clientOf(record, each.client),
                    .name = fmt::format("line {}: {}", each.line, nameOf(each.step)),
                    .line = each.line};
        int const time = ++times[{each.client, tested.name}];
        if (time > 1) tested.name += fmt::format(" ({})", time);
        if (each.request) {
            Request const& request = record.requests[*each.request];
            tested.took = request.ended.value_or(record.end) - request.began;
        }
        if (each.state != Expectation::State::Held) {
            tested.came = Came::Failed;
            tested.type = each.state == Expectation::State::Unmet ? "unmet" : "not reached";
            tested.message = record.textOf(each.unmet);
            tested.told = {placeText(record, tested.line) + tested.group + ": " +
                           std::string(nameOf(each.step)) + ": " + tested.message};
        }
        suite.cases.push_back(std::move(tested));
    }
    return suite;
}

std::string breachText(Record const& record, BrokenRule const& broken) {
    return fmt::format("{}{}: {}{}", placeText(record, broken.line), timeText(broken.time - record.begin),
                       broken.client ? clientOf(record, *broken.client) + ": " : "", broken.breach.text);
}

// The warnings of a rule, or its breaches, are told by its case.
void addBreach(Record const& record, BrokenRule const& broken, Case& tested) {
    if (broken.isWarning) {
        tested.notes.push_back("warning: " + breachText(record, broken));
        return;
    }
    tested.came = Came::Failed;
    tested.type = broken.rule->of == Rule::Of::Sequence ? "sequence" : "clients";
    if (tested.told.empty()) {
        tested.message = broken.breach.text;
        tested.line = broken.line;
    }
    tested.told.push_back(breachText(record, broken));
}

Suite rulesOf(Record const& record, Strictness const& strictness) {
    Suite suite{"rules", {}};
    std::map<std::string_view, std::size_t> places;
    for (Rule const& rule : rules()) {
        places[rule.name] = suite.cases.size();
        Case& tested = suite.cases.emplace_back();
        tested.group = "rules";
        tested.name = rule.name;
        auto const& allowed = strictness.allowed;
        bool const isAllowed = std::find(allowed.begin(), allowed.end(), rule.name) != allowed.end();
        if (!isAllowed && record.shows.contains(rule.needs)) continue;
        tested.came = Came::Skipped;
        tested.message = isAllowed ? "may be broken: --allow" : "the record lacks events that it needs";
    }
    for (BrokenRule const& broken : brokenRulesOf(record, strictness))
        addBreach(record, broken, suite.cases[places.at(broken.rule->name)]);
    return suite;
}

// Each in a line of its own.
std::string escapedLines(std::vector<std::string> const& lines) {
    std::string text;
    for (std::string const& line : lines) text += (text.empty() ? "" : "\n") + escaped(line);
    return text;
}

std::string outcomeText(Case const& tested) {
    if (tested.came == Came::Passed) return {};
    std::string const message = escaped(tested.message);
    if (tested.came == Came::Skipped) return fmt::format("<skipped message=\"{}\"/>\n", message);
    std::string_view const element = tested.came == Came::Erred ? "error" : "failure";
    return fmt::format("<{} message=\"{}\" type=\"{}\">{}</{}>\n", element, message, tested.type,
                       escapedLines(tested.told), element);
}

std::string caseText(Record const& record, std::string const& stem, Case const& tested) {
    std::string place;
    if (std::string const file = fileOf(record); !file.empty())
        place += fmt::format(" file=\"{}\"", escaped(file));
    if (tested.line) place += fmt::format(" line=\"{}\"", *tested.line);
    std::string const text =
        fmt::format("<testcase classname=\"{}.{}\" name=\"{}\"{} time=\"{}\"", stem, escaped(tested.group),
                    escaped(tested.name), place, secondsText(tested.took));
    std::string inner = outcomeText(tested);
    if (!tested.notes.empty()) inner += "<system-out>" + escapedLines(tested.notes) + "</system-out>\n";
    return text + (inner.empty() ? "/>\n" : ">\n" + inner + "</testcase>\n");
}

// The attributes that count what became of cases.
std::string counts(std::vector<Suite> const& suites) {
    std::map<Came, int> number;
    int tests = 0;
    for (Suite const& suite : suites) {
        for (Case const& tested : suite.cases) ++number[tested.came], ++tests;
    }
    return fmt::format("tests=\"{}\" failures=\"{}\" errors=\"{}\" skipped=\"{}\"", tests,
                       number[Came::Failed], number[Came::Erred], number[Came::Skipped]);
}

std::string suiteText(Record const& record, std::string const& stem, Suite const& suite) {
    std::string const seconds = secondsText(record.end - record.begin);
    std::string const began =
        record.toWallClock ? fmt::format(" timestamp=\"{}\"",
                                         wallClockText(record.begin.time_since_epoch() + *record.toWallClock))
                           : "";
    std::string text = fmt::format("<testsuite name=\"{}.{}\" {} time=\"{}\"{}>\n", stem, suite.name,
                                   counts({suite}), seconds, began);
    if (record.seed) {
        text += fmt::format("<properties>\n<property name=\"seed\" value=\"{}\"/>\n</properties>\n",
                            *record.seed);
    }
    for (Case const& tested : suite.cases) text += caseText(record, stem, tested);
    return text + "</testsuite>\n";
}

}  // namespace

void writeJUnit(Record const& record, Presentation const& presentation, std::ostream& out) {
    std::vector<Suite> const suites{runOf(record), expectationsOf(record),
                                    rulesOf(record, presentation.strictness)};
    std::string const stem = escaped(std::filesystem::path(presentation.title).stem().string());
    out << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        << fmt::format("<testsuites name=\"{}\" {} time=\"{}\">\n", escaped(presentation.title),
                       counts(suites), secondsText(record.end - record.begin));
    for (Suite const& suite : suites) out << suiteText(record, stem, suite);
    out << "</testsuites>\n";
}

}  // namespace zeqcam::tool
