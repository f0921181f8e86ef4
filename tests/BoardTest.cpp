#include "StrictBoard.h"

#include <gtest/gtest.h>
#include <zeqcam/board/Board.h>
#include <zeqcam/platform/AndroidLog.h>
#include <zeqcam/platform/Atrace.h>
#include <zeqcam/platform/CentralTaskMgr.h>
#include <zeqcam/platform/DebugPrint.h>
#include <zeqcam/platform/Hal3A.h>
#include <zeqcam/platform/IHalSensor.h>
#include <zeqcam/platform/Performance.h>
#include <zeqcam/platform/Properties.h>
#include <zeqcam/platform/ULogger.h>

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <latch>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace {

using namespace zeqcam::board;
using namespace std::chrono_literals;
using NSCam::CTM::CentralTaskMgr;
using NSCam::Utils::ULog::ULogger;
using zeqcam::tests::StrictBoard;

std::int32_t powerOn(NSCam::IHalSensor* handle, std::uint32_t sensor) {
    return handle->powerOn("test", 1, &sensor);
}

std::int32_t powerOff(NSCam::IHalSensor* handle, std::uint32_t sensor) {
    return handle->powerOff("test", 1, &sensor);
}

NSCam::IHalSensor* makeHandle(int sensor) {
    return NSCam::IHalSensorList::get()->createSensor("test", sensor);
}

TEST(Journal, ShowsNoEntryWithoutAllThatEndedBeforeIt) {
    constexpr int kThreads = 3;
    constexpr int kEntries = 300;
    Journal journal;
    std::atomic<int> turn = 0;
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int self = 0; self < kThreads; ++self) {
        threads.emplace_back([&, self] {
            for (int n = self; n < kEntries; n += kThreads) {
                for (int now = turn; now != n; now = turn) turn.wait(now);
                journal.add({.number = n});
                turn = n + 1;
                turn.notify_all();
            }
        });
    }
    bool inOrder = true;
    journal.waitUntil([&](std::vector<Entry> const& entries) {
        for (std::size_t i = 0; i < entries.size(); ++i) inOrder &= entries[i].number == static_cast<int>(i);
        return entries.size() == kEntries;
    });
    EXPECT_TRUE(inOrder);
    for (std::thread& thread : threads) thread.join();
}

TEST(Board, LetsAHangingSensorGoWhenItsSettingChangesAndWhenTheBoardGoes) {
    for (bool const boardGoes : {false, true}) {
        auto board = std::make_unique<StrictBoard>(Settings{.sensors = {{0, {.powerOnHangs = true}}}});
        NSCam::IHalSensor* const handle = makeHandle(0);
        auto result = std::async(std::launch::async, [=] { return powerOn(handle, 0); });
        board->journal().waitFor(Kind::SensorPowerOn);
        EXPECT_FALSE(board->isPowered(0));
        if (boardGoes) {
            board.reset();
        } else {
            board->change([](Settings& settings) { settings.sensors[0].powerOnHangs = false; });
        }
        EXPECT_EQ(result.get(), 1);
        EXPECT_EQ(board && board->isPowered(0), !boardGoes);
        powerOff(handle, 0);
        handle->release("test");
    }
}

std::vector<std::int32_t> results(Settings settings, bool amongOthers) {
    StrictBoard const board(std::move(settings));
    NSCam::IHalSensor* const handle = makeHandle(0);
    NSCam::IHalSensor* const other = makeHandle(1);
    std::vector<std::int32_t> all;
    for (int i = 0; i < 64; ++i) {
        if (amongOthers) powerOn(other, 1);
        all.push_back(powerOn(handle, 0));
        powerOff(handle, 0);
        if (amongOthers) powerOff(other, 1);
    }
    handle->release("test");
    other->release("test");
    return all;
}

TEST(Board, DrawsTheSameFaultsForASeedWhateverOtherSensorsDo) {
    Settings settings{.sensors = {{0, {.powerOnFails = {.probability = 0.5}}}, {1, {}}}};
    auto const drawn = results(settings, false);
    EXPECT_EQ(results(settings, true), drawn);
    settings.seed = 2;
    EXPECT_NE(results(settings, false), drawn);
    settings.sensors[0].powerOnFails = {.times = {2, 64}};
    std::vector<std::int32_t> expected(64, 1);
    expected[1] = expected[63] = 0;
    EXPECT_EQ(results(settings, false), expected);
    settings.sensors[0].powerOnFails = {.every = 3};
    for (std::size_t i = 0; i < expected.size(); ++i) expected[i] = (i + 1) % 3 == 0 ? 0 : 1;
    EXPECT_EQ(results(settings, true), expected);
}

