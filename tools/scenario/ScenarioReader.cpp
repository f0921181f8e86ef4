#include "scenario/ScenarioReader.h"

#include "scenario/BoardReader.h"
#include "scenario/ClientReader.h"
#include "scenario/Fields.h"
#include "scenario/Names.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

namespace zeqcam::tool {
namespace {

// Far beyond any scenario, and a bound on devices that never end.
constexpr std::size_t kLargestFile = 1 << 20;

Reading readTables(toml::table const& file) {
    Reading reading;
    auto& [scenario, faults] = reading;
    Names names;
    Fields const fields("", file, faults);
    auto const sensors = fields.tables("sensor");
    auto const controllers = fields.tables("controller");
    if (sensors.empty() || controllers.empty()) names.lack();
    readBoard(fields.inner("board", fields.table("board")), scenario.settings);
    for (auto const* const table : sensors)
        readSensor(fields.inner("sensor", *table), scenario.settings, names);
    for (auto const* const table : controllers)
        scenario.controllers.push_back(readController(fields.inner("controller", *table), names));
    for (auto const* const table : fields.tables("client"))
        scenario.clients.push_back(readClient(fields.inner("client", *table), names));
    std::stable_sort(faults.begin(), faults.end(),
                     [](Fault const& left, Fault const& right) { return left.line < right.line; });
    return reading;
}

struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

Reading unreadable(std::string reason) {
    return {{}, {{0, "", std::move(reason)}}};
}

}  // namespace

std::string faultText(Fault const& fault, std::string_view file) {
    std::string text(file);
    if (fault.line > 0) text += ':' + std::to_string(fault.line);
    if (!fault.field.empty()) text += ": " + fault.field;
    return text + ": " + fault.message;
}

Reading readScenario(std::string_view text) {
    toml::parse_result const parsed = toml::parse(text);
    if (parsed) return readTables(parsed.table());
    return {{}, {{lineOf(parsed.error().source()), "syntax", std::string(parsed.error().description())}}};
}

Reading readScenarioFile(std::string const& path) {
    std::unique_ptr<std::FILE, Close> const file(std::fopen(path.c_str(), "rbe"));
    if (!file) return unreadable(std::string("cannot be read: ") + std::strerror(errno));
    std::string text(kLargestFile + 1, '\0');
    text.resize(std::fread(text.data(), 1, text.size(), file.get()));
    if (std::ferror(file.get())) return unreadable(std::string("cannot be read: ") + std::strerror(errno));
    if (text.size() > kLargestFile) return unreadable("cannot be read: larger than 1 MiB");
    return readScenario(text);
}

}  // namespace zeqcam::tool
