#include "PowerTest.h"
#include "utils/hw/poweronoffcontroller/PowerOnOffController.h"

#include <zeqcam/IPowerOnOffListener.h>

#include <algorithm>
#include <future>
#include <latch>
#include <new>
#include <optional>

namespace zeqcam::tests {
namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;

std::vector<Kind> const kNoise = {Kind::DebugPrint, Kind::FilenameText, Kind::AndroidLog, Kind::PropertyGet};

// What a product does that has listeners of its own.
class Listener : public NSCam::IPowerOnOffListener {
  public:
    Listener(std::string name, bool accepts, std::vector<std::string>& told)
        : mName(std::move(name)), mAccepts(accepts), mTold(told) {}
    ~Listener() override { mTold.push_back(mName + " gone"); }
    std::string getName() override { return mName; }
    bool init() override {
        mTold.push_back(mName + " init");
        return false;
    }
    bool notifyPowerOn() override {
        mTold.push_back(mName + " on");
        return mAccepts;
    }
    bool notifyPowerOff() override {
        mTold.push_back(mName + " off");
        return false;
    }

  private:
    std::string mName;
    bool mAccepts;
    std::vector<std::string>& mTold;
};

class ProductController : public NSCam::PowerOnOffController {
  public:
    using PowerOnOffController::PowerOnOffController;
    // The sensor's listeners, from the front; a power-on holds the lock and its worker waits in the sensor
    // meanwhile.
    void addListeners(unsigned int sensor, std::vector<std::shared_ptr<NSCam::IPowerOnOffListener>> listeners)
        ZEQCAM_THREAD_ANNOTATION(no_thread_safety_analysis) {
        mDataMap.at(sensor)->mListeners = std::move(listeners);
    }
    using PowerOnOffController::createData;
    using PowerOnOffController::Data;
};

class ProductTest : public PowerTest {
  protected:
    void SetUp() override {
        PowerTest::SetUp();
        mController.emplace(NSCam::IPowerOnOffController::CreationInfo{{0, 1}});
    }
    void TearDown() override {
        mController.reset();
        PowerTest::TearDown();
    }
    // An id that is named twice in one request is powered off twice.
    void expectPowerOffsOfSensorsThatAreOff() {
        board().expectFaults(testing::Each("power-off of a sensor that is off: 0"));
    }
    // Powers sensors 0 and 1 on, with these listeners of sensor 0.
    bool powerOnWith(std::vector<std::shared_ptr<NSCam::IPowerOnOffListener>> listeners) {
        journal().clear();
        board().change([](board::Settings& settings) { settings.sensors[0].powerOnHangs = true; });
        auto powerOn = std::async(std::launch::async, [&] { return mController->powerOn({0, 1}); });
        journal().waitUntil([](std::vector<Entry> const& told) {
            return std::any_of(told.begin(), told.end(), [](Entry const& entry) {
                return entry.kind == Kind::SensorPowerOn && entry.sensor == 0;
            });
        });
        mController->addListeners(0, std::move(listeners));
        board().change([](board::Settings& settings) { settings.sensors[0].powerOnHangs = false; });
        return powerOn.get();
    }

    std::vector<std::string> mTold;
    std::optional<ProductController> mController;
};

TEST_F(ProductTest, ARefusalEndsThatSensorsNotificationsAndFailsThePowerOn) {
    auto const accepting = std::make_shared<Listener>("a", true, mTold);
    auto const refusing = std::make_shared<Listener>("b", false, mTold);
    auto const later = std::make_shared<Listener>("c", true, mTold);
    EXPECT_FALSE(powerOnWith({accepting, nullptr, refusing, later}));
    EXPECT_THAT(mTold, ElementsAre("a init", "b init", "c init", "a on", "b on"));
    auto const story = tell(without(entries(), kNoise));
    EXPECT_THAT(story, testing::IsSupersetOf({"ProfileMark a -", "ProfileMark b -", "{ 3A notifyPowerOn",
                                              "ProfileMark 3A notifyPowerOn -",
                                              "I [PowerOnOffController::powerOnOps] powerOn -"}));
    mTold.clear();
    mController->powerOff({0, 1});
    EXPECT_THAT(mTold, ElementsAre("a off", "b off", "c off"));
}

TEST_F(ProductTest, PrintsAListenersNameAsAFormat) {
    EXPECT_TRUE(powerOnWith({std::make_shared<Listener>("100%%", true, mTold)}));
    auto const marks = journal().entries(Kind::ProfileMark);
    ASSERT_EQ(marks.size(), 4U);
    for (Entry const& mark : {marks[0], marks[1]}) {
        bool const isOwn = mark.text == "100% -";
        EXPECT_EQ(mark.format, isOwn ? "100%% -" : "Hal3A -");
        EXPECT_TRUE(isOwn || mark.text == "Hal3A -") << mark.text;
    }
}

TEST_F(ProductTest, ReleasesListenersFromTheLastToTheFirstAndThenTheHandle) {
    EXPECT_TRUE(powerOnWith({std::make_shared<Listener>("a", true, mTold), nullptr,
                             std::make_shared<Listener>("b", true, mTold)}));
    mTold.clear();
    mController->powerOff({0});
    EXPECT_THAT(mTold, ElementsAre("a off", "b off", "b gone", "a gone"));
}

// Throws while memory is short.
class ShortOfMemory final : public Listener {
  public:
    ShortOfMemory(bool& isShort, std::vector<std::string>& told)
        : Listener("short", true, told), mIsShort(isShort) {}
    bool init() override { return passes(); }
    bool notifyPowerOff() override { return passes(); }

