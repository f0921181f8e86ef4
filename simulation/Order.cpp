#include "Order.h"

#include "Mix.h"

#include <algorithm>

namespace zeqcam::simulation {
namespace {

using Clock = OwnVector<std::uint32_t>;

std::uint32_t at(Clock const& clock, std::size_t thread) {
    return thread < clock.size() ? clock[thread] : 0;
}

void set(Clock& clock, std::size_t thread, std::uint32_t step) {
    if (clock.size() <= thread) clock.resize(thread + 1);
    clock[thread] = step;
}

void join(Clock& clock, Clock const& seen) {
    if (clock.size() < seen.size()) clock.resize(seen.size());
    for (std::size_t i = 0; i < seen.size(); ++i) clock[i] = std::max(clock[i], seen[i]);
}

// Whether somebody else's last step there is news to the thread.
bool hasUnseen(Clock const& last, Thread const& thread) {
    auto const own = static_cast<std::size_t>(thread.number);
    for (std::size_t i = 0; i < last.size(); ++i) {
        if (i != own && last[i] > at(thread.past.clock, i)) return true;
    }
    return false;
}

}  // namespace

bool meet(Step const& one, Step const& other) {
    auto const sees = [](Step const& step, void const* object) {
        return object != nullptr && (step.object == object || step.lock == object);
    };
    if (one.access == Access::Read && other.access == Access::Read) return false;
    return sees(one, other.object) || sees(one, other.lock);
}

void Order::started(Thread* parent, Thread& thread) {
    if (parent != nullptr) thread.past.clock = parent->past.clock;
    thread.past.hash = mix(thread.identity);
    mState += mix(thread.past.hash);
}

void Order::takes(Thread& thread, Time now) {
    Past& past = thread.past;
    auto const own = static_cast<std::size_t>(thread.number);
    set(past.clock, own, at(past.clock, own) + 1);
    mState -= mix(past.hash);
    past.hash = mix(past.hash, static_cast<std::uint64_t>(now));
    Step const& step = thread.step;
    thread.sleeps = false;
    for (Thread* const other : scheduler()->live()) {
        if (other != &thread && other->sleeps && meet(other->step, step)) other->sleeps = false;
    }
    // Nobody can join before the end: that meeting is never open.
    if (step.object != nullptr) {
        past.hash = meets(thread, step.object, step.access, step.target != nullptr);
    }
    if (step.lock != nullptr && step.lock != step.object) {
        past.hash = meets(thread, step.lock, Access::Write, false);
    }
    mState += mix(past.hash);
}

bool Order::isContested(Thread const& thread) const {
    Step const& step = thread.step;
    return step.target == nullptr && (isKnown(step.object) || isKnown(step.lock));
}

bool Order::isKnown(void const* address) const {
    return std::binary_search(mContested.begin(), mContested.end(), address);
}

// Returns the thread's new hash.
std::uint64_t Order::meets(Thread& thread, void const* address, Access access, bool isOrdered) {
    Object& object = mObjects[address];
    auto const own = static_cast<std::size_t>(thread.number);
    Past& past = thread.past;
    bool const writes = access == Access::Write;
    bool const isOpen =
        hasUnseen(object.lastWrites, thread) || (writes && hasUnseen(object.lastReads, thread));
    if (isOpen && !isOrdered && !isKnown(address) &&
        std::find(mNew.begin(), mNew.end(), address) == mNew.end()) {
        mNew.push_back(address);
    }
    join(past.clock, object.written);
    if (writes) {
        join(past.clock, object.read);
        object.written = past.clock;
        set(object.lastWrites, own, at(past.clock, own));
        std::uint64_t const hash = mix(mix(past.hash, object.hash), object.readers);
        object.hash = hash;
        object.readers = 0;
        return hash;
    }
    join(object.read, past.clock);
    set(object.lastReads, own, at(past.clock, own));
    std::uint64_t const hash = mix(mix(past.hash, object.hash), 1);
    object.readers += hash;
    return hash;
}

}  // namespace zeqcam::simulation
