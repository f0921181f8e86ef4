#include "Schedule.h"

#include <charconv>

namespace zeqcam::simulation {
namespace {

constexpr std::string_view kPlain = "plain";
constexpr std::string_view kSeed = "seed ";

// Takes a number off the front.
template <class Number>
bool take(std::string_view& text, Number& number) {
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc()) return false;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return true;
}

bool take(std::string_view& text, char wanted) {
    if (text.empty() || text.front() != wanted) return false;
    text.remove_prefix(1);
    return true;
}

}  // namespace

std::string textOf(Schedule const& schedule) {
    if (Seed const* const seed = std::get_if<Seed>(&schedule))
        return std::string(kSeed) + std::to_string(*seed);
    std::string text;
    for (GivenTurn const& turn : std::get<GivenTurns>(schedule)) {
        if (!text.empty()) text += ' ';
        text +=
            std::to_string(turn.thread) + '.' + std::to_string(turn.step) + '>' + std::to_string(turn.next);
    }
    return text.empty() ? std::string(kPlain) : text;
}

std::optional<Schedule> scheduleOf(std::string_view text) {
    if (text == kPlain) return GivenTurns();
    if (text.starts_with(kSeed)) {
        text.remove_prefix(kSeed.size());
        Seed seed = 0;
        if (!take(text, seed) || !text.empty()) return {};
        return seed;
    }
    GivenTurns turns;
    do {
        GivenTurn turn;
        bool const fits = take(text, turn.thread) && take(text, '.') && take(text, turn.step) &&
                          take(text, '>') && take(text, turn.next);
        if (!fits || turn.thread < 0 || turn.next < 0) return {};
        turns.push_back(turn);
    } while (take(text, ' '));
    if (!text.empty()) return {};
    return turns;
}

}  // namespace zeqcam::simulation
