#pragma once

#include "evidence/JsonInput.h"
#include "evidence/TraceEvents.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace zeqcam::tool {

// Takes Trace Events from JSON one by one, and goes on behind what is none.
class TraceEventParser {
  public:
    TraceEventParser(Bytes& bytes, TraceEventItems& items) : mInput(bytes), mItems(items) {}

    // Reads all. Returns what there was instead of events; empty: there were some, or an array for them.
    std::string parse();

    // What the JSON parser tells, each as it comes; false ends it.
    bool onStart(bool isObject);
    bool onEnd(bool isObject);
    bool onKey(std::string const& key);
    bool onText(std::string const& text);
    bool onNumber(double number, std::string_view shown);
    bool onWord(std::string_view word);

  private:
    // Deeper than any trace's values; what is deeper is damage.
    static constexpr std::size_t kDeepest = 64;
    // Values of one event that are longer are left out.
    static constexpr std::size_t kLongestValues = std::size_t{64} * 1024;

    bool parseOne();
    void parseRest();
    bool parseRow();
    [[nodiscard]] bool isInEvent() const { return mEventDepth > 0 && mDepth >= mEventDepth; }
    [[nodiscard]] bool isInValues() const {
        return mEventDepth > 0 && mDepth > mEventDepth && mIsInArguments;
    }
    void addValue(std::string_view text);

    JsonInput mInput;
    TraceEventItems& mItems;
    TraceEvent mEvent;
    std::string mKey;             // of the event, or of its values
    std::size_t mDepth = 0;       // of arrays and objects around
    std::size_t mEventDepth = 0;  // of a thing that is in an event; 0: not in the array of events
    bool mHasEvents = false;
    bool mIsObjectAround = false;  // the array stands in an object
    bool mIsInArguments = false;
    bool mNeedsComma = false;
};

}  // namespace zeqcam::tool
