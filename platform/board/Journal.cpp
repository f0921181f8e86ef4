#include "SimulationHooks.h"

#include <zeqcam/ThreadSafety.h>
#include <zeqcam/board/Journal.h>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <mutex>
#include <utility>

namespace zeqcam::board {
namespace {

constexpr std::size_t kShards = 64;
constexpr std::size_t kBlock = 64;  // entries: an earlier one is never moved to make room

// An order number is drawn under the lock of the entry's shard: whoever reads the counter and then takes
// every lock in turn has seen all entries below what was read. Released, but not acquired: the counter must
// not order the threads that draw from it.
std::atomic<std::uint64_t> gNextOrder = 1;

std::size_t shardOfThisThread() {
    static std::atomic<std::size_t> next = 0;
    thread_local std::size_t const shard = next.fetch_add(1, std::memory_order_relaxed) % kShards;
    return shard;
}

int threadId() {
    thread_local int const id = gettid();
    return id;
}

}  // namespace

struct Journal::State {
    struct alignas(64) Shard {
        mutable std::mutex lock;
        std::vector<std::vector<Entry>> blocks ZEQCAM_GUARDED_BY(lock);

        void add(Entry entry) ZEQCAM_REQUIRES(lock) {
            if (blocks.empty() || blocks.back().size() == kBlock) blocks.emplace_back().reserve(kBlock);
            blocks.back().push_back(std::move(entry));
        }
    };

    template <class Visit>
    void visit(Visit const& visit) const {
        std::uint64_t const end = gNextOrder.load(std::memory_order_acquire);
        for (Shard const& shard : shards) {
            std::lock_guard const hold(shard.lock);
            for (auto const& block : shard.blocks) {
                for (Entry const& entry : block) {
                    if (entry.order < end) visit(entry);
                }
            }
        }
    }

    // `use` is called for each entry that goes.
    template <class Use>
    void remove(Use const& use) {
        std::uint64_t const end = gNextOrder.load(std::memory_order_acquire);
        for (Shard& shard : shards) {
            std::lock_guard const hold(shard.lock);
            for (auto& block : shard.blocks) {
                for (Entry& entry : block) {
                    if (entry.order < end) use(entry);
                }
                std::erase_if(block, [end](Entry const& entry) { return entry.order < end; });
            }
            std::erase_if(shard.blocks, [](auto const& block) { return block.empty(); });
        }
    }

    template <class Reached>
    void wait(Reached const& reached) const {
        for (;;) {
            int const seen = added.load(std::memory_order_acquire);
            if (reached()) return;
            added.wait(seen, std::memory_order_acquire);
        }
    }

    std::atomic<bool> on = true;
    std::atomic<int> added = 0;
    std::array<Shard, kShards> shards;
};

Journal::Journal() : mState(std::make_unique<State>()) {}
Journal::~Journal() = default;

void Journal::setOn(bool on) {
    mState->on.store(on, std::memory_order_relaxed);
}
bool Journal::isOn() const {
    return mState->on.load(std::memory_order_relaxed);
}

void Journal::add(Entry entry) {
    if (!isOn()) return;
    entry.thread = threadId();
    State::Shard& shard = mState->shards[shardOfThisThread()];
    {
        std::lock_guard const hold(shard.lock);
        meetsOthersAt(&gNextOrder);  // a reader sees which entry came first
        entry.time = std::chrono::steady_clock::now();
        entry.order = gNextOrder.fetch_add(1, std::memory_order_release);
        shard.add(std::move(entry));
    }
    mState->added.fetch_add(1, std::memory_order_release);
    mState->added.notify_all();
}

std::vector<Entry> Journal::entries() const {
    std::vector<Entry> all;
    mState->visit([&](Entry const& entry) { all.push_back(entry); });
    std::sort(all.begin(), all.end(), [](Entry const& a, Entry const& b) { return a.order < b.order; });
    return all;
}

std::vector<Entry> Journal::entries(Kind kind) const {
    std::vector<Entry> some = entries();
    std::erase_if(some, [kind](Entry const& entry) { return entry.kind != kind; });
    return some;
}

std::vector<Entry> Journal::take() {
    std::vector<Entry> taken;
    mState->remove([&](Entry& entry) { taken.push_back(std::move(entry)); });
    std::sort(taken.begin(), taken.end(), [](Entry const& a, Entry const& b) { return a.order < b.order; });
    return taken;
}

void Journal::clear() {
    mState->remove([](Entry const&) {});
}

void Journal::waitUntil(std::function<bool(std::vector<Entry> const&)> const& enough) const {
    mState->wait([&] { return enough(entries()); });
}

void Journal::waitFor(Kind kind, std::size_t count) const {
    mState->wait([&] {
        std::size_t found = 0;
        mState->visit([&](Entry const& entry) { found += entry.kind == kind ? 1 : 0; });
        return found >= count;
    });
}

std::string_view nameOf(Kind kind) {
#define NAME(kind)   \
    case Kind::kind: \
        return #kind
    switch (kind) {
        NAME(Request);
        NAME(Reply);
        NAME(SensorListGet);
        NAME(SensorCreate);
        NAME(SensorRelease);
        NAME(SensorPowerOn);
        NAME(SensorPowerOnDone);
        NAME(SensorPowerOff);
        NAME(SensorPowerOffDone);
        NAME(SensorAfterPowerOn);
        NAME(Hal3AGet);
        NAME(Hal3APowerOn);
        NAME(Hal3APowerOff);
        NAME(Hal3ARelease);
        NAME(PeripheralGet);
        NAME(PeripheralPowerOn);
        NAME(PeripheralPowerOff);
        NAME(PeripheralRelease);
        NAME(QueueCreate);
        NAME(QueueRelease);
        NAME(TaskPost);
        NAME(TaskSetFuture);
        NAME(TaskFuture);
        NAME(TaskRun);
        NAME(TaskRunDone);
        NAME(TaskDrop);
        NAME(Affinity);
        NAME(CriticalTask);
        NAME(PowerBudgetGet);
        NAME(PowerBudget);
        NAME(QosOpen);
        NAME(QosWrite);
        NAME(QosWriteDone);
        NAME(QosClose);
        NAME(DebugPrint);
        NAME(FilenameText);
        NAME(UnifiedLog);
        NAME(AndroidLog);
        NAME(TraceTags);
        NAME(TraceBegin);
        NAME(TraceEnd);
        NAME(ProfileBegin);
        NAME(ProfileMark);
        NAME(ProfileEnd);
        NAME(PropertyGet);
        NAME(ExceptionReport);
        NAME(CallerFault);
        NAME(SupplyGiven);
    }
#undef NAME
    return "?";
}

}  // namespace zeqcam::board
