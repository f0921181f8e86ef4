#include "utils/hw/poweronoffcontroller/PowerOnOffController.h"

#include "diagnostics/Log.h"
#include "diagnostics/Trace.h"
#include "utils/hw/poweronoffcontroller/Hal3AListener.h"
#include "utils/hw/poweronoffcontroller/SensorPowerOnLock.h"
#include "utils/hw/poweronoffcontroller/SharedDescriptor.h"

#include <zeqcam/IPowerOnOffListener.h>
#include <zeqcam/platform/AndroidLog.h>
#include <zeqcam/platform/CamProfile.h>
#include <zeqcam/platform/CentralTaskMgr.h>
#include <zeqcam/platform/IHalSensor.h>
#include <zeqcam/platform/Performance.h>
#include <zeqcam/platform/Properties.h>
#include <zeqcam/platform/UlxException.h>

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <exception>
#include <future>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

#define ZEQCAM_LOG_TAG "zeqcam-PowerOnOffController"
#define ZEQCAM_LOG_PREFIX "[PowerOnOffController::%s] "
#define ZEQCAM_LOG_PREFIX_VALUES __FUNCTION__

// Threads may still wait at process exit, so what they share is never destroyed.
#if defined(__clang__)
#define ZEQCAM_NEVER_DESTROYED [[clang::no_destroy]]
#else
#define ZEQCAM_NEVER_DESTROYED
#endif

namespace NSCam {
namespace {

using CTM::CentralTaskMgr;
using CTM::TaskQueue;
using diagnostics::ScopedTrace;
using Utils::CamProfile;
using Data = PowerOnOffController::Data;
using SensorPowerState = PowerOnOffController::SensorPowerState;
using Records = std::unordered_map<unsigned int, std::shared_ptr<Data>>;
using States = std::unordered_map<unsigned int, SensorPowerState>;

ZEQCAM_NEVER_DESTROYED constinit SensorPowerOnLock gSensorPowerOnLock;

unsigned int keyOf(int sensorId) {
    return static_cast<unsigned int>(sensorId);
}

// A negative id is widened with its sign and shown unsigned: -1 is 18446744073709551615.
std::string decimal(int sensorId) {
    return std::to_string(static_cast<std::uint64_t>(std::int64_t{sensorId}));
}

bool countsAsOn(SensorPowerState state) {
    return state == SensorPowerState::PowerOn || state == SensorPowerState::PowerOngoing;
}

Data const* findRecord(Records const& records, int sensorId) {
    auto const entry = records.find(keyOf(sensorId));
    return entry == records.end() ? nullptr : entry->second.get();
}

// The last one first: it is ready last most often, so that this thread is woken once and not for each. One
// that stands for nothing is passed over.
void waitForAll(std::vector<std::shared_future<void>> const& futures) {
    auto const wait = [](std::shared_future<void> const& future) {
        if (future.valid()) future.wait();
    };
    if (!futures.empty()) wait(futures.back());
    std::for_each(futures.begin(), futures.end(), wait);
}

// ---- Performance hints ----

constexpr int kAndroidLogDebug = 3;
constexpr int kCameraUxScenario = 129;
constexpr int kSetQos = 1;

ZEQCAM_NEVER_DESTROYED constinit SharedDescriptor gQosFile("/sys/rsc/qos/set_task_qos");

// Puts the calling thread into the camera UX scenario of the kernel's task QoS. A thread without the hint
// still powers its sensor on, so a failure is a log line and nothing else.
void writeqos_scen_change() {
    char line[32] = {};
    int const tid = gettid();

    SharedDescriptor::Use file(gQosFile);
    if (file.get() < 0) {
        __android_log_print(kAndroidLogDebug, ZEQCAM_LOG_TAG,
                            "mm interface loadzeq_cameraux_scen failed.:%s\n", std::strerror(errno));
        return;
    }
    // Volatile, because a compiler that knows how long this format can get drops the check.
    int const volatile formatted =
        std::snprintf(line, sizeof line, "%d %d %d %d", tid, kCameraUxScenario, kSetQos, 0);
    int const length = formatted;
    if (length < 0 || length == static_cast<int>(sizeof line)) {
        __android_log_print(kAndroidLogDebug, ZEQCAM_LOG_TAG, "wrong scen (%s)\n", std::strerror(errno));
        return;
    }
    std::size_t const size =
        std::min(strnlen(line, sizeof line) + 1, sizeof line);  // the zero byte is written too
    if (write(file.get(), line, size) < 0) {
        __android_log_print(kAndroidLogDebug, ZEQCAM_LOG_TAG, "write camera_ux failed.:%s\n",
                            std::strerror(errno));
        file.forget();
        return;
    }
    if (Utils::Properties::property_get_int32("vendor.debug.camera.log", 0) >= 1) {
        __android_log_print(kAndroidLogDebug, ZEQCAM_LOG_TAG,
                            "write camera_ux tid:%d isSetQos %d, issuccess\n", tid, kSetQos);
    }
}

constexpr int kPowerOnNice = -20;

// Returns what it was. No result is looked at: a process that may not raise it powers on all the same.
int raisePriority() {
    int const nice = getpriority(PRIO_PROCESS, 0);
    setpriority(PRIO_PROCESS, 0, kPowerOnNice);
    return nice;
}

// Gives the calling thread back the priority that it had.
class CallersPriority {
  public:
    explicit CallersPriority(int nice) : mNice(nice) {}
    ~CallersPriority() {
        if (!mRestored) restore();
    }
    CallersPriority(CallersPriority const&) = delete;
    CallersPriority& operator=(CallersPriority const&) = delete;

