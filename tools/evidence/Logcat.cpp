#include "evidence/Logcat.h"

#include "evidence/Scanner.h"

#include <cstring>
#include <utility>

namespace zeqcam::tool {
namespace {

using std::chrono::nanoseconds;

// Logs are told by whole seconds since the zero of a clock: no phone is up for three years.
constexpr nanoseconds kLongestUptime = std::chrono::hours(24 * 365 * 3);

// Lines that are no farther apart over New Year followed each other; others are of a clock that was set. More
// than a day, since a day may have been looked at in its first line only.
constexpr nanoseconds kLongestSilence = std::chrono::hours(36);

// More than the log has: main, system, radio, events, crash, kernel, security, stats.
constexpr std::size_t kParts = 16;

nanoseconds sinceYear1970(int year, LogDate const& date, nanoseconds time) {
    return std::chrono::hours(24 * daysSince1970(year, date.month, date.day)) + time;
}

// "11-23 05:", or the begin of another format's time, and ids up to the level: a line's head is no shorter.
constexpr std::size_t kShortestHead = 20;

// Eight characters as they stand.
std::uint64_t wordAt(char const* text) {
    std::uint64_t word = 0;
    std::memcpy(&word, text, sizeof(word));
    return word;
}

// The bit that letters have and digits, blanks, dots and signs have not, in each of eight characters.
constexpr std::uint64_t kLetters = 0x4040'4040'4040'4040;

// What a line of `chatty` says is missing, behind the user and, sometimes, the thread: "uid=1000(system) logd
// expire 5 lines". Empty: nothing.
std::string lossOfChatty(std::string_view text) {
    for (auto const& [verb, told] :
         {std::pair<std::string_view, char const*>{"identical ", "lines like the one before were left out"},
          {"expire ", "lines were dropped: the process wrote too many"}}) {
        auto const at = text.find(verb);
        if (at == std::string_view::npos) continue;
        Scanner rest(text.substr(at + verb.size()));
        auto const count = rest.number<std::uint64_t>();
        if (count && rest.take(" line")) return std::to_string(*count) + " " + told;
    }
    return {};
}

}  // namespace

nanoseconds LogClock::timeOf(LogcatLine const& line) {
    if (!line.date) {
        mKind = line.time > kLongestUptime ? ClockKind::Wall : ClockKind::Monotonic;
        return line.time;
    }
    mKind = ClockKind::Wall;
    mIsWallTimeKnown = mIsWallTimeKnown && line.date->year && line.zone;
    nanoseconds const zone = line.zone.value_or(std::chrono::seconds(0));
    if (line.date->year) return sinceYear1970(*line.date->year, *line.date, line.time) - zone;

    auto time = sinceYear1970(mYear, *line.date, line.time) - zone;
    // Lines around midnight may be out of order.
    for (int const year : {mYear + 1, mYear - 1}) {
        auto const other = sinceYear1970(year, *line.date, line.time) - zone;
        if (!mLast || std::chrono::abs(other - *mLast) > kLongestSilence) continue;
        mYear = year;
        time = other;
        break;
    }
    mLast = time;
    return time;
}

// Parts begin once, unless the log was taken anew; then nothing tells whether the phone was up all the while.
bool LogcatReader::seesBegin(std::string_view line) {
    Scanner rest(line);
    if (!rest.take("--------- beginning of ")) return false;
    if (mBegun.contains(rest.rest())) tellBoot();
    if (mBegun.size() < kParts) mBegun.emplace(rest.rest());
    return true;
}

void LogcatReader::read(Lines& lines) {
    while (lines.next()) {
        if (lines.isWhole() && isOthers(lines.text())) continue;
        mNumber = lines.number();
        auto const line = withoutPadding(lines.text());
        if (lines.isWhole()) {
            take(line);
        } else {
            takeIncomplete(line);
        }
    }
}

// Told without looking at all of the line: it stands like the one before, on the same day, and its tag is not
// wanted. Comes to nearly every line of a log, so it costs less than finding where the line ends.
bool LogcatReader::isOthers(std::string_view line) const {
    if (line.size() < mTagAt || mTagAt < kShortestHead || wordAt(line.data()) != mDate) return false;
    char const* const tag = line.data() + mTagAt;
    if (tag[-1] != ' ' || !isLogLevel(tag[-2]) || tag[-3] != ' ') return false;
    // A letter between time and level may be the level, and this some text; or the name of a user.
    if (((wordAt(tag - 11) | wordAt(tag - 15)) & kLetters) != 0) return false;
    auto const* const colon = static_cast<char const*>(
        std::memchr(tag, ':', static_cast<std::size_t>(line.data() + line.size() - tag)));
    // The kernel's lines have no tag.
    if (colon == nullptr || colon[1] != ' ' || *tag == ' ') return false;
    char const* end = colon;
    while (end[-1] == ' ') --end;
    std::string_view const found(tag, static_cast<std::size_t>(end - tag));
    return found != "chatty" && !mWanted.tag(found);
}

void LogcatReader::take(std::string_view line) {
    auto const found = logcatLineOf(line);
    if (!found) return takeOther(line);
    mTagAt = found->tagAt;
    mDate = line.size() < kShortestHead ? 0 : wordAt(line.data());
    mTime = mClock.timeOf(*found);
    take(*found);
}

void LogcatReader::take(LogcatLine const& line) {
    Item item = this->item();
    item.process = line.process;
    item.thread = line.thread;
    if (mWanted.tag(line.tag)) {
        item.what = LogLine{.level = line.level, .tag = line.tag, .text = line.text};
        mSink.take(item);
    } else if (line.tag == "chatty") {
        std::string const loss = lossOfChatty(line.text);
        if (loss.empty()) return;
        item.what = Lost{loss};
        mSink.take(item);
    } else if (line.process == 0 && line.text.find("Booting Linux on ") != std::string_view::npos) {
        tellBoot();
    }
}

void LogcatReader::takeOther(std::string_view line) {
    if (seesBegin(line)) return;
    // A bug report shows the log of the boot before last of all.
    if (line.substr(0, 19) == "------ LAST LOGCAT ") return tellBoot();
    if (line == "read: unexpected EOF!" || line == "logcat: Unexpected EOF!") {
        tellLost("logcat was too slow: lines were dropped");
    }
}

void LogcatReader::takeIncomplete(std::string_view line) {
    auto const found = logcatLineOf(line);
    if (found && !mWanted.tag(found->tag)) return;
    // Of a cut text nobody knows what it said.
    if (found) mTime = mClock.timeOf(*found);
    if (found || line.size() < Lines::kLongest) tellLost("the line is cut");
}

void LogcatReader::tellBoot() {
    mBegun.clear();
    mClock.forgetLast();
    Item item = this->item();
    item.what = Boot{};
    mSink.take(item);
}

void LogcatReader::tellLost(std::string_view what) {
    Item item = this->item();
    item.what = Lost{what};
    mSink.take(item);
}

Item LogcatReader::item() const {
    Item item;
    item.time = mTime;
    item.clock = mClock.kind();
    item.place = {.number = mNumber, .file = mFile};
    return item;
}

}  // namespace zeqcam::tool
