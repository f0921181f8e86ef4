#include "evidence/LogcatLine.h"

#include "evidence/Scanner.h"

namespace zeqcam::tool {
namespace {

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

// "05", exactly two digits.
std::optional<int> twoDigits(Scanner& line) {
    auto const rest = line.rest();
    if (rest.size() < 2 || !isDigit(rest[0]) || !isDigit(rest[1])) return {};
    if (rest.size() > 2 && isDigit(rest[2])) return {};
    return line.number<int>();
}

// "11-23" or "2026-11-23".
std::optional<LogDate> dateOf(Scanner& line) {
    LogDate date;
    if (line.rest().size() > 4 && line.rest()[4] == '-') {
        date.year = line.number<int>();
        // The years whose nanoseconds can be counted.
        if (!date.year || *date.year < 1970 || *date.year > 2200 || !line.take('-')) return {};
    }
    auto const month = twoDigits(line);
    if (!month || !line.take('-')) return {};
    auto const day = twoDigits(line);
    if (!day || *month < 1 || *month > 12 || *day < 1 || *day > 31) return {};
    date.month = *month;
    date.day = *day;
    return date;
}

// "05:16:48.315"; a second 60 is a leap second's.
std::optional<std::chrono::nanoseconds> timeOfDay(Scanner& line) {
    auto const hours = twoDigits(line);
    if (!hours || !line.take(':')) return {};
    auto const minutes = twoDigits(line);
    if (!minutes || !line.take(':')) return {};
    auto const seconds = twoDigits(line);
    if (!seconds || *hours > 23 || *minutes > 59 || *seconds > 60) return {};
    auto const part = line.fraction();
    if (!part) return {};
    return std::chrono::hours(*hours) + std::chrono::minutes(*minutes) + std::chrono::seconds(*seconds) +
           *part;
}

// " +0100"; nothing is taken where there is none.
std::optional<std::chrono::seconds> zoneOf(Scanner& line) {
    Scanner ahead = line;
    ahead.skipSpaces();
    bool const east = ahead.take('+');
    if (!east && !ahead.take('-')) return {};
    auto const digits = ahead.rest().size();
    auto const number = ahead.number<int>();
    if (!number || digits - ahead.rest().size() != 4 || *number % 100 > 59 || *number > 1800) return {};
    line = ahead;
    std::chrono::seconds const offset =
        std::chrono::hours(*number / 100) + std::chrono::minutes(*number % 100);
    return east ? offset : -offset;
}

// "2026-11-23 05:16:48.315 +0100", or seconds since the zero of a clock, as `epoch` and `monotonic` have it.
bool takeTime(Scanner& line, LogcatLine& found) {
    Scanner ahead = line;
    found.date = dateOf(ahead);
    std::optional<std::chrono::nanoseconds> time;
    if (found.date) {
        if (!ahead.take(' ')) return false;
        time = timeOfDay(ahead);
    } else {
        ahead = line;
        ahead.skipSpaces();
        time = ahead.seconds();
    }
    if (!time) return false;
    found.time = *time;
    found.zone = zoneOf(ahead);
    line = ahead;
    return line.isNext(' ');
}

// " 1000  1234  5678 ", where the first number, a user's, may be a name or not be there.
bool takeIds(Scanner& line, LogcatLine& found) {
    line.skipSpaces();
    Scanner withoutUser = line;
    line.word();
    for (Scanner ids : {withoutUser, line}) {
        ids.skipSpaces();
        auto const process = ids.number<std::int32_t>();
        if (!process || !ids.isNext(' ')) continue;
        ids.skipSpaces();
        auto const thread = ids.number<std::int32_t>();
        if (!thread || !ids.take(' ') || ids.rest().size() < 2) continue;
        if (!isLogLevel(ids.rest()[0]) || ids.rest()[1] != ' ') continue;
        found.process = *process;
        found.thread = *thread;
        line = ids;
        return true;
    }
    return false;
}

// "D/Tag" or "D/Tag     " up to the ending.
bool takeLevelAndTag(Scanner& line, char ending) {
    constexpr std::size_t kLongestTag = 64;
    auto const rest = line.rest();
    if (rest.size() < 3 || !isLogLevel(rest[0]) || rest[1] != '/') return false;
    auto const end = rest.find(ending);
    if (end > kLongestTag) return false;
    line = Scanner(rest.substr(end + 1));
    return true;
}

// "( 1234)" or, with a thread, "( 1234: 5678)" or "( 1234:0x162e)".
bool takeProcess(Scanner& line, bool withThread) {
    line.skipSpaces();
    if (!line.number<std::int32_t>()) return false;
    if (!withThread) return line.take(')');
    if (!line.take(':')) return false;
    line.skipSpaces();
    if (line.take("0x")) return true;
    return line.number<std::int32_t>() && line.take(')');
}

}  // namespace

bool isLogLevel(char letter) {
    return letter == 'V' || letter == 'D' || letter == 'I' || letter == 'W' || letter == 'E' || letter == 'F';
}

// The civil calendar, whose leap days come last when years begin in March.
std::int64_t daysSince1970(int year, int month, int day) {
    std::int64_t const fromMarch = month > 2 ? year : year - 1;
    std::int64_t const century = fromMarch / 400;
    std::int64_t const yearOfCentury = fromMarch % 400;
    std::int64_t const dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
    return century * 146'097 + yearOfCentury * 365 + yearOfCentury / 4 - yearOfCentury / 100 + dayOfYear -
           719'468;
}

std::optional<LogcatLine> logcatLineOf(std::string_view line) {
    LogcatLine found;
    Scanner rest(line);
    if (!takeTime(rest, found) || !takeIds(rest, found)) return {};
    found.level = rest.rest().front();
    found.tag = rest.rest().substr(2);
    found.tagAt = line.size() - found.tag.size();
    // A line without text ends with the colon where something trimmed it.
    auto colon = found.tag.find(": ");
    if (colon == std::string_view::npos) {
        if (found.tag.empty() || found.tag.back() != ':') return {};
        colon = found.tag.size() - 1;
    } else {
        found.text = found.tag.substr(colon + 2);
    }
    found.tag = found.tag.substr(0, colon);
    while (!found.tag.empty() && found.tag.back() == ' ') found.tag.remove_suffix(1);
    return found;
}

std::string_view otherLogcatFormat(std::string_view line) {
    Scanner const begin(line);
    Scanner rest = begin;
    if (LogcatLine timed; takeTime(rest, timed)) {
        rest.skipSpaces();
        return takeLevelAndTag(rest, '(') && takeProcess(rest, false) ? "time" : "";
    }
    if (rest = begin; rest.take("[ ")) {
        LogcatLine timed;
        if (!takeTime(rest, timed)) return "";
        return line.find(" ]") != std::string_view::npos ? "long" : "";
    }
    if (rest = begin; takeLevelAndTag(rest, '(') && takeProcess(rest, false)) return "brief";
    if (line.size() > 2 && isLogLevel(line[0]) && line[1] == '(') {
        if (rest = Scanner(line.substr(2)); takeProcess(rest, false)) return "process";
        if (rest = Scanner(line.substr(2)); takeProcess(rest, true)) return "thread";
    }
    if (rest = begin; takeLevelAndTag(rest, ':') && rest.isNext(' ')) return "tag";
    return "";
}

}  // namespace zeqcam::tool