    void restore() {
        setpriority(PRIO_PROCESS, 0, mNice);
        mRestored = true;
    }

  private:
    int const mNice;
    bool mRestored = false;
};

// ---- Power-on: admission ----

// Drops every sensor that counts as on and marks the others as powering on.
void admit(std::vector<int>& sensorIds, States& states) {
    auto const isDropped = [&states](int sensorId) {
        auto const entry = states.find(keyOf(sensorId));
        if (entry == states.end()) {
            logWarning("sensorId(%d) is not of this controller, needs skipped", sensorId);
            return true;
        }
        if (countsAsOn(entry->second)) {
            logDebug("sensorId(%d) state: %d, needs skipped", sensorId, static_cast<int>(entry->second));
            return true;
        }
        entry->second = SensorPowerState::PowerOngoing;
        logDebug("sensorId(%d) state: PowerOngoing", sensorId);
        return false;
    };
    sensorIds.erase(std::remove_if(sensorIds.begin(), sensorIds.end(), isDropped), sensorIds.end());
}

// ---- Power-on: records, budget, workers, notification ----

// Releases a sensor's handle in the name of the controller that made it.
struct ReleaseHandle {
    std::string const* caller;

    void operator()(IHalSensor* sensor) const {
        if (sensor != nullptr) sensor->release(caller->c_str());
    }
};

void requestPowerBudget() {
    if (auto* const budget = IPowerBudgetHelper::getInstance()) budget->requestBudget();
}

// Powers one sensor on, on a thread of its own.
class SensorPowerOnWorker {
  public:
    SensorPowerOnWorker(std::string const& caller, CamProfile const& profile, int sensorId,
                        Records const& records)
        : mCaller(caller), mProfile(profile), mSensorId(sensorId), mRecords(records) {}

