#include "views/Report.h"

#include "text/Printable.h"

#include <algorithm>
#include <cstddef>
#include <iomanip>
#include <sstream>

namespace zeqcam::tool {
namespace {

// The columns that a text takes, were each of its characters one wide.
std::size_t widthOf(std::string_view text) {
    return static_cast<std::size_t>(std::count_if(
        text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xc0) != 0x80; }));
}

struct Ink {
    bool colours = false;

    [[nodiscard]] std::string bold(std::string const& text) const { return with("\033[1m", text); }
    [[nodiscard]] std::string red(std::string const& text) const { return with("\033[31m", text); }

  private:
    [[nodiscard]] std::string with(char const* code, std::string const& text) const {
        return colours ? code + text + "\033[0m" : text;
    }
};

enum class Align { Left, Right };

// Rows of cells under headings, each column as wide as its widest cell.
class Table {
  public:
    struct Column {
        std::string heading;
        Align align = Align::Left;
        std::size_t width = widthOf(heading);
    };

    explicit Table(std::vector<Column> columns) : mColumns(std::move(columns)) {}

    void add(std::vector<std::string> cells, bool marked = false) {
        for (std::size_t i = 0; i < cells.size(); ++i) {
            mColumns[i].width = std::max(mColumns[i].width, widthOf(cells[i]));
        }
        mRows.push_back({std::move(cells), marked});
    }

    [[nodiscard]] std::string text(Ink ink) const {
        std::vector<std::string> headings;
        for (Column const& column : mColumns) headings.push_back(column.heading);
        std::string text = ink.bold(line(headings, ' ')) + '\n';
        for (Row const& row : mRows) {
            text += (row.marked ? ink.red(line(row.cells, '!')) : line(row.cells, ' ')) + '\n';
        }
        return text;
    }

  private:
    struct Row {
        std::vector<std::string> cells;
        bool marked;
    };

    [[nodiscard]] std::string line(std::vector<std::string> const& cells, char mark) const {
        std::string line(1, mark);
        for (std::size_t i = 0; i < cells.size(); ++i) {
            std::string const padding(mColumns[i].width - widthOf(cells[i]), ' ');
            line += i == 0 ? " " : "  ";
            line += mColumns[i].align == Align::Left ? cells[i] + padding : padding + cells[i];
        }
        line.erase(line.find_last_not_of(' ') + 1);
        return line;
    }

    std::vector<Column> mColumns;
    std::vector<Row> mRows;
};

std::string milliseconds(std::chrono::microseconds time) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(1) << std::chrono::duration<double, std::milli>(time).count();
    return text.str();
}

std::string namesOf(Scenario const& scenario, std::vector<int> const& sensors) {
    std::string names;
    for (int const sensor : sensors) {
        if (!names.empty()) names += ' ';
        names += printable(scenario.settings.sensors.at(sensor).name);
    }
    return names.empty() ? "-" : names;
}

Table requestsOf(Scenario const& scenario, Outcome const& outcome) {
    Table table({{"CLIENT"},
                 {"REQUEST"},
                 {"SENSORS"},
                 {"RESULT"},
                 {"WALL", Align::Right},
                 {"SLOWEST", Align::Right},
                 {"IN TURN", Align::Right}});
    for (Request const& request : outcome.requests) {
        bool const called = request.own.calls > 0;
        table.add(
            {printable(request.client), request.name, namesOf(scenario, request.sensors), request.result,
             milliseconds(request.wall), called ? milliseconds(request.own.slowest) : "-",
             called ? milliseconds(request.own.oneAfterAnother) : "-"},
            !request.unmet.empty() || !request.ended);
    }
    return table;
}

// What each controller that may drive the sensor counts it as.
std::string countedBy(Scenario const& scenario, Outcome const& outcome, int sensor) {
    std::string text;
    for (Controller const& controller : scenario.controllers) {
        auto const& drives = controller.sensors;
        auto const end = outcome.controllers.find(controller.name);
        if (std::find(drives.begin(), drives.end(), sensor) == drives.end() ||
            end == outcome.controllers.end())
            continue;
        if (!text.empty()) text += ", ";
        text += printable(controller.name) + (!end->second              ? " destroyed"
                                              : end->second->at(sensor) ? " on"
                                                                        : " off");
    }
    return text.empty() ? "-" : text;
}

Table statesOf(Scenario const& scenario, Outcome const& outcome) {
    Table table({{"ID", Align::Right}, {"SENSOR"}, {"POWER"}, {"CONTROLLERS"}});
    for (auto const& [id, sensor] : scenario.settings.sensors) {
        table.add({std::to_string(id), printable(sensor.name), outcome.powered.contains(id) ? "on" : "off",
                   countedBy(scenario, outcome, id)});
    }
    return table;
}

// Also those of steps that a run that was cut off has not come to.
std::ptrdiff_t expectationsIn(Scenario const& scenario) {
    std::ptrdiff_t count = 0;
    for (Client const& client : scenario.clients) {
        count += std::count_if(client.steps.begin(), client.steps.end(), [](Step const& step) {
            auto const* const powerOn = std::get_if<PowerOn>(&step.action);
            auto const* const status = std::get_if<Status>(&step.action);
            return (powerOn && powerOn->expect) || (status && !status->expect.empty());
        });
    }
    return count;
}

std::string expectationsOf(Scenario const& scenario, Outcome const& outcome, std::string_view file, Ink ink) {
    std::string text;
    int held = 0;
    for (Request const& request : outcome.requests) {
        if (!request.expects) continue;
        if (request.unmet.empty()) {
            ++held;
        } else {
            text +=
                ink.red(printable(file) + ':' + std::to_string(request.line) + ": " +
                        printable(request.client) + ": " + request.name + ": " + printable(request.unmet)) +
                '\n';
        }
    }
    return text + std::to_string(held) + " of " + std::to_string(expectationsIn(scenario)) +
           " expectations held\n";
}

}  // namespace

bool allHeld(Outcome const& outcome) {
    return std::all_of(outcome.requests.begin(), outcome.requests.end(),
                       [](Request const& request) { return request.unmet.empty(); });
}

std::string report(Scenario const& scenario, Outcome const& outcome, std::string_view file, bool colours) {
    Ink const ink{colours};
    return '\n' + ink.bold("Requests, times in milliseconds") + '\n' +
           requestsOf(scenario, outcome).text(ink) + '\n' + ink.bold("Sensors at the end") + '\n' +
           statesOf(scenario, outcome).text(ink) + '\n' + expectationsOf(scenario, outcome, file, ink);
}

}  // namespace zeqcam::tool
