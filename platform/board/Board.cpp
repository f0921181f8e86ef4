#include "Device.h"

#include <zeqcam/board/Board.h>

#include <atomic>
#include <stdexcept>
#include <utility>

namespace zeqcam::board {
namespace {

std::atomic<Device*> gStanding = nullptr;

}  // namespace

Device* standing() {
    return gStanding.load(std::memory_order_acquire);
}

bool inBoard() {
    return tInBoard;
}

struct Board::State {
    std::shared_ptr<Device> device;
};

Board::Board(Settings settings)
    : mState(std::make_unique<State>(State{std::make_shared<Device>(std::move(settings))})) {
    Device* none = nullptr;
    if (!gStanding.compare_exchange_strong(none, mState->device.get())) {
        throw std::logic_error("a board stands already");
    }
    setLogControls(mState->device->settings().log);
}

Board::~Board() {
    mState->device->retire();
    clearLogControls();
    gStanding.store(nullptr, std::memory_order_release);
}

Journal& Board::journal() {
    return mState->device->journal;
}

void Board::change(std::function<void(Settings&)> const& edit) {
    mState->device->change(edit);
}

Settings Board::settings() const {
    return mState->device->settings();
}

bool Board::isPowered(int sensor) const {
    ImageSensor const* const found = mState->device->sensor(sensor);
    return found && found->isPowered();
}

int Board::openHandles() const {
    return mState->device->openHandles.load(std::memory_order_relaxed);
}
int Board::openServices() const {
    return mState->device->openServices.load(std::memory_order_relaxed);
}

std::vector<ExceptionReport> Board::exceptionReports() const {
    return mState->device->exceptionReports();
}

std::vector<CallerFault> Board::callerFaults() const {
    return mState->device->callerFaults();
}

void Board::runHeldTasks() {
    InBoard const inside;
    for (Task const& task : mState->device->takeHeld()) runTask(*mState->device, task);
}

ClientRequest::ClientRequest(Board& board, std::string client, std::string request, std::vector<int> sensors)
    : mBoard(board), mClient(std::move(client)), mRequest(std::move(request)) {
    note(mBoard.journal(), [&] {
        return Entry{
            .kind = Kind::Request, .text = mClient, .detail = mRequest, .sensors = std::move(sensors)};
    });
}

ClientRequest::~ClientRequest() {
    note(mBoard.journal(), [this] {
        return Entry{.kind = Kind::Reply, .number = mResult, .text = mClient, .detail = mRequest};
    });
}

bool ClientRequest::replies(bool result) {
    return mResult = result;
}

}  // namespace zeqcam::board
