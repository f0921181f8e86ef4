// The least that can stand behind the library: sensors and services that tell of each call, a queue that runs
// a task as it is posted, a debug print of error lines, and no other log, no trace, no hint. It takes the
// board's place, and knows nothing of it.

#include <zeqcam/platform/AndroidLog.h>
#include <zeqcam/platform/Atrace.h>
#include <zeqcam/platform/CamProfile.h>
#include <zeqcam/platform/CentralTaskMgr.h>
#include <zeqcam/platform/DebugPrint.h>
#include <zeqcam/platform/Hal3A.h>
#include <zeqcam/platform/IHalSensor.h>
#include <zeqcam/platform/Performance.h>
#include <zeqcam/platform/Properties.h>
#include <zeqcam/platform/ULogger.h>
#include <zeqcam/platform/UlxException.h>

#include <cstdio>
#include <cstring>
#include <utility>

namespace NSCam {
namespace {

void tell(char const* call, unsigned int sensor) {
    std::printf("bare platform: %s %u\n", call, sensor);
}

// Zero from `powerOn` would be a failure; what the other operations return, nobody looks at.
class Sensor final : public IHalSensor {
  public:
    explicit Sensor(int index) : mIndex(static_cast<unsigned int>(index)) {}
    void release(char const*) override {
        tell("release", mIndex);
        delete this;
    }
    std::int32_t powerOn(char const*, std::uint32_t count, std::uint32_t const* indices) override {
        tell("power on", indices[count - 1]);
        return 1;
    }
    std::int32_t powerOff(char const*, std::uint32_t count, std::uint32_t const* indices) override {
        tell("power off", indices[count - 1]);
        return 1;
    }
    std::int32_t afterPowerOn(char const*, std::uint32_t index) override {
        tell("after power on", index);
        return 1;
    }

  private:
    unsigned int const mIndex;
};

class SensorList final : public IHalSensorList {
  public:
    IHalSensor* createSensor(char const*, int index) override {
        return index == kMissing ? nullptr : new Sensor(index);
    }

  private:
    static constexpr int kMissing = 7;
};

template <class Interface>
class Service final : public Interface {
  public:
    Service(char const* on, char const* off, unsigned int sensor) : mOn(on), mOff(off), mSensor(sensor) {}
    std::int32_t notifyPowerOn() override {
        tell(mOn, mSensor);
        return 0;
    }
    std::int32_t notifyPowerOff() override {
        tell(mOff, mSensor);
        return 0;
    }

  private:
    char const* const mOn;
    char const* const mOff;
    unsigned int const mSensor;
};

class Budget final : public IPowerBudgetHelper {
  public:
    void requestBudget() override { std::puts("bare platform: budget"); }
};

class Handle final : public CTM::TaskHandle {
  public:
    std::shared_future<void> getFuture() override { return mFuture; }
    void setFuture(std::shared_future<void> future) override { mFuture = std::move(future); }

  private:
    std::shared_future<void> mFuture;
};

}  // namespace

IHalSensorList* IHalSensorList::get() {
    static SensorList list;
    return &list;
}

IPowerBudgetHelper* IPowerBudgetHelper::getInstance() {
    static Budget budget;
    return &budget;
}

namespace CTM {

class TaskQueue {};

std::shared_ptr<TaskQueue> CentralTaskMgr::createQueue(QueueParam const& param) {
    std::printf("bare platform: queue %s\n", param.name.c_str());
    return std::make_shared<TaskQueue>();
}

std::shared_ptr<TaskHandle> CentralTaskMgr::_asyncPost(std::shared_ptr<TaskQueue>&, unsigned int,
                                                       std::unique_ptr<std::function<void()>>& function) {
    std::puts("bare platform: post");
    (*function)();
    return std::make_shared<Handle>();
}

}  // namespace CTM

namespace Utils {

std::uint32_t ULog::ULogger::sDetailsLevel = 0;
std::uint32_t ULog::ULogger::sNormalDetailsMask = 0;
std::uint32_t ULog::ULogger::sMode = 0x1;
ULog::ULogger* ULog::ULogger::sULogger = nullptr;

CamProfile::CamProfile(char const*, char const*) : mOpaque{} {}
CamProfile::~CamProfile() = default;
void CamProfile::print(char const*, ...) const {}

std::int32_t Properties::property_get_int32(char const*, std::int32_t defaultValue) {
    return defaultValue;
}

void Ulx::triggerUlxException(char const*, char const*, char const*, ...) {}

}  // namespace Utils
}  // namespace NSCam

namespace zeq::hal3a {

std::shared_ptr<IHal3AAssist> IHal3AAssist::createInstance(unsigned int sensorIndex) {
    return std::make_shared<NSCam::Service<IHal3AAssist>>("3A on", "3A off", sensorIndex);
}

std::shared_ptr<IPeripheralController> IPeripheralController::GetInstance(unsigned int sensorIndex) {
    return std::make_shared<NSCam::Service<IPeripheralController>>("peripherals on", "peripherals off",
                                                                   sensorIndex);
}

}  // namespace zeq::hal3a

int C2PSMachine::markCriticalTask() {
    return 0;
}

extern "C" {

// Errors alone are enabled.
cam_debug_level_record g_logInfoLv[4] = {{}, {.flags = 0x80, .prefix = "prefix "}, {}, {}};

int zeqcam_perfctrl_set_affinity() {
    return 0;
}
int __android_log_print(int, char const*, char const*, ...) {
    return 0;
}
void log_dbg_print(char const*, cam_debug_level_t, char const* format, ...) {
    std::printf("bare platform: print %.*s\n", static_cast<int>(std::strcspn(format, ":")), format);
    g_logInfoLv[CAM_DEBUG_LEVEL_ERROR].prefix = "prefix ";
}
// Who asks for the prefix only now gets another one.
char const* get_filename_log_control(char const*) {
    g_logInfoLv[CAM_DEBUG_LEVEL_ERROR].prefix = "late prefix ";
    return "file";
}
std::uint64_t atrace_get_enabled_tags() {
    return 0;
}
void atrace_begin_body(char const*) {}
void atrace_end_body() {}
}
