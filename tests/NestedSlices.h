#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace zeqcam::tests {

// Fails where a slice ends that is not the innermost of its thread, by its name and values.
inline void expectNestedSlices(nlohmann::json const& trace) {
    std::map<int, std::vector<std::string>> open;
    for (auto const& event : trace.at("traceEvents")) {
        auto& slices = open[event.at("tid")];
        std::string const name =
            event.at("name").get<std::string>() + event.value("args", nlohmann::json()).dump();
        if (event.at("ph") == "B") slices.push_back(name);
        if (event.at("ph") != "E") continue;
        ASSERT_FALSE(slices.empty()) << event;
        EXPECT_EQ(slices.back(), name);
        slices.pop_back();
    }
    for (auto const& [thread, slices] : open) EXPECT_THAT(slices, testing::ElementsAre()) << thread;
}

}  // namespace zeqcam::tests
