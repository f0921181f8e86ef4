#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace zeqcam::tests {

// A scenario of one client; its steps stand on line 10.
inline std::vector<std::string> const kLines{"[[sensor]]",           "id = 0",
                                             "name = 'main'",        "[[controller]]",
                                             "name = 'photo'",       "sensors = [0]",
                                             "[[client]]",           "name = 'app'",
                                             "controller = 'photo'", "steps = [ { power_on = ['main'] } ]"};

// The lines above with line `number` replaced.
inline std::string scenarioWith(std::size_t number = 0, std::string const& replacement = {}) {
    std::string text;
    for (std::size_t i = 0; i < kLines.size(); ++i)
        text += (i + 1 == number ? replacement : kLines[i]) + '\n';
    return text;
}

inline std::string stepsAre(std::string const& steps) {
    return scenarioWith(10, "steps = [" + steps + "]");
}

// A client's steps on a sensor with one more key, whose lines are one further down.
inline std::string withSensor(std::string const& key, std::string const& steps) {
    std::string text = stepsAre(steps);
    return text.insert(text.find("name ="), key + '\n');
}

}  // namespace zeqcam::tests
