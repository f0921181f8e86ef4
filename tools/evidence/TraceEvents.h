#pragma once

#include "evidence/Bytes.h"
#include "evidence/Item.h"
#include "evidence/TimeOrder.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace zeqcam::tool {

// An object of the Trace Event Format, as far as it is read.
struct TraceEvent {
    std::string phase;
    std::string name;
    std::string category;
    std::string values;     // "args", as JSON text
    std::string named;      // "name" among them, of metadata
    std::string level;      // "level" among them, of an instant of the log
    std::string wallClock;  // "wall_clock_ns" among them, of metadata: what it showed at time 0
    std::optional<std::int32_t> kernelThread;  // "kernel_tid" among them, of metadata
    std::string arrow;                         // "id"
    std::optional<double> time;                // microseconds, like the duration
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
    void takeArrow(TraceEvent const& event, Item const& item);
    [[nodiscard]] std::int32_t threadOf(TraceEvent const& event) const;

    std::uint16_t mFile;
    ItemSink& mSink;
    TimeOrder mOrder;
    std::chrono::nanoseconds mTime{};  // of the last event
    // The kernel's ids of threads that have others in the file, and the threads where arrows begin.
    std::map<std::pair<std::int32_t, std::int32_t>, std::int32_t> mKernelThreads;
    std::map<std::string, std::int32_t> mArrows;
};

// Whether a file that begins so is JSON.
bool isJson(std::string_view begin);

// Reads Trace Events: an array of them, or an object with such an array as "traceEvents". Returns what there
// was instead; empty: there was one.
std::string readTraceEvents(Bytes& bytes, std::uint16_t file, ItemSink& sink);

}  // namespace zeqcam::tool
