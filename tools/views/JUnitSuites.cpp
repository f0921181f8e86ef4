#include "views/JUnitSuites.h"

#include "text/Markup.h"
#include "text/TimeText.h"

#include <fmt/format.h>

#include <filesystem>
#include <map>

// Debian's XML writers come as libraries built with one standard library for one architecture, not as headers
// or sources: they serve neither of the others that this is built with. The form is five elements deep.
namespace zeqcam::tool::junit {
namespace {

using std::chrono::nanoseconds;

std::string secondsText(nanoseconds time) {
    return fmt::format("{:.6f}", std::chrono::duration<double>(time).count());
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

std::string caseText(Report const& report, std::string const& stem, Case const& tested) {
    std::string place;
    if (!report.file.empty()) place += fmt::format(" file=\"{}\"", escaped(report.file));
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

std::string propertiesText(Report const& report) {
    if (report.properties.empty()) return {};
    std::string text = "<properties>\n";
    for (auto const& [name, value] : report.properties)
        text += fmt::format("<property name=\"{}\" value=\"{}\"/>\n", escaped(name), escaped(value));
    return text + "</properties>\n";
}

std::string suiteText(Report const& report, std::string const& stem, Suite const& suite) {
    std::string const began =
        report.began ? fmt::format(" timestamp=\"{}\"", wallClockText(*report.began)) : "";
    std::string text = fmt::format("<testsuite name=\"{}.{}\" {} time=\"{}\"{}>\n", stem, suite.name,
                                   counts({suite}), secondsText(report.took), began) +
                       propertiesText(report);
    for (Case const& tested : suite.cases) text += caseText(report, stem, tested);
    return text + "</testsuite>\n";
}

}  // namespace

void write(Report const& report, std::ostream& out) {
    std::string const stem = escaped(std::filesystem::path(report.title).stem().string());
    out << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        << fmt::format("<testsuites name=\"{}\" {} time=\"{}\">\n", escaped(report.title),
                       counts(report.suites), secondsText(report.took));
    for (Suite const& suite : report.suites) out << suiteText(report, stem, suite);
    out << "</testsuites>\n";
}

}  // namespace zeqcam::tool::junit