// When a task has run at the latest.
enum class By { Post, QueueRelease, RunHeldTasks, BoardEnd, Never };

TEST(Board, RunsATaskAsTheQueueIsSet) {
    struct Case {
        char const* description;
        Queue queue;
        By ranBy;
        bool onQueueThread;
    };
    Case const cases[] = {
        {"queued", {}, By::QueueRelease, true},
        {"queued, no handle", {.handles = TaskHandles::NoHandle}, By::QueueRelease, true},
        {"queued, no future", {.threads = 3, .handles = TaskHandles::NoFuture}, By::QueueRelease, true},
        {"at once", {.runs = TaskRuns::AtOnce}, By::Post, false},
        {"late",
         {.runs = TaskRuns::Late, .lateBy = 1h, .handles = TaskHandles::NoHandle},
         By::BoardEnd,
         true},
        {"held", {.runs = TaskRuns::Held}, By::RunHeldTasks, false},
        {"dropped", {.runs = TaskRuns::Dropped}, By::Never, false},
    };
    for (auto const& [description, queue, ranBy, onQueueThread] : cases) {
        SCOPED_TRACE(description);
        std::atomic<int> runs = 0;
        auto const check = [&, expectedBy = ranBy](By step) {
            // Before its queue is released, a queued task may have run or not.
            if (step < expectedBy && expectedBy == By::QueueRelease) return;
            EXPECT_EQ(runs, step >= expectedBy ? 1 : 0);
        };
        std::shared_future<void> future;
        {
            StrictBoard board({.queue = queue});
            auto taskQueue = CentralTaskMgr::createQueue({.name = "queue"});
            auto const handle = CentralTaskMgr::asyncPost(taskQueue, 1, [&, onQueueThread = onQueueThread] {
                char name[16] = {};
                pthread_getname_np(pthread_self(), name, sizeof name);
                EXPECT_EQ(name == std::string("queue"), onQueueThread);
                EXPECT_FALSE(inBoard());
                ++runs;
            });
            check(By::Post);
            taskQueue.reset();
            check(By::QueueRelease);
            board.runHeldTasks();
            check(By::RunHeldTasks);
            EXPECT_EQ(handle != nullptr, queue.handles != TaskHandles::NoHandle);
            if (handle) future = handle->getFuture();
        }
        check(By::BoardEnd);
        EXPECT_EQ(future.valid(), queue.handles == TaskHandles::Given);
        if (!future.valid()) continue;
        EXPECT_EQ(future.wait_for(0s), std::future_status::ready);
        if (ranBy == By::Never) {
            EXPECT_THROW(future.get(), std::future_error) << "dropped is not done";
        } else {
            future.get();
        }
    }
}

std::shared_ptr<NSCam::CTM::TaskHandle> postRaw(std::shared_ptr<NSCam::CTM::TaskQueue>& queue,
                                                std::function<void()> task) {
    auto function = std::make_unique<std::function<void()>>(std::move(task));
    return CentralTaskMgr::_asyncPost(queue, 1, function);
}

TEST(Board, RunsATaskTwiceInTurnOrAtOnce) {
    for (TaskRuns const runs : {TaskRuns::Twice, TaskRuns::TwiceAtOnce}) {
        StrictBoard board({.queue = {.runs = runs}});
        auto queue = CentralTaskMgr::createQueue({.name = "queue"});
        std::latch both(runs == TaskRuns::Twice ? 1 : 2);  // at once: neither ends before the other has begun
        int count = 0;
        std::mutex counting;
        postRaw(queue, [&] {
            if (!both.try_wait()) both.arrive_and_wait();
            EXPECT_FALSE(inBoard());
            std::lock_guard const hold(counting);
            ++count;
        });
        queue.reset();
        EXPECT_EQ(count, 2);
        auto const told = board.journal().entries(Kind::TaskRun);
        ASSERT_EQ(told.size(), 2U);
        EXPECT_EQ(told[0].thread == told[1].thread, runs == TaskRuns::Twice);
    }
}

TEST(Board, ThrowsFromAPostWhateverBecomesOfItsTask) {
    for (bool const taken : {true, false}) {
        StrictBoard board({.queue = {.runs = taken ? TaskRuns::AtOnce : TaskRuns::Dropped,
                                     .handles = TaskHandles::Throws}});
        auto queue = CentralTaskMgr::createQueue({.name = "queue"});
        bool ran = false;
        EXPECT_THROW(postRaw(queue, [&] { ran = true; }), std::runtime_error);
        EXPECT_EQ(ran, taken);
    }
}

