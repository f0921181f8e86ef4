#pragma once

#include "evidence/Bytes.h"
#include "evidence/Item.h"
#include "evidence/TimeOrder.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zeqcam::tool {

// An object of the Trace Event Format, as far as it is read.
struct TraceEvent {
    std::string phase;
    std::string name;
    std::string category;
    std::string values;          // "args", as JSON text
    std::string named;           // "name" among them, of metadata
    std::string level;           // "level" among them, of an instant of the log
    std::optional<double> time;  // microseconds, like the duration
    std::optional<double> duration;
    std::optional<std::int32_t> process;
    std::optional<std::int32_t> thread;
    std::uint32_t line = 0;  // where it begins
};

// Makes items of the events of one file, by time: complete events are written where they begin or where they
// end.
class TraceEventItems {
  public:
    TraceEventItems(std::uint16_t file, ItemSink& sink) : mFile(file), mSink(sink), mOrder(sink) {}

    void take(TraceEvent const& event);
    void tellLost(std::uint32_t line, std::string_view what);
    // Passes on all that was held back for the order.
    void finish() { mOrder.finish(); }

  private:
    void takeMetadata(TraceEvent const& event, Item item);

    std::uint16_t mFile;
    ItemSink& mSink;
    TimeOrder mOrder;
    std::chrono::nanoseconds mTime{};  // of the last event
};

// Whether a file that begins so is JSON.
bool isJson(std::string_view begin);

// Reads Trace Events: an array of them, or an object with such an array as "traceEvents". Returns what there
// was instead; empty: there was one.
std::string readTraceEvents(Bytes& bytes, std::uint16_t file, ItemSink& sink);

}  // namespace zeqcam::tool
