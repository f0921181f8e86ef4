#pragma once

#include "record/OptionalNumber.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// The JUnit form that CI servers read, whatever it tells of.
namespace zeqcam::tool::junit {

enum class Came : std::uint8_t { Passed, Failed, Erred, Skipped };

struct Case {
    std::string group;  // of its class name, behind the report's
    std::string name;
    std::chrono::nanoseconds took{0};
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

struct Report {
    std::string title;
    std::string file;  // that the cases are of; empty: none
    std::chrono::nanoseconds took{0};
    std::optional<std::chrono::nanoseconds> began{};  // since 1970
    std::vector<std::pair<std::string, std::string>> properties{};
    std::vector<Suite> suites{};
};

void write(Report const& report, std::ostream& out);

}  // namespace zeqcam::tool::junit