TEST(Board, SharesAQueueUnderItsNameWhileSomebodyHasIt) {
    StrictBoard board({.queue = {.shared = true}});
    auto first = CentralTaskMgr::createQueue({.name = "queue"});
    EXPECT_EQ(CentralTaskMgr::createQueue({.name = "queue"}), first);
    EXPECT_NE(CentralTaskMgr::createQueue({.name = "another"}), first);
    first.reset();
    EXPECT_EQ(board.journal().entries(Kind::QueueRelease).size(), 2U);
    EXPECT_NE(CentralTaskMgr::createQueue({.name = "queue"}), nullptr);
    board.change([](Settings& settings) { settings.queue.shared = false; });
    auto const own = CentralTaskMgr::createQueue({.name = "queue"});
    EXPECT_NE(CentralTaskMgr::createQueue({.name = "queue"}), own);
}

TEST(Board, LeavesOutWhatIsAbsentAtThatRequest) {
    StrictBoard board({.sensors = {{0, {.hal3aAbsent = {2}, .peripheralAbsent = {1, 3}}}},
                       .sensorListAbsent = {1},
                       .powerBudgetAbsent = {2, 3}});
    auto const present = [](auto const& request) {
        std::vector<bool> all;
        for (int i = 0; i < 4; ++i) all.push_back(request() != nullptr);
        return all;
    };
    using Answers = std::vector<bool>;
    EXPECT_EQ(present(NSCam::IHalSensorList::get), (Answers{false, true, true, true}));
    EXPECT_EQ(present(NSCam::IPowerBudgetHelper::getInstance), (Answers{true, false, false, true}));
    EXPECT_EQ(present([] { return zeq::hal3a::IHal3AAssist::createInstance(0); }),
              (Answers{true, false, true, true}));
    EXPECT_EQ(present([] { return zeq::hal3a::IPeripheralController::GetInstance(0); }),
              (Answers{false, true, false, true}));
}

TEST(Board, RunsALateTaskInItsTimeAlthoughTheQueueIsGone) {
    StrictBoard board({.queue = {.runs = TaskRuns::Late, .lateBy = 1ms}});
    std::atomic<bool> ran = false;
    auto queue = CentralTaskMgr::createQueue({.name = "queue"});
    CentralTaskMgr::asyncPost(queue, 1, [&] { ran = true; });
    queue.reset();
    board.journal().waitFor(Kind::TaskRunDone);
    EXPECT_TRUE(ran);
}

TEST(Board, RunsTheRestInOrderWhenATaskReleasesItsOwnQueue) {
    constexpr int kTasks = 20;
    StrictBoard board({});
    auto queue = CentralTaskMgr::createQueue({.name = "queue"});
    std::promise<void> posted;
    CentralTaskMgr::asyncPost(queue, 0, [&] {
        posted.get_future().wait();
        queue.reset();
    });
    for (unsigned int i = 1; i < kTasks; ++i) CentralTaskMgr::asyncPost(queue, i, [] {});
    posted.set_value();
    board.journal().waitFor(Kind::TaskRunDone, kTasks);
    auto const runs = board.journal().entries(Kind::TaskRun);
    for (std::size_t i = 0; i < runs.size(); ++i) EXPECT_EQ(runs[i].number, static_cast<int>(i));
}

TEST(Board, IsHarmlessWhenItHasGone) {
    auto board = std::make_unique<StrictBoard>(Settings{
        .sensors = {{0, {}}}, .log = {.debugPrintPrefixes = {"d", "e", "w", "i"}, .fileText = "gone"}});
    NSCam::IHalSensor* const handle = makeHandle(0);
    auto hal3a = zeq::hal3a::IHal3AAssist::createInstance(0);
    auto peripheral = zeq::hal3a::IPeripheralController::GetInstance(0);
    EXPECT_EQ(zeq::hal3a::IPeripheralController::GetInstance(0), peripheral);
    EXPECT_EQ(board->openServices(), 2);
    auto queue = CentralTaskMgr::createQueue({.name = "queue"});
    board.reset();

    EXPECT_EQ(powerOn(handle, 0), 1);
    EXPECT_EQ(hal3a->notifyPowerOff(), 0);
    handle->release("test");
    bool ran = false;
    CentralTaskMgr::asyncPost(queue, 1, [&] { ran = true; })->getFuture().wait();
    EXPECT_TRUE(ran);
    queue.reset();

    EXPECT_EQ(NSCam::IHalSensorList::get(), nullptr);
    EXPECT_EQ(zeq::hal3a::IHal3AAssist::createInstance(0), nullptr);
    EXPECT_EQ(CentralTaskMgr::createQueue({.name = "queue"}), nullptr);
    EXPECT_EQ(CentralTaskMgr::asyncPost(queue, 1, [] {}), nullptr);
    EXPECT_EQ(NSCam::IPowerBudgetHelper::getInstance(), nullptr);
    EXPECT_EQ(NSCam::Utils::Properties::property_get_int32("name", 7), 7);
    EXPECT_EQ(ULogger::sULogger, nullptr);
    EXPECT_EQ(ULogger::sMode, 0u);
    EXPECT_STREQ(g_logInfoLv[CAM_DEBUG_LEVEL_ERROR].prefix, "E");
    EXPECT_STREQ(get_filename_log_control("path/File.cpp"), "File.cpp");
    EXPECT_EQ(atrace_get_enabled_tags(), 0u);
}