    void operator()() const {
        std::string const label = "powerOnSensor: " + decimal(mSensorId);
        ScopedTrace const section(label.c_str());

        zeqcam_perfctrl_set_affinity();
        writeqos_scen_change();
        C2PSMachine::markCriticalTask();

        logLine(Debug, "[initSensor] %s", label.c_str());
        Data const* const record = findRecord(mRecords, mSensorId);
        if (record == nullptr) return;

        unsigned int const index = keyOf(mSensorId);
        if (record->mHalSensor->powerOn(mCaller.c_str(), 1, &index) != 0) {
            initListeners(*record);
            record->mHalSensor->afterPowerOn(mCaller.c_str(), index);
        } else {
            std::string const message = "sensorIndex:" + decimal(mSensorId) + " powerOn failed";
            logLine(Error, "[initSensor] %s", message.c_str());
            Utils::Ulx::triggerUlxException(ZEQCAM_LOG_TAG, nullptr,
                                            "\nCRDISPATCH_KEY:HalSensor PowerOn Failed");
        }
    }

  private:
    void initListeners(Data const& record) const {
        for (auto const& listener : record.mListeners) {
            if (!listener) continue;
            listener->init();
            mProfile.print((listener->getName() + " -").c_str());
        }
    }

    std::string const& mCaller;
    CamProfile const& mProfile;
    int const mSensorId;
    Records const& mRecords;  // stand still while workers run
};

// The workers of one power-on. Each has a thread of its own, detached at once: its future is the only link to
// it, so what the thread does after its work, such as destroying its thread-locals, is waited for by nobody.
// No std::async: some standard libraries join its thread when its future is waited for, others wait for ever
// after a thread could not be created.
class SensorPowerOnWorkers {
  public:
    explicit SensorPowerOnWorkers(std::size_t count) { mFutures.reserve(count); }
    // No worker outlives the power-on, whichever way that ends: they use what stands on its stack.
    ~SensorPowerOnWorkers() { waitForAll(mFutures); }
    SensorPowerOnWorkers(SensorPowerOnWorkers const&) = delete;
    SensorPowerOnWorkers& operator=(SensorPowerOnWorkers const&) = delete;

    // False when no thread can be created. The task is shared with this scope, so that without a thread its
    // future goes first: a promise that somebody still waits for would need memory to be broken.
    bool start(SensorPowerOnWorker const& worker) {
        auto const task = std::make_shared<std::packaged_task<void()>>(worker);
        std::shared_future<void> future = task->get_future().share();
        try {
            std::thread([task] { (*task)(); }).detach();
        } catch (std::system_error const&) {
            return false;
        }
        mFutures.push_back(std::move(future));
        return true;
    }

    // Passes on what a worker threw. A sensor that failed to power on is no exception: its worker has
    // reported it.
    void wait() const {
        waitForAll(mFutures);
        for (auto const& future : mFutures) future.get();
    }

  private:
    std::vector<std::shared_future<void>> mFutures;  // in the order of the request
};

// Front to back until one refuses.
bool notifyListeners(Data const& record) {
    return std::all_of(record.mListeners.begin(), record.mListeners.end(),
                       [](auto const& listener) { return !listener || listener->notifyPowerOn(); });
}

// Every sensor's listeners hear of the power-on, also after another sensor's have refused.
bool notifyPowerOn(std::vector<int> const& sensorIds, Records const& records) {
    bool accepted = true;
    for (int const sensorId : sensorIds) {
        Data const* const record = findRecord(records, sensorId);
        if (record != nullptr && !notifyListeners(*record)) accepted = false;
    }
    return accepted;
}

// ---- Power-off ----

// Calls of which one that throws keeps none of the others from being made.
class Attempts {
  public:
    // False when it throws.
    template <class Call>
    bool make(Call const& call) noexcept {
        try {
            call();
            return true;
        } catch (...) {
            if (!mFirstFailure) mFirstFailure = std::current_exception();
            return false;
        }
    }
    [[nodiscard]] std::exception_ptr const& firstFailure() const { return mFirstFailure; }

