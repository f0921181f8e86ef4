// Fails the build when a place in a virtual table or a field of a record shifts: the library, its clients and
// the platform are built apart and meet in memory alone.

#include "utils/hw/poweronoffcontroller/Hal3AListener.h"
#include "utils/hw/poweronoffcontroller/PowerOnOffController.h"

#include <zeqcam/IPowerOnOffListener.h>
#include <zeqcam/platform/CentralTaskMgr.h>
#include <zeqcam/platform/Hal3A.h>
#include <zeqcam/platform/IHalSensor.h>
#include <zeqcam/platform/Performance.h>
#include <zeqcam/platform/ULogger.h>

#include <cstddef>
#include <cstring>

#pragma GCC diagnostic ignored "-Winvalid-offsetof"

namespace NSCam {

[[gnu::error("a virtual-table place of the boundary has shifted")]] void placeHasShifted();

// The place of an operation, counted with the first entry as 0. No constant expression may look into a
// pointer to member, so the optimiser does: where the place is right, nothing of the check is left.
template <class Operation>
[[gnu::always_inline]] inline void holdPlace(Operation operation, std::size_t place) {
    struct {
        std::size_t offset;
        std::size_t adjustment;
    } pointer{};
    static_assert(sizeof operation == sizeof pointer);
    std::memcpy(&pointer, &operation, sizeof pointer);
#if defined(__aarch64__) || defined(__arm__)
    std::size_t const offset = pointer.offset;  // there, the adjustment tells that the operation is virtual
#else
    std::size_t const offset = pointer.offset - 1;
#endif
    if (offset != place * sizeof(void*)) placeHasShifted();
}

void holdPlaces();
void holdPlaces() {
    holdPlace(&IHalSensorList::createSensor, 15);
    holdPlace(&IHalSensor::release, 2);
    holdPlace(&IHalSensor::powerOn, 5);
    holdPlace(&IHalSensor::powerOff, 6);
    holdPlace(&IHalSensor::afterPowerOn, 12);
    holdPlace(&CTM::TaskHandle::getFuture, 1);
    holdPlace(&CTM::TaskHandle::setFuture, 4);
    holdPlace(&IPowerBudgetHelper::requestBudget, 4);
    holdPlace(&zeq::hal3a::IHal3AAssist::notifyPowerOn, 2);
    holdPlace(&zeq::hal3a::IHal3AAssist::notifyPowerOff, 3);
    holdPlace(&zeq::hal3a::IPeripheralController::notifyPowerOn, 2);
    holdPlace(&zeq::hal3a::IPeripheralController::notifyPowerOff, 3);
    holdPlace(&Utils::ULog::ULogger::text, 3);

    holdPlace(&IPowerOnOffController::powerOn, 2);
    holdPlace(&IPowerOnOffController::powerOff, 3);
    holdPlace(&IPowerOnOffController::getStatus, 4);
    holdPlace(&IPowerOnOffListener::getName, 2);
    holdPlace(&IPowerOnOffListener::init, 3);
    holdPlace(&IPowerOnOffListener::notifyPowerOn, 4);
    holdPlace(&IPowerOnOffListener::notifyPowerOff, 5);
}

// The exported classes hold these fields in this order and no others.
struct BoundaryCheck {
    struct Controller {
        void* vtable;
        std::string name;
        std::vector<int> sensorIds;
        std::mutex powerOpLock;
        std::unordered_map<unsigned int, std::shared_ptr<PowerOnOffController::Data>> dataMap;
        std::mutex stateLock;
        std::unordered_map<unsigned int, PowerOnOffController::SensorPowerState> stateMap;
        std::shared_ptr<CTM::TaskQueue> taskQueue;
    };
    static_assert(sizeof(PowerOnOffController) == sizeof(Controller));
    static_assert(offsetof(PowerOnOffController, mName) == offsetof(Controller, name));
    static_assert(offsetof(PowerOnOffController, mSensorIds) == offsetof(Controller, sensorIds));
    static_assert(offsetof(PowerOnOffController, mPowerOpLock) == offsetof(Controller, powerOpLock));
    static_assert(offsetof(PowerOnOffController, mDataMap) == offsetof(Controller, dataMap));
    static_assert(offsetof(PowerOnOffController, mStateLock) == offsetof(Controller, stateLock));
    static_assert(offsetof(PowerOnOffController, mStateMap) == offsetof(Controller, stateMap));
    static_assert(offsetof(PowerOnOffController, mTaskQueue) == offsetof(Controller, taskQueue));

    struct Listener {
        void* vtable;
        int sensorIdx;
        std::string name;
        std::shared_ptr<zeq::hal3a::IHal3AAssist> hal3aCtrl;
        std::shared_ptr<zeq::hal3a::IPeripheralController> peripheralCtrl;
    };
    static_assert(sizeof(Hal3AListener) == sizeof(Listener));
    static_assert(offsetof(Hal3AListener, mSensorIdx) == offsetof(Listener, sensorIdx));
    static_assert(offsetof(Hal3AListener, mName) == offsetof(Listener, name));
    static_assert(offsetof(Hal3AListener, mHal3aCtrl) == offsetof(Listener, hal3aCtrl));
    static_assert(offsetof(Hal3AListener, mPeripheralCtrl) == offsetof(Listener, peripheralCtrl));

    using Data = PowerOnOffController::Data;
    static_assert(sizeof(Data) == sizeof(std::shared_ptr<IHalSensor>) + sizeof(Data::mListeners));
    static_assert(offsetof(Data, mHalSensor) == 0);
    static_assert(offsetof(Data, mListeners) == sizeof(std::shared_ptr<IHalSensor>));

    using State = PowerOnOffController::SensorPowerState;
    static_assert(sizeof(State) == 4);
    static_assert(State{0} == State::PowerOff && State{1} == State::PowerOn &&
                  State{2} == State::PowerOngoing);

    static_assert(sizeof(IPowerOnOffController::CreationInfo) == sizeof(std::vector<int>));
    static_assert(sizeof(IPowerOnOffController) == sizeof(void*) &&
                  sizeof(IPowerOnOffListener) == sizeof(void*));

    using QueueParam = CTM::CentralTaskMgr::QueueParam;
    static_assert(offsetof(QueueParam, name) == 0 && offsetof(QueueParam, type) == sizeof(std::string));
};

}  // namespace NSCam
