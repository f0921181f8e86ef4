#include "analysis/LogLevel.h"

#include <array>
#include <cstddef>
#include <iterator>

namespace zeqcam::tool {
namespace {

using board::Kind;

template <std::size_t size>
Level levelAt(std::array<Level, size> const& levels, std::int64_t number) {
    return number >= 0 && number < std::ssize(levels) ? levels[static_cast<std::size_t>(number)]
                                                      : Level::Info;
}

}  // namespace

// Each log numbers its levels in its own way.
std::optional<Level> levelOf(Event const& event) {
    using enum Level;
    constexpr std::array kDebugPrint{Debug, Error, Warning, Info};
    constexpr std::array kUnified{Info, Error, Warning, Info, Info, Debug};
    constexpr std::array kAndroid{Info, Info, Debug, Debug, Info, Warning, Error, Error};
    std::int64_t const number = event.number.value_or(-1);
    switch (event.kind) {
        case Kind::DebugPrint:
            return levelAt(kDebugPrint, number);
        case Kind::UnifiedLog:
            return levelAt(kUnified, number);
        case Kind::AndroidLog:
            return levelAt(kAndroid, number);
        case Kind::ExceptionReport:
            return Error;
        case Kind::ProfileMark:
            return Profile;
        default:
            return {};
    }
}

std::string_view markText(Record const& record, Event const& event) {
    std::string_view text = record.textOf(event.kind == Kind::ProfileMark ? event.text : event.shown);
    while (text.ends_with('\n')) text.remove_suffix(1);
    while (text.starts_with('\n')) text.remove_prefix(1);
    return text;
}

std::string_view nameOf(Level level) {
    switch (level) {
        case Level::Error:
            return "error";
        case Level::Warning:
            return "warning";
        case Level::Info:
            return "info";
        case Level::Debug:
            return "debug";
        case Level::Profile:
            return "profile";
    }
    return "?";
}

}  // namespace zeqcam::tool