  private:
    std::exception_ptr mFirstFailure;
};

// The power-off of one sensor, as many times as a request names it. The task queue and the thread that asked
// may both come to run it, at any time and in any order: who claims one of its times runs it, who finds none
// left leaves it and all that it refers to alone. Two of its times never overlap, nor does one wait for the
// other: who comes while another is at it leaves its time to that one, which may be itself, further out.
class PowerOffTask {
  public:
    PowerOffTask(std::string const& caller, int sensorId, Records const& records)
        : mCaller(caller), mSensorId(sensorId), mRecords(records), mLabel("powerOff: " + decimal(sensorId)) {}

    [[nodiscard]] int sensorId() const { return mSensorId; }

    // Before it is posted.
    void addTime() {
        ++mUnclaimed;
        ++mUnfinished;
    }

    [[nodiscard]] bool claim() {
        int left = mUnclaimed.load();
        while (left > 0 && !mUnclaimed.compare_exchange_weak(left, left - 1)) {
        }
        return left > 0;
    }

    // Whoever has claimed a time.
    void run() noexcept {
        if (mUnderWay.fetch_add(1) > 0) return;
        do {
            powerOff();
            if (mUnfinished.fetch_sub(1) == 1) mUnfinished.notify_all();
        } while (mUnderWay.fetch_sub(1) > 1);
    }

    // Until all its times have been run.
    void wait() const {
        for (int left = mUnfinished.load(); left > 0; left = mUnfinished.load()) mUnfinished.wait(left);
    }

    // After the wait. False when the sensor's own power-off threw: nobody knows what became of it, so that it
    // stays on record, and the next power-off tries again.
    [[nodiscard]] bool isOff() const { return mIsOff; }
    // Passes on what a listener or the sensor threw first, after the wait.
    void passOnFailure() const {
        if (mAttempts.firstFailure()) std::rethrow_exception(mAttempts.firstFailure());
    }

  private:
    // A listener that throws keeps neither the others from being told nor the sensor powered.
    void powerOff() {
        ScopedTrace const section(mLabel.c_str());
        Data const* const record = findRecord(mRecords, mSensorId);
        if (record == nullptr) return;
        for (auto const& listener : record->mListeners) {
            mAttempts.make([&] {
                if (listener) listener->notifyPowerOff();
            });
        }
        unsigned int const index = keyOf(mSensorId);
        mIsOff = mAttempts.make([&] { record->mHalSensor->powerOff(mCaller.c_str(), 1, &index); });
    }

