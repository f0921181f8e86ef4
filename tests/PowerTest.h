#pragma once

#include "StrictBoard.h"

#include <zeqcam/IPowerOnOffController.h>
#include <zeqcam/board/Board.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace zeqcam::tool {
struct Record;
}

namespace zeqcam::tests {

using board::Entry;
using board::Kind;

// One entry in a few words: "{ label" and "} label" for sections, "E line" to "D line" for lines of the
// unified log, "Kind sensor" for calls on a sensor, else "Kind text".
std::string tell(Entry const& entry);
std::vector<std::string> tell(std::vector<Entry> const& entries);

std::vector<Entry> ofThread(std::vector<Entry> const& entries, int thread);
std::vector<Entry> ofKinds(std::vector<Entry> const& entries, std::vector<Kind> const& kinds);
std::vector<Entry> without(std::vector<Entry> const& entries, std::vector<Kind> const& kinds);
// What tells how the library goes about its calls, not what it does with sensors and listeners.
extern std::vector<Kind> const kNoise;
// The lines of the unified log, in order.
std::vector<std::string> logLines(std::vector<Entry> const& entries);
// The threads of the entries of a kind, in order.
std::vector<int> threadsOf(std::vector<Entry> const& entries, Kind kind);

// What breaks the rules that hold for every record, in the journal of one request or of several.
std::vector<std::string> brokenRules(std::vector<Entry> const& entries);
std::vector<std::string> brokenRules(tool::Record const& record);

// A board with sensors 0, 1 and 2 that answer at once and have both services. After each test, whatever it
// did: every section is closed on the thread that opened it, no handle or service is left, the process-wide
// lock is free, the calling thread has its priority back, and no caller was at fault.
class PowerTest : public testing::Test {
  protected:
    PowerTest();

    void SetUp() override;
    void TearDown() override;

    using Controller = std::shared_ptr<NSCam::IPowerOnOffController>;
    static Controller create(std::vector<int> sensorIds);

    StrictBoard& board() { return *mBoard; }
    board::Journal& journal() { return mBoard->journal(); }
    std::vector<Entry> entries() { return mBoard->journal().entries(); }
    // What `call` added to the journal.
    std::vector<Entry> entriesOf(std::function<void()> const& call);

    // Settings of the test's board: to be changed before SetUp, or with board().change() later.
    board::Settings mSettings;

  private:
    std::optional<StrictBoard> mBoard;
    int mNice = 0;
};

// A stream for the board's log lines that shows each to a function while its writer waits.
class LineWatch : public std::ostream {
  public:
    explicit LineWatch(std::function<void(std::string const& line)> see);

  private:
    class Buffer : public std::stringbuf {
      public:
        explicit Buffer(std::function<void(std::string const& line)> see) : mSee(std::move(see)) {}

      protected:
        int sync() override;

      private:
        std::function<void(std::string const& line)> mSee;
    };
    Buffer mBuffer;
};

// Runs a call on a thread of its own, joined at the end of the scope.
class Background {
  public:
    explicit Background(std::function<void()> call) : mThread(std::move(call)) {}
    ~Background() { join(); }
    Background(Background const&) = delete;
    Background& operator=(Background const&) = delete;
    void join() {
        if (mThread.joinable()) mThread.join();
    }

  private:
    std::thread mThread;
};

}  // namespace zeqcam::tests