TEST(Board, NamesTheSectionThatATraceEndCloses) {
    for (bool const second : {false, true}) {
        StrictBoard board({});
        if (second) atrace_end_body();  // the section left open on the first board is not this one's
        atrace_begin_body("outer");
        atrace_begin_body("inner");
        atrace_end_body();
        std::thread(atrace_end_body).join();
        if (second) atrace_end_body();
        std::vector<std::string> closed;
        for (Entry const& entry : board.journal().entries(Kind::TraceEnd)) closed.push_back(entry.text);
        EXPECT_EQ(closed, second ? std::vector<std::string>({"", "inner", "", "outer"})
                                 : std::vector<std::string>({"inner", ""}));
    }
}

// Notes whether the board wrote to it.
struct Probe : std::stringbuf {
    int sync() override {
        wasInBoard = inBoard();
        return 0;
    }
    bool wasInBoard = false;
};

TEST(Board, LogsInThreadtimeFormatUnlessTurnedOff) {
    Probe probe;
    std::ostream stream(&probe);
    StrictBoard board({.logStream = &stream});
    std::string const text(600, 'x');
    log_dbg_print("zeqcam-test", CAM_DEBUG_LEVEL_WARNING, "%s %d", text.c_str(), 7);
    ULogger::sULogger->text(1, "zeqcam-test", 5, "cut", 2000);
    __android_log_print(3, "zeqcam-test", "two lines,\n\none of them empty\n");
    std::string const longText(5000, 'y');
    __android_log_print(6, "zeqcam-test", "%s", longText.c_str());
    __android_log_print(2, "zeqcam-test", "%s", "");
    char ids[32];
    snprintf(ids, sizeof ids, " %5d %5d ", getpid(), gettid());
    std::istringstream lines(probe.str());
    for (std::string const& rest :
         {"W zeqcam-test: " + text + " 7", std::string("D zeqcam-test: cut"),
          std::string("D zeqcam-test: two lines,"), std::string("D zeqcam-test: "),
          std::string("D zeqcam-test: one of them empty"),
          "E zeqcam-test: " + longText.substr(0, 4068 - 3 - 11), std::string("V zeqcam-test: ")}) {
        std::string line;
        std::getline(lines, line);
        std::string time = line.substr(0, line.find(' ', 6));
        std::replace_if(
            time.begin(), time.end(), [](char c) { return c >= '0' && c <= '9'; }, '0');
        EXPECT_EQ(time, "00-00 00:00:00.000");
        EXPECT_EQ(line.substr(time.size()), ids + rest);
    }
    EXPECT_TRUE(probe.wasInBoard);
    EXPECT_EQ(lines.peek(), EOF);

    board.change([](Settings& settings) {
        settings.logStream = nullptr;
        settings.log = {.detailsLevel = 2,
                        .hasUnifiedLogger = false,
                        .debugPrintLevelsOff = {0, 3},
                        .debugPrintOtherFlags = 0x81,
                        .debugPrintPrefixes = {"d", "e", "w", "i"},
                        .fileText = "elsewhere"};
    });
    EXPECT_EQ(ULogger::sULogger, nullptr);
    EXPECT_EQ(ULogger::sDetailsLevel, 2u);
    int const expectedFlags[] = {1, 0x81, 0x81, 1};
    for (int level = 0; level < 4; ++level)
        EXPECT_EQ(g_logInfoLv[level].flags, expectedFlags[level]) << level;
    EXPECT_STREQ(g_logInfoLv[CAM_DEBUG_LEVEL_INFO].prefix, "i");
    EXPECT_STREQ(get_filename_log_control("path/File.cpp"), "elsewhere");
}

}  // namespace