    std::string const& mCaller;
    int const mSensorId;
    Records const& mRecords;   // stand still while a claimed task runs
    std::string const mLabel;  // made before a task is posted: a task that runs needs no memory
    Attempts mAttempts;
    bool mIsOff = true;
    std::atomic<int> mUnclaimed{0};
    std::atomic<int> mUnderWay{0};
    std::atomic<int> mUnfinished{0};
};

using PowerOffTasks = std::vector<std::shared_ptr<PowerOffTask>>;

// One for each entry of the request. Entries of one sensor share theirs.
PowerOffTasks makePowerOffTasks(std::string const& caller, std::vector<int> const& sensorIds,
                                Records const& records) {
    PowerOffTasks tasks;
    tasks.reserve(sensorIds.size());
    for (int const sensorId : sensorIds) {
        auto const earlier = std::find_if(tasks.begin(), tasks.end(),
                                          [&](auto const& task) { return task->sensorId() == sensorId; });
        tasks.push_back(earlier != tasks.end() ? *earlier
                                               : std::make_shared<PowerOffTask>(caller, sensorId, records));
        tasks.back()->addTime();
    }
    return tasks;
}

constexpr unsigned int kPostValue = 1;

// Empty when there is no queue, no handle or no future, or when the post fails: the task is then the caller's
// to run, unless the queue has come to it after all.
std::shared_future<void> post(std::shared_ptr<TaskQueue>& queue, std::shared_ptr<PowerOffTask> const& task) {
    if (!queue) return {};
    try {
        auto const handle = CentralTaskMgr::asyncPost(queue, kPostValue, [task] {
            if (task->claim()) task->run();
        });
        return handle ? handle->getFuture() : std::shared_future<void>();
    } catch (...) {
        return {};
    }
}

void markOff(PowerOffTasks const& tasks, States& states) {
    for (auto const& task : tasks) {
        auto const entry = states.find(keyOf(task->sensorId()));
        if (task->isOff() && entry != states.end()) entry->second = SensorPowerState::PowerOff;
    }
}

}  // namespace

// ---- The interface ----

IPowerOnOffController::~IPowerOnOffController() = default;

std::shared_ptr<IPowerOnOffController> IPowerOnOffController::create(CreationInfo const& info) {
    return std::make_shared<PowerOnOffController>(info);
}

void IPowerOnOffController::waitSensorsPowerOff() {
    gSensorPowerOnLock.wait();
}

// ---- The controller ----

PowerOnOffController::PowerOnOffController() = default;

PowerOnOffController::PowerOnOffController(CreationInfo const& info) : mSensorIds(info.sensorIds) {
    for (int const sensorId : mSensorIds) mStateMap.emplace(keyOf(sensorId), SensorPowerState::PowerOff);
    mTaskQueue = CentralTaskMgr::createQueue({.name = "powerOnOffCtrl", .type = 0});
}

PowerOnOffController::~PowerOnOffController() {
    Attempts attempts;
    for (auto const& [key, record] : mDataMap) {
        if (!record) continue;
        for (auto const& listener : record->mListeners) {
            logWarning("release but something(%d) still in list", static_cast<int>(key));
            attempts.make([&told = listener] {
                if (told) told->notifyPowerOff();
            });
        }
        attempts.make(
            [&, &sensor = record->mHalSensor, index = key] { sensor->powerOff(mName.c_str(), 1, &index); });
    }
    mStateMap.clear();
    mTaskQueue.reset();
    mDataMap.clear();
    gSensorPowerOnLock.releaseHeldBy(this);  // a waiter finds every handle released
}

std::unordered_map<unsigned int, bool> PowerOnOffController::getStatus() {
    std::lock_guard const state(mStateLock);
    std::unordered_map<unsigned int, bool> status(mStateMap.size());
    for (auto const& [key, powerState] : mStateMap) status.emplace(key, countsAsOn(powerState));
    return status;
}

// Marks the admitted sensors as on when their power-on has ended, whichever way.
class PowerOnOffController::SettledStates {
  public:
    SettledStates(PowerOnOffController& controller, std::vector<int> const& sensorIds)
        : mController(controller), mSensorIds(sensorIds) {}
    ~SettledStates() {
        std::lock_guard const state(mController.mStateLock);
        for (int const sensorId : mSensorIds) {
            mController.mStateMap.find(keyOf(sensorId))->second = SensorPowerState::PowerOn;
        }
    }
    SettledStates(SettledStates const&) = delete;
    SettledStates& operator=(SettledStates const&) = delete;

