#include "evidence/TraceEventParser.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <limits>
#include <utility>

namespace zeqcam::tool {
namespace {

using nlohmann::json;

// The library's parser asks for these.
struct Sax {
    TraceEventParser& parser;

    bool null() { return parser.onWord("null"); }
    bool boolean(bool value) { return parser.onWord(value ? "true" : "false"); }
    bool number_integer(json::number_integer_t value) {
        return parser.onNumber(static_cast<double>(value), std::to_string(value));
    }
    bool number_unsigned(json::number_unsigned_t value) {
        return parser.onNumber(static_cast<double>(value), std::to_string(value));
    }
    bool number_float(json::number_float_t value, std::string const& shown) {
        return parser.onNumber(value, shown);
    }
    bool string(std::string const& value) { return parser.onText(value); }
    bool binary(json::binary_t const&) { return false; }
    bool start_object(std::size_t) { return parser.onStart(true); }
    bool key(std::string const& value) { return parser.onKey(value); }
    bool end_object() { return parser.onEnd(true); }
    bool start_array(std::size_t) { return parser.onStart(false); }
    bool end_array() { return parser.onEnd(false); }
    bool parse_error(std::size_t, std::string const&, nlohmann::detail::exception const&) { return false; }
};

std::optional<std::int32_t> idOf(double number) {
    if (!(number >= 0 && number <= std::numeric_limits<std::int32_t>::max()) || std::floor(number) != number)
        return {};
    return static_cast<std::int32_t>(number);
}

std::string jsonString(std::string const& text) {
    return json(text).dump(-1, ' ', false, json::error_handler_t::replace);
}

}  // namespace

std::string TraceEventParser::parse() {
    bool const isWhole = parseOne();
    if (!mHasEvents)
        return isWhole ? "JSON without \"traceEvents\"" : "JSON that is damaged before any \"traceEvents\"";
    // A writer that is stopped leaves out the end of an array, which the format allows.
    if (!isWhole && !(mInput.hasEnded() && !mIsObjectAround && mDepth == 1)) parseRest();
    return {};
}

bool TraceEventParser::parseOne() {
    mInput.endToken();
    Sax sax{*this};
    return json::sax_parse(JsonInput::Iterator(mInput), JsonInput::Iterator(), &sax,
                           json::input_format_t::json, false);
}

// From one event that can be read to the next.
void TraceEventParser::parseRest() {
    bool const wasAmongEvents = mEventDepth > 0;
    do {
        mItems.tellLost(mInput.line(), "an event is cut or damaged");
        if (!wasAmongEvents || !mInput.toNextObject()) return;
    } while (!parseRow());
}

// Event after event until there is none; false: one is damaged.
bool TraceEventParser::parseRow() {
    for (;;) {
        mDepth = mIsObjectAround ? 2 : 1;
        mEventDepth = mDepth + 1;
        if (!parseOne()) return false;
        mInput.skipSpaces();
        if (mInput.hasEnded() || mInput.peek() != ',') return true;
        mInput.advance();
        mInput.skipSpaces();
        if (mInput.hasEnded()) return true;
        if (mInput.peek() != '{') return false;
    }
}

bool TraceEventParser::onStart(bool isObject) {
    mInput.endToken();
    if (++mDepth > kDeepest) return false;
    if (mEventDepth == 0) {
        bool const isArrayOfEvents = !isObject && (mDepth == 1 || (mDepth == 2 && mKey == "traceEvents"));
        if (isArrayOfEvents) {
            mEventDepth = mDepth + 1;
            mHasEvents = true;
        }
        mIsObjectAround = mIsObjectAround || (isObject && mDepth == 1);
    } else if (mDepth == mEventDepth) {
        mEvent = {};
        mEvent.line = mInput.line();
        mIsInArguments = false;
        mNeedsComma = false;
    } else if (mDepth == mEventDepth + 1) {
        mIsInArguments = isObject && mKey == "args";
    }
    if (!isInValues()) return true;
    addValue(isObject ? "{" : "[");
    mNeedsComma = false;
    return true;
}

bool TraceEventParser::onEnd(bool isObject) {
    mInput.endToken();
    if (isInValues()) {
        mNeedsComma = false;
        addValue(isObject ? "}" : "]");
        if (mDepth == mEventDepth + 1 && mEvent.values.size() > kLongestValues) mEvent.values.clear();
    } else if (isInEvent() && mDepth == mEventDepth) {
        mItems.take(mEvent);
    }
    --mDepth;
    if (mEventDepth > 0 && mDepth + 1 < mEventDepth) mEventDepth = 0;
    return true;
}

bool TraceEventParser::onKey(std::string const& key) {
    mInput.endToken();
    if (isInValues()) {
        if (mDepth == mEventDepth + 1) mKey = key;
        addValue(jsonString(key) + ":");
        mNeedsComma = false;
    } else if (mEventDepth == 0 ? mDepth == 1 : mDepth == mEventDepth) {
        mKey = key;
    }
    return true;
}

bool TraceEventParser::onText(std::string const& text) {
    mInput.endToken();
    if (isInValues()) {
        if (mDepth == mEventDepth + 1 && mKey == "name") mEvent.named = text;
        if (mDepth == mEventDepth + 1 && mKey == "level") mEvent.level = text;
        if (mDepth == mEventDepth + 1 && mKey == "wall_clock_ns") mEvent.wallClock = text;
        addValue(jsonString(text));
    } else if (mDepth == mEventDepth) {
        if (mKey == "ph") mEvent.phase = text;
        if (mKey == "name") mEvent.name = text;
        if (mKey == "cat") mEvent.category = text;
        if (mKey == "id") mEvent.arrow = text;
    }
    return true;
}

bool TraceEventParser::onNumber(double number, std::string_view shown) {
    mInput.endToken();
    if (isInValues()) {
        if (mDepth == mEventDepth + 1 && mKey == "kernel_tid") mEvent.kernelThread = idOf(number);
        addValue(shown);
    } else if (mDepth == mEventDepth) {
        if (mKey == "ts") mEvent.time = number;
        if (mKey == "dur") mEvent.duration = number;
        if (mKey == "pid") mEvent.process = idOf(number);
        if (mKey == "tid") mEvent.thread = idOf(number);
        if (mKey == "id") mEvent.arrow = shown;
    }
    return true;
}

bool TraceEventParser::onWord(std::string_view word) {
    mInput.endToken();
    if (isInValues()) addValue(word);
    return true;
}

void TraceEventParser::addValue(std::string_view text) {
    if (mEvent.values.size() > kLongestValues) return;
    if (std::exchange(mNeedsComma, true)) mEvent.values += ',';
    mEvent.values += text;
}

}  // namespace zeqcam::tool