  private:
    bool passes() const {
        if (mIsShort) throw std::bad_alloc();
        return true;
    }
    bool& mIsShort;
};

TEST_F(ProductTest, AListenerThatThrowsKeepsNoSensorPowered) {
    expectPowerOffsOfSensorsThatAreOff();
    for (std::vector<int> const& request : std::vector<std::vector<int>>{{0}, {0, 1}, {0, 0, 1}}) {
        bool isShort = false;
        auto const throwing = std::make_shared<ShortOfMemory>(isShort, mTold);
        auto const later = std::make_shared<Listener>("later", true, mTold);
        EXPECT_TRUE(powerOnWith({throwing, later}));
        isShort = true;
        mTold.clear();
        EXPECT_THROW(mController->powerOff(request), std::bad_alloc);
        EXPECT_EQ(static_cast<std::ptrdiff_t>(mTold.size()), std::count(request.begin(), request.end(), 0))
            << "the others are told";
        EXPECT_FALSE(mController->getStatus().at(0));
        EXPECT_FALSE(board().isPowered(0));
        EXPECT_EQ(logLines(entries()).back(), "I [PowerOnOffController::powerOff] powerOff -");
        mController->powerOff({1});
        EXPECT_EQ(board().openHandles(), 0);
    }
}

TEST_F(ProductTest, AListenerThatThrowsKeepsNoSensorPoweredWhenItsControllerGoes) {
    bool isShort = true;
    EXPECT_THROW(powerOnWith({std::make_shared<ShortOfMemory>(isShort, mTold),
                              std::make_shared<Listener>("later", true, mTold)}),
                 std::bad_alloc);
    mTold.clear();
    mController.reset();
    EXPECT_EQ(mTold.front(), "later off");
    EXPECT_FALSE(board().isPowered(0));
    mController.emplace();
}

// Ends its thread only when it may.
struct LateEnd {
    ~LateEnd() {
        if (mayEnd != nullptr) mayEnd->wait();
    }
    std::shared_ptr<std::latch> mayEnd;
};

TEST_F(ProductTest, WaitsForWorkersAndNotForWhatTheirThreadsDoAfterwards) {
    auto const mayEnd = std::make_shared<std::latch>(1);
    class KeepsThread final : public Listener {
      public:
        KeepsThread(std::shared_ptr<std::latch> mayEnd, std::vector<std::string>& told)
            : Listener("keeps", true, told), mMayEnd(std::move(mayEnd)) {}
        bool init() override {
            thread_local LateEnd end;
            end.mayEnd = mMayEnd;
            return true;
        }

      private:
        std::shared_ptr<std::latch> const mMayEnd;
    };
    EXPECT_TRUE(powerOnWith({std::make_shared<KeepsThread>(mayEnd, mTold)}));
    mController->powerOff({0, 1});
    mController.reset();
    mayEnd->count_down();
    mController.emplace();
}

// Runs what the queue holds on its own thread, as a platform call may that waits for something else there.
class Pumps final : public Listener {
  public:
    Pumps(board::Board& board, std::vector<std::string>& told)
        : Listener("pumps", true, told), mBoard(board), mTold(told) {}
    bool notifyPowerOff() override {
        mTold.emplace_back("begin");
        mBoard.runHeldTasks();
        mTold.emplace_back("end");
        return true;
    }

  private:
    board::Board& mBoard;
    std::vector<std::string>& mTold;
};

TEST_F(ProductTest, ATaskThatRunsInsideAnotherOfItsSensorWaitsForNobody) {
    expectPowerOffsOfSensorsThatAreOff();
    board().change([](board::Settings& settings) {
        settings.queue = {.runs = board::TaskRuns::Held, .handles = board::TaskHandles::NoHandle};
    });
    mController.emplace(NSCam::IPowerOnOffController::CreationInfo{{0, 1}});
    EXPECT_TRUE(powerOnWith({std::make_shared<Pumps>(board(), mTold)}));
    mTold.clear();
    mController->powerOff({0, 0, 1, 0});
    EXPECT_THAT(mTold, ElementsAre("begin", "end", "begin", "end", "begin", "end", "pumps gone"))
        << "one after another";
    EXPECT_EQ(journal().entries(Kind::SensorPowerOff).size(), 4U);
}

TEST_F(ProductTest, AListenerThatThrowsWhenTheSensorIsUpEndsThePowerOnWithItsSensorsOn) {
    bool isShort = true;
    EXPECT_THROW(powerOnWith({std::make_shared<ShortOfMemory>(isShort, mTold)}), std::bad_alloc);
    EXPECT_THAT(mController->getStatus(), UnorderedElementsAre(std::pair(0U, true), std::pair(1U, true)));
    EXPECT_EQ(journal().entries(Kind::SensorAfterPowerOn).size(), 1U) << "the other worker has finished";
    isShort = false;
    mController->powerOff({0, 1});
    EXPECT_FALSE(board().isPowered(0));
}

TEST_F(ProductTest, ARecordWithoutListenersPowersOnAndOff) {
    EXPECT_TRUE(powerOnWith({}));
    EXPECT_EQ(journal().entries(Kind::SensorAfterPowerOn).size(), 2U);
    EXPECT_EQ(tell(journal().entries(Kind::ProfileMark)).size(), 3U);
}

}  // namespace
}  // namespace zeqcam::tests
