#pragma once

#include "evidence/FtraceLine.h"
#include "evidence/Item.h"
#include "evidence/KnownThreads.h"
#include "evidence/Lines.h"

#include <chrono>
#include <cstdint>
#include <string_view>

namespace zeqcam::tool {

// Reads a kernel trace as text: the kernel's own `trace`, `atrace`, `trace-cmd report`, or a page of HTML
// around it.
class FtraceReader {
  public:
    FtraceReader(std::uint16_t file, ItemSink& sink) : mFile(file), mSink(sink) {}

    // All lines from the first that isTrace().
    void read(Lines& lines);
    // Whether the line belongs to such a trace and to no other text.
    static bool isTrace(std::string_view line);

  private:
    void take(std::string_view line);
    void take(FtraceLine const& line);
    void takeMarker(FtraceLine const& line, std::string_view text);
    void takeClock(FtraceLine const& line, std::string_view text);
    void takeSwitch(FtraceLine const& line);
    void takeWaking(FtraceLine const& line);
    void takeStart(FtraceLine const& line, std::int32_t started, std::string_view name);
    void takeOther(std::string_view line);
    template <class What>
    void tell(FtraceLine const& line, std::int32_t thread, What const& what);
    void tellLost(std::string_view what);
    [[nodiscard]] Item item(FtraceLine const& line) const;

    std::uint16_t mFile;
    ItemSink& mSink;
    KnownThreads mThreads;
    std::chrono::nanoseconds mTime{};  // of the last line
    std::uint32_t mNumber = 0;
    bool mHasWakings = false;   // sched_waking tells of what sched_wakeup tells of too
    bool mHasNewTasks = false;  // and task_newtask of what sched_process_fork tells of
};

}  // namespace zeqcam::tool
