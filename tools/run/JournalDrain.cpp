#include "run/JournalDrain.h"

#include <chrono>
#include <utility>

namespace zeqcam::tool {
namespace {

// How much may gather meanwhile: a busy board writes some thousand entries in this time.
constexpr std::chrono::milliseconds kPause{10};

void readOn(board::Journal& journal, JournalReader& reader, std::future<void> const& stop) {
    for (bool stops = false; !stops;) {
        stops = stop.wait_for(kPause) == std::future_status::ready;
        reader.read(journal.take());
    }
}

}  // namespace

JournalDrain::JournalDrain(board::Journal& journal, JournalReader& reader)
    : mReading(std::async(std::launch::async, [&journal, &reader, stop = mStop.get_future()] {
          readOn(journal, reader, stop);
      })) {}

JournalDrain::~JournalDrain() {
    if (mReading.valid()) mStop.set_value();
}

void JournalDrain::stop() {
    if (!mReading.valid()) return;
    mStop.set_value();
    std::exchange(mReading, {}).get();
}

}  // namespace zeqcam::tool