  private:
    PowerOnOffController& mController;
    std::vector<int> const& mSensorIds;
};

bool PowerOnOffController::powerOn(std::vector<int> sensorIds) {
    if (sensorIds.empty()) return true;

    // The outcome is for the log alone: a busy lock keeps nobody from powering on. Once taken it stays held
    // beyond this call, until a power-off or the destructor releases it, on whatever thread.
    if (gSensorPowerOnLock.tryAcquire(this)) {
        logDebug("get PowerOnLock, Sensor power on");
    } else {
        logDebug(" failed to get PowerOnLock, exist power on sensor or waitSensorsPowerOff() operating");
    }

    std::lock_guard const powerOp(mPowerOpLock);
    {
        std::lock_guard const state(mStateLock);
        admit(sensorIds, mStateMap);
    }
    SettledStates const settled(*this, sensorIds);
    return powerOnOps(sensorIds);
}

bool PowerOnOffController::powerOnOps(std::vector<int> const& sensorIds) {
    if (sensorIds.empty()) return true;

    logInfo("powerOn +");
    // Raised before the section opens; whichever way this ends, back before the profile and the section
    // close.
    int const callersNice = raisePriority();
    ScopedTrace const section("LogicalDev powerOn");
    std::optional<CamProfile> profile;
    CallersPriority callersPriority(callersNice);
    writeqos_scen_change();
    C2PSMachine::markCriticalTask();
    profile.emplace("powerOnOps", mName.c_str());

    for (int const sensorId : sensorIds) {
        std::shared_ptr<Data> record = createData(sensorId);
        if (!record) {
            logError("create data fail");
            return false;
        }
        logDebug(mDataMap.count(keyOf(sensorId)) == 0 ? "add new data" : "replace data");
        mDataMap.insert_or_assign(keyOf(sensorId), std::move(record));
    }

    requestPowerBudget();

    SensorPowerOnWorkers workers(sensorIds.size());
    for (int const sensorId : sensorIds) {
        if (!workers.start({mName, *profile, sensorId, mDataMap})) {
            logError("create worker fail");
            return false;
        }
    }
    workers.wait();
    profile->print("Sensor powerOn -");

    logInfo("3A notifyPowerOn");
    bool const accepted = notifyPowerOn(sensorIds, mDataMap);
    profile->print("3A notifyPowerOn -");

    callersPriority.restore();
    logInfo("powerOn -");
    return accepted;
}

std::shared_ptr<PowerOnOffController::Data> PowerOnOffController::createData(int sensorIdx) {
    IHalSensorList* const sensorList = IHalSensorList::get();
    if (sensorList == nullptr) {
        logError("Bad HalSensorList");
        return nullptr;
    }
    std::shared_ptr<IHalSensor> sensor(sensorList->createSensor(mName.c_str(), sensorIdx),
                                       ReleaseHandle{&mName});
    if (!sensor) {
        logError("Bad HalSensor - sensorId=%d", sensorIdx);
        return nullptr;
    }
    auto listener = std::make_shared<Hal3AListener>(sensorIdx, mName);
    auto record = std::make_shared<Data>();
    record->mHalSensor = std::move(sensor);
    record->mListeners.push_back(std::move(listener));
    return record;
}

void PowerOnOffController::powerOff(std::vector<int> sensorIds) {
    if (sensorIds.empty()) return;

    std::lock_guard const powerOp(mPowerOpLock);
    logInfo("powerOff +");
    ScopedTrace const section("LogicalDev powerOff");

    PowerOffTasks const tasks = makePowerOffTasks(mName, sensorIds, mDataMap);
    std::vector<std::shared_future<void>> queued(tasks.size());
    bool const onQueue = sensorIds.size() > 1;  // one sensor is not worth a thread switch
    for (std::size_t i = 0; onQueue && i < tasks.size(); ++i) queued[i] = post(mTaskQueue, tasks[i]);

    // Nothing from the first post to the last wait throws: no task is left to a queue that this call does not
    // wait for. What the queue has not run by then, since there is none or it dropped the task, runs here.
    waitForAll(queued);
    for (auto const& task : tasks) {
        if (!task->claim()) continue;
        if (onQueue) {
            logWarning("sensorId(%d) power-off not queued, runs on the caller's thread", task->sensorId());
        }
        task->run();
    }
    for (auto const& task : tasks) task->wait();

    for (auto const& task : tasks) {
        if (task->isOff()) mDataMap.erase(keyOf(task->sensorId()));
    }
    if (mDataMap.empty()) {
        logDebug("gSensorPowerOnLock unlock");
        gSensorPowerOnLock.release();
    }
    logInfo("powerOff -");
    {
        std::lock_guard const state(mStateLock);
        markOff(tasks, mStateMap);
    }
    for (auto const& task : tasks) task->passOnFailure();
}

}  // namespace NSCam
