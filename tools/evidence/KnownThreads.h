#pragma once

#include "evidence/Item.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace zeqcam::tool {

// What a file has told of threads, so that each thing is told once and not with each event.
class KnownThreads {
  public:
    // Gives `sink` a ThreadName at the place of `item` if the file tells anything new of the thread. An empty
    // name and no process tell nothing.
    void tell(Item const& item, std::int32_t thread, std::string_view name,
              std::optional<std::int32_t> process, ItemSink& sink) {
        if (thread == 0 || (name.empty() && !process)) return;
        if (mThreads.size() >= kMost) mThreads.clear();
        Thread& known = mThreads[thread];
        bool const isNew = (!name.empty() && known.name != name) || (process && known.process != process);
        if (!isNew) return;
        if (!name.empty()) known.name = name;
        if (process) known.process = process;
        Item told = item;
        told.thread = thread;
        told.process = known.process;
        told.what = ThreadName{.name = known.name, .process = {}};
        sink.take(told);
    }

    // Another thread has that id from here on.
    void forget(std::int32_t thread) { mThreads.erase(thread); }

  private:
    // More than phones have; a file that tells of more is told some things twice.
    static constexpr std::size_t kMost = 65'536;

    struct Thread {
        std::string name;
        std::optional<std::int32_t> process;
    };
    std::unordered_map<std::int32_t, Thread> mThreads;
};

}  // namespace zeqcam::tool
