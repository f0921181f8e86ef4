#pragma once

#include "run/JournalRecord.h"

#include <future>

namespace zeqcam::tool {

// Reads a journal while it grows and takes out of it what was read: a long run's entries are many times as
// large as the record that they come to.
class JournalDrain {
  public:
    // Starts a thread that reads into `reader`. Both outlive this object; until `stop`, `reader` is this
    // object's alone.
    JournalDrain(board::Journal& journal, JournalReader& reader);
    ~JournalDrain();
    JournalDrain(JournalDrain const&) = delete;
    JournalDrain& operator=(JournalDrain const&) = delete;

    // Reads what is left, and ends. What comes into the journal later stays there. Throws what reading threw.
    // Repeated calls do nothing.
    void stop();

  private:
    std::promise<void> mStop;
    std::future<void> mReading;
};

}  // namespace zeqcam::tool
