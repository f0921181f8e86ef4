#include "evidence/TraceEvents.h"

#include "evidence/Scanner.h"
#include "evidence/TraceEventParser.h"

#include <cmath>

namespace zeqcam::tool {
namespace {

using std::chrono::nanoseconds;

// Arrows that are under way, and threads.
constexpr std::size_t kMostKept = 65536;

// None: no clock shows that.
std::optional<nanoseconds> nanosecondsOf(std::optional<double> microseconds) {
    constexpr double kMost = 4e15;
    if (!microseconds || !(std::abs(*microseconds) < kMost)) return {};
    return nanoseconds(std::llround(*microseconds * 1000));
}

std::optional<nanoseconds> nanosecondsOf(std::string_view digits) {
    Scanner scanner(digits);
    auto const number = scanner.number<std::int64_t>();
    return number && scanner.rest().empty() ? std::optional(nanoseconds(*number)) : std::nullopt;
}

// As logcat shows the level that a trace file of the tool's tells in a word.
char levelOf(std::string_view word) {
    if (word == "error") return 'E';
    if (word == "warning") return 'W';
    return word == "info" ? 'I' : 'D';
}

}  // namespace

std::int32_t TraceEventItems::threadOf(TraceEvent const& event) const {
    std::int32_t const thread = event.thread.value_or(0);
    auto const known = mKernelThreads.find({event.process.value_or(0), thread});
    return known != mKernelThreads.end() ? known->second : thread;
}

void TraceEventItems::take(TraceEvent const& event) {
    if (event.kernelThread && event.name == "thread_name" && mKernelThreads.size() < kMostKept)
        mKernelThreads[{event.process.value_or(0), event.thread.value_or(0)}] = *event.kernelThread;
    Item item;
    item.clock = ClockKind::Trace;
    item.place = {.number = event.line, .file = mFile};
    item.process = event.process;
    item.thread = threadOf(event);
    if (event.phase == "M") return takeMetadata(event, item);

    auto const time = nanosecondsOf(event.time);
    if (!time) return;
    item.time = mTime = *time;
    if (event.phase == "B" || event.phase == "X") {
        item.what = SectionBegin{.label = event.name, .category = event.category, .values = event.values};
        mOrder.take(item);
    }
    if (event.phase == "E" || event.phase == "X") {
        item.time += nanosecondsOf(event.duration).value_or(nanoseconds::zero());
        item.what = SectionEnd{};
        mOrder.take(item);
    }
    if ((event.phase == "i" || event.phase == "I") && event.category == "log") {
        item.what = LogLine{.level = levelOf(event.level), .tag = {}, .text = event.name};
        mOrder.take(item);
    }
    if (event.phase == "i" && event.category == "profile") {
        item.what = ProfilePoint{.label = event.name};
        mOrder.take(item);
    }
    if (event.category == "cause") takeArrow(event, item);
}

// Its end stands at the begin of what it leads to.
void TraceEventItems::takeArrow(TraceEvent const& event, Item const& item) {
    if (event.phase == "s" && mArrows.size() < kMostKept) mArrows[event.arrow] = item.thread;
    auto const from = mArrows.find(event.arrow);
    if (event.phase != "f" || from == mArrows.end()) return;
    Item end = item;
    end.what = WorkFor{.asking = from->second};
    mOrder.take(end);
    mArrows.erase(from);
}

void TraceEventItems::takeMetadata(TraceEvent const& event, Item item) {
    if (auto const shown = nanosecondsOf(event.wallClock); shown && event.name == "process_labels") {
        item.what = ClockReading{.clock = ClockKind::Wall, .shown = *shown};
        return mSink.take(item);
    }
    if (event.named.empty()) return;
    if (event.name == "process_name") {
        item.thread = event.process.value_or(0);
        item.what = ThreadName{.name = {}, .process = event.named};
    } else if (event.name == "thread_name") {
        item.what = ThreadName{.name = event.named, .process = {}};
    } else {
        return;
    }
    if (item.thread != 0) mSink.take(item);
}

void TraceEventItems::tellLost(std::uint32_t line, std::string_view what) {
    Item item;
    item.time = mTime;
    item.clock = ClockKind::Trace;
    item.place = {.number = line, .file = mFile};
    item.what = Lost{what};
    mOrder.take(item);
}

bool isJson(std::string_view begin) {
    auto const first = begin.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos || (begin[first] != '{' && begin[first] != '[')) return false;
    auto const second = begin.find_first_not_of(" \t\r\n", first + 1);
    if (second == std::string_view::npos) return true;
    // Logs of the kernel begin with a bracket too.
    return begin[first] == '{' ? begin[second] == '"' || begin[second] == '}'
                               : begin[second] == '{' || begin[second] == ']';
}

std::string readTraceEvents(Bytes& bytes, std::uint16_t file, ItemSink& sink) {
    TraceEventItems items(file, sink);
    std::string found = TraceEventParser(bytes, items).parse();
    items.finish();
    return found;
}

}  // namespace zeqcam::tool
