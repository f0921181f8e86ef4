#include "circle/RandomScenario.h"

#include <cstddef>
#include <random>
#include <vector>

namespace zeqcam::tests {
namespace {

class Dice {
  public:
    explicit Dice(std::uint32_t seed) : mEngine(seed) {}
    int to(int most) { return static_cast<int>(mEngine() % static_cast<std::uint32_t>(most + 1)); }
    bool once(int in) { return to(in - 1) == 0; }

  private:
    std::mt19937 mEngine;
};

std::string listOf(std::vector<int> const& ids) {
    std::string text;
    for (int const id : ids) text += (text.empty() ? "" : ", ") + std::to_string(id);
    return '[' + text + ']';
}

std::vector<int> some(Dice& dice, std::vector<int> const& sensors) {
    std::vector<int> chosen;
    for (int const sensor : sensors) {
        if (dice.once(2)) chosen.push_back(sensor);
    }
    return chosen.empty() ? std::vector<int>{sensors.front()} : chosen;
}

// Each line draws at most once: compilers differ in which operand of a sum they take first.
std::string sensorText(Dice& dice, int id) {
    std::string text = "[[sensor]]\nid = " + std::to_string(id) + '\n';
    text += "power_on_ms = " + std::to_string(1 + dice.to(40)) + '\n';
    text += "power_off_ms = " + std::to_string(1 + dice.to(12)) + '\n';
    if (dice.once(3)) text += "power_on_fails = { times = [" + std::to_string(1 + dice.to(1)) + "] }\n";
    if (dice.once(4)) text += "peripheral = { present = false }\n";
    if (dice.once(3)) text += "hal3a = { on_ms = " + std::to_string(dice.to(5)) + ", off_ms = 2 }\n";
    return text;
}

std::string stepsText(Dice& dice, std::vector<int> const& driven) {
    std::string text = "steps = [\n";
    int const steps = 2 + dice.to(5);
    for (int step = 0; step < steps; ++step) {
        text += "{ sleep_ms = " + std::to_string(1 + dice.to(150)) + " },\n";
        text += dice.once(2) ? "{ power_on = " : "{ power_off = ";
        text += listOf(some(dice, driven)) + " },\n";
    }
    return text + "]\n";
}

}  // namespace

std::string randomScenario(std::uint32_t seed) {
    Dice dice(seed);
    std::string text = "[board]\nlog = 'debug'\n";
    std::vector<std::vector<int>> drives(static_cast<std::size_t>(1 + dice.to(1)));
    int const sensors = 1 + dice.to(3);
    for (int id = 0; id < sensors; ++id) {
        text += sensorText(dice, id);
        drives[static_cast<std::size_t>(id) % drives.size()].push_back(id);
    }
    for (std::size_t i = 0; i < drives.size(); ++i)
        text += "[[controller]]\nname = 'c" + std::to_string(i) + "'\nsensors = " + listOf(drives[i]) + '\n';
    int const clients = 1 + dice.to(2);
    for (int client = 0; client < clients; ++client) {
        auto const of = static_cast<std::size_t>(dice.to(static_cast<int>(drives.size()) - 1));
        text += "[[client]]\nname = 'client " + std::to_string(client) + "'\ncontroller = 'c" +
                std::to_string(of) + "'\n";
        text += stepsText(dice, drives[of].empty() ? std::vector<int>{0} : drives[of]);
    }
    return text;
}

}  // namespace zeqcam::tests
