#include "commands/Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <charconv>
#include <cstdlib>
#include <string_view>

namespace zeqcam::tool {
namespace {

bool wantsColours(int descriptor) {
    auto const variable = [](char const* name) {
        char const* const value = std::getenv(name);
        return std::string_view(value ? value : "");
    };
    std::string_view const terminal = variable("TERM");
    return isatty(descriptor) == 1 && variable("NO_COLOR").empty() && !terminal.empty() && terminal != "dumb";
}

int columnsOn(int descriptor) {
    constexpr int kColumns = 80;  // of text that goes elsewhere
    constexpr int kMost = 10'000;
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing changes the environment
    char const* const variable = std::getenv("COLUMNS");
    std::string_view const text = variable != nullptr ? variable : "";
    int columns = 0;
    auto const [rest, error] = std::from_chars(text.data(), text.data() + text.size(), columns);
    bool const isNumber = error == std::errc() && rest == text.data() + text.size();
    if (isNumber && columns > 0 && columns <= kMost) return columns;
    winsize size{};
    bool const known = ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return known ? size.ws_col : kColumns;
}

}  // namespace

Glyphs glyphsOfLocale() {
    for (char const* const variable : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing changes the environment
        char const* const value = std::getenv(variable);
        if (value == nullptr || *value == '\0') continue;
        std::string_view const locale = value;
        for (std::string_view const codeset : {"UTF-8", "utf-8", "UTF8", "utf8"}) {
            if (locale.find(codeset) != std::string_view::npos) return Glyphs::Utf8;
        }
        return Glyphs::Ascii;
    }
    return Glyphs::Ascii;
}

Presentation presentationOn(int descriptor, std::optional<int> width) {
    return {.columns = width.value_or(columnsOn(descriptor)),
            .colours = wantsColours(descriptor),
            .glyphs = glyphsOfLocale()};
}

}  // namespace zeqcam::tool
