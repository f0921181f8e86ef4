#include "evidence/FtraceLine.h"

#include "evidence/Scanner.h"

#include <algorithm>
#include <cstddef>

namespace zeqcam::tool {
namespace {

// "[001] d..3.  8642.315042: sched_waking: …"; between the processor and the time stand flags, or nothing.
bool takeFromProcessor(Scanner line, FtraceLine& found) {
    if (!line.take('[') || !line.number<std::int32_t>() || !line.take(']')) return false;
    line.skipSpaces();
    Scanner afterFlags = line;
    afterFlags.word();
    afterFlags.skipSpaces();
    for (Scanner rest : {line, afterFlags}) {
        auto const time = rest.seconds();
        if (!time || !rest.take(':') || !rest.take(' ')) continue;
        rest.skipSpaces();
        auto const colon = rest.rest().find(':');
        if (colon == std::string_view::npos) continue;
        found.time = *time;
        found.event = rest.rest().substr(0, colon);
        rest = Scanner(rest.rest().substr(colon + 1));
        rest.skipSpaces();
        found.values = rest.rest();
        return true;
    }
    return false;
}

// "  zeqcam-1234  ( 1230) ", from its end: a name may hold anything.
bool takeThread(std::string_view head, FtraceLine& found) {
    auto const trim = [&head] {
        while (!head.empty() && head.back() == ' ') head.remove_suffix(1);
    };
    trim();
    if (!head.empty() && head.back() == ')') {
        auto const open = head.rfind('(');
        if (open == std::string_view::npos) return false;
        Scanner process(head.substr(open + 1));
        process.skipSpaces();
        found.process = process.number<std::int32_t>();
        if (!found.process && !process.isNext('-')) return false;
        head = head.substr(0, open);
        trim();
    }
    auto const dash = head.rfind('-');
    if (dash == std::string_view::npos) return false;
    Scanner number(head.substr(dash + 1));
    auto const thread = number.number<std::int32_t>();
    if (!thread || !number.rest().empty()) return false;
    found.thread = *thread;
    found.name = head.substr(0, dash);
    found.name.remove_prefix(std::min(found.name.find_first_not_of(' '), found.name.size()));
    // What the tracer had forgotten, as it is and as a page of HTML has it.
    if (found.name == "<...>" || found.name == "&lt;...&gt;") found.name = {};
    return true;
}

}  // namespace

std::optional<FtraceLine> ftraceLineOf(std::string_view line) {
    // A thread's name may hold a bracket too, so the first is not always it; but it is near.
    constexpr std::size_t kLongestHead = 64;
    for (auto bracket = line.find('['); bracket < kLongestHead; bracket = line.find('[', bracket + 1)) {
        FtraceLine found;
        if (takeFromProcessor(Scanner(line.substr(bracket)), found) &&
            takeThread(line.substr(0, bracket), found))
            return found;
    }
    return {};
}

std::optional<std::string_view> valueOf(std::string_view values, std::string_view key) {
    for (std::size_t at = values.find(key); at != std::string_view::npos; at = values.find(key, at + 1)) {
        bool const begins = at == 0 || values[at - 1] == ' ';
        auto const rest = values.substr(at + key.size());
        if (begins && !rest.empty() && rest.front() == '=') return Scanner(rest.substr(1)).word();
    }
    return {};
}

std::optional<std::int32_t> idOf(std::string_view values, std::string_view key) {
    auto const value = valueOf(values, key);
    return value ? Scanner(*value).number<std::int32_t>() : std::nullopt;
}

std::string_view nameBefore(std::string_view values, std::string_view key, std::string_view next) {
    auto const value = valueOf(values, key);
    if (!value) return {};
    auto const begin = static_cast<std::size_t>(value->data() - values.data());
    for (std::size_t end = values.find(next, begin); end != std::string_view::npos;
         end = values.find(next, end + 1)) {
        auto const after = end + next.size();
        if (end > begin && values[end - 1] == ' ' && after < values.size() && values[after] == '=')
            return values.substr(begin, end - 1 - begin);
    }
    return *value;
}

}  // namespace zeqcam::tool
