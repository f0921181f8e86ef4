#include "Rail.h"

#include "Device.h"

#include <limits>
#include <utility>

namespace zeqcam::board {
namespace {

int atOnce(Device const& device, std::string const& supply) {
    auto const& supplies = device.settings().supplies;
    auto const found = supplies.find(supply);
    bool const isBound = found != supplies.end() && !device.isRetired();
    return isBound ? found->second.atOnce : std::numeric_limits<int>::max();
}

}  // namespace

Rail::Place::Place(std::shared_ptr<Rail> rail, Device& device, int sensor, std::string const& supply)
    : mRail(std::move(rail)) {
    if (!mRail) return;
    mRail->enter(device, supply);
    note(device.journal, [&] { return Entry{.kind = Kind::SupplyGiven, .sensor = sensor, .text = supply}; });
}

Rail::Place::~Place() {
    if (mRail) mRail->leave();
}

void Rail::wake() {
    std::lock_guard const hold(mLock);
    mChanged.notify_all();
}

void Rail::enter(Device const& device, std::string const& supply) {
    std::lock_guard const hold(mLock);
    std::uint64_t const own = mNext++;
    while (mTurn != own || mComingUp >= atOnce(device, supply)) mChanged.wait(mLock);
    ++mTurn;
    ++mComingUp;
    mChanged.notify_all();  // the next may find a place too
}

void Rail::leave() {
    std::lock_guard const hold(mLock);
    --mComingUp;
    mChanged.notify_all();
}

}  // namespace zeqcam::board
