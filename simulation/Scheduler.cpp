#include "Scheduler.h"

#include "Heap.h"
#include "Libc.h"
#include "Mix.h"
#include "Stacks.h"
#include "Watchdog.h"

#include <sys/syscall.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <exception>
#include <system_error>
#include <utility>

namespace zeqcam::simulation {
namespace {

thread_local Thread* tSelf [[gnu::tls_model("initial-exec")]] = nullptr;
std::atomic<Scheduler*> gScheduler{nullptr};

// Looks on that many times a row: only others can bring it further.
constexpr int kPatientLooks = 1024;
// Other destructors of thread-specific data run in the rounds before the last of ours.
constexpr std::intptr_t kRounds = 2;

pthread_key_t gLeaving;
thread_local std::intptr_t tRoundsLeft = 0;

}  // namespace

Thread* self() {
    return tSelf;
}
Outside::Outside() : mSelf(std::exchange(tSelf, nullptr)) {}
Outside::~Outside() {
    tSelf = mSelf;
}
Scheduler* scheduler() {
    return gScheduler.load(std::memory_order_relaxed);
}

struct Scheduler::Start {
    static void* operator new(std::size_t size) { return OwnMemory<char>().allocate(size); }
    static void operator delete(void* memory) { freeOwn(memory); }

    Scheduler* scheduler;
    Thread* thread;
    void* (*function)(void*);
    void* argument;
};

Scheduler::Scheduler(Limits const& limits, Choice& choice, Observer* observer)
    : mLimits(limits), mChoice(choice), mObserver(observer) {
    prepareStacks();
}

Scheduler::~Scheduler() = default;

bool Scheduler::run(std::function<void()> const& body) {
    static int const keyMade = [] {
        // A child process has no simulation.
        pthread_atfork(nullptr, nullptr, [] { tSelf = nullptr; });
        return pthread_key_create(&gLeaving, leave);
    }();
    if (keyMade != 0) throw std::system_error(keyMade, std::generic_category(), "pthread_key_create");

    struct Body {
        Scheduler* scheduler;
        std::function<void()> const* function;
    } bodyStart{this, &body};
    auto const runBody = [](void* argument) -> void* {
        auto const& started = *static_cast<Body*>(argument);
        try {
            (*started.function)();
        } catch (std::exception const& thrown) {
            started.scheduler->fail(std::string("the body threw: ") + thrown.what());
        } catch (...) {
            started.scheduler->fail("the body threw");
        }
        return nullptr;
    };

    beginRegion();
    gScheduler.store(this);
    pthread_t handle{};
    int const error = start(&handle, nullptr, runBody, &bodyStart);
    if (error != 0) {
        gScheduler.store(nullptr);
        throw std::system_error(error, std::generic_category(), "no thread for the body");
    }
    passTo(*mThreads.front());
    Watchdog(*this).watchUntil(mDone);
    bool const ended = mLive.empty();
    if (ended) {
        libc().pthread_join(handle, nullptr);
        awaitLeaving();
        gScheduler.store(nullptr);
    }
    return ended;
}

// ---- Points ----

void Scheduler::reach(Step const& step) {
    Thread& current = *tSelf;
    current.step = step;
    ++current.steps;
    mPoints.fetch_add(1, std::memory_order_relaxed);
    if (++mPointsStanding > mLimits.points) {
        stop(Ending::Livelock,
             describeAll("livelock: " + std::to_string(mLimits.points) + " points without the clock moving"));
    }
    current.idle = step.idle > 0 ? current.idle + step.idle : 0;
    Thread* const next = choose(current);
    if (next != &current) {
        ++mSwitches;
        passTo(*next);
        awaitTurn(current);
    }
    if (mObserver != nullptr) mObserver->takes(current, mNow);
}

bool Scheduler::await(Step const& step) {
    Thread& current = *tSelf;
    current.woken = false;
    current.timedOut = false;
    current.ticket = ++mTickets;
    reach(step);
    return current.woken;
}

int Scheduler::wake(void const* object, int count) {
    return wake(object, count, [](Thread const&) { return true; });
}

bool Scheduler::isReady(Thread const& thread) const {
    Step const& step = thread.step;
    Holder const* const held = step.lock != nullptr ? holder(step.lock) : nullptr;
    bool const isFree = held == nullptr || (held->writer == nullptr && held->readers == 0);
    bool const isDue = step.deadline <= mNow;
    switch (step.until) {
        case Until::Now:
            return true;
        case Until::Free:
            return isFree || isDue;
        case Until::Unwritten:
            return held == nullptr || held->writer == nullptr || isDue;
        case Until::Woken:
            return thread.woken || isDue;
        case Until::WokenFree:
            return (thread.woken || isDue) && isFree;
        case Until::Ended:
            return step.target->ended;
        case Until::Deadline:
            return isDue;
    }
    return true;
}

void Scheduler::findReady() {
    mReady.clear();
    for (Thread* const thread : mLive) {
        if (isReady(*thread)) mReady.push_back(thread);
    }
}

// To the next deadline. False when there is none.
bool Scheduler::jump() {
    Time next = kNever;
    for (Thread const* const thread : mLive) {
        if (thread->step.deadline > mNow) next = std::min(next, thread->step.deadline);
    }
    if (next == kNever) return false;
    mNow = next;
    mPointsStanding = 0;
    for (Thread* const thread : mLive) {
        thread->idle = 0;
        if (thread->step.deadline <= mNow && !thread->woken) thread->timedOut = true;
    }
    return true;
}

Thread* Scheduler::choose(Thread& current) {
    findReady();
    while (mReady.empty()) {
        if (!jump()) {
            stop(Ending::Deadlock, describeAll("deadlock: no thread can go on, and none has a deadline"));
        }
        findReady();
    }
    if (current.idle >= kPatientLooks && !current.ended) {
        if (Thread* const next = afterIdling(current)) return next;
    }
    bool const canGoOn = !current.ended && std::find(mReady.begin(), mReady.end(), &current) != mReady.end();
    if (mUnvaried > 0) return canGoOn ? &current : mReady.front();
    Thread* const next = mChoice.next(current, canGoOn, mReady);
    if (next == nullptr) {
        stop(Ending::Diverged, "the schedule does not fit the body: thread " +
                                   std::to_string(current.number) + " is at its point " +
                                   std::to_string(current.steps));
    }
    return next;
}

// Who looks on and on lets the others go, each in its turn; when all look on, the clock moves.
Thread* Scheduler::afterIdling(Thread& current) {
    auto const looksOn = [](Thread const* thread) { return thread->idle >= kPatientLooks; };
    if (std::all_of(mReady.begin(), mReady.end(), looksOn) && jump()) {
        findReady();
        return nullptr;
    }
    auto const after = std::find_if(mReady.begin(), mReady.end(),
                                    [&](Thread const* thread) { return thread->number > current.number; });
    Thread* const next = after != mReady.end() ? *after : mReady.front();
    return next != &current ? next : nullptr;
}

// ---- The turn ----

void Scheduler::passTo(Thread& next) {
    next.turn.store(1);
    wakeOnWord(&next.turn);
}

void Scheduler::awaitTurn(Thread& thread) {
    for (;;) {
        if (thread.shows.load() == 1) {
            takeStack(thread);
            thread.shows.store(2);
            wakeOnWord(&thread.shows);
        }
        if (thread.turn.exchange(0) == 1) break;
        waitOnWord(&thread.turn, 0);
    }
    awaitLeaving();
    mCurrentId.store(thread.kernelId.load());
    mCurrent.store(&thread);
}

// Whoever has ended still frees memory: its end is waited for, so that memory is the same in every run.
void Scheduler::awaitLeaving() {
    if (mLeaving == nullptr) return;
    while (libc().syscall(SYS_tgkill, libc().getpid(), mLeaving->kernelId.load(), 0) == 0)
        libc().sched_yield();
    Thread* const left = std::exchange(mLeaving, nullptr);
    if (left->forgotten) std::erase_if(mThreads, [left](auto const& thread) { return thread.get() == left; });
}

void Scheduler::end(Thread& thread) {
    thread.step = {.what = "end", .object = &thread, .target = &thread};
    ++thread.steps;
    if (mObserver != nullptr) mObserver->takes(thread, mNow);
    thread.ended = true;
    std::erase(mLive, &thread);
    mLeaving = &thread;
    tSelf = nullptr;
    if (mLive.empty()) return finish(mFailure.empty() ? Ending::Ended : Ending::Failed, mFailure);
    ++mSwitches;
    passTo(*choose(thread));
}

void Scheduler::fail(std::string_view reason) {
    if (mFailure.empty()) mFailure = reason.empty() ? "failed" : reason;
}

void Scheduler::finish(Ending ending, std::string report) {
    int expected = 0;
    if (!mDone.compare_exchange_strong(expected, 2)) return;
    mResult.ending = ending;
    mResult.report = std::move(report);
    mResult.schedule = mChoice.schedule();
    mResult.points = mPoints.load();
    mResult.switches = mSwitches;
    mResult.threads = mStarted;
    mResult.time = std::chrono::nanoseconds(mNow);
    mDone.store(1);
    wakeOnWord(&mDone);
}

void Scheduler::stop(Ending ending, std::string report) {
    if (!mFailure.empty()) report = "failed before: " + mFailure + '\n' + report;
    finish(ending, std::move(report));
    standStill();
}

void Scheduler::cutShort() {
    finish(mFailure.empty() ? Ending::Ended : Ending::Failed, mFailure);
    standStill();
}

void Scheduler::giveUp(Ending ending, std::string report) {
    finish(ending, std::move(report));
}

void Scheduler::standStill() {
    static std::atomic<int> const never{0};
    for (;;) waitOnWord(&never, 0);
}

// ---- Locks ----

Scheduler::Holder const* Scheduler::holder(void const* lock) const {
    auto const found = mHolders.find(lock);
    return found == mHolders.end() ? nullptr : &found->second;
}

void Scheduler::acquired(void const* lock, bool forReading) {
    Holder& holder = mHolders[lock];
    if (forReading) {
        ++holder.readers;
    } else {
        holder.writer = tSelf;
        ++holder.depth;
    }
}

void Scheduler::released(void const* lock) {
    auto const found = mHolders.find(lock);
    if (found == mHolders.end()) return;  // taken before the simulation
    Holder& holder = found->second;
    if (holder.writer != nullptr) {
        if (--holder.depth == 0) holder.writer = nullptr;
    } else {
        --holder.readers;
    }
    if (holder.writer == nullptr && holder.readers <= 0) mHolders.erase(found);
}

// ---- Threads ----

int Scheduler::start(pthread_t* handle, pthread_attr_t const* attributes, void* (*function)(void*),
                     void* argument) {
    Thread* const parent = tSelf;
    auto thread = std::make_unique<Thread>();
    thread->number = mStarted;
    auto begin = std::make_unique<Start>(Start{this, thread.get(), function, argument});
    int const error = libc().pthread_create(handle, attributes, main, begin.get());
    if (error != 0) return error;
    thread->identity = parent != nullptr ? mix(parent->identity, ++parent->children) : 1;
    static_cast<void>(begin.release());
    thread->handle = *handle;
    if (mObserver != nullptr) mObserver->started(parent, *thread);
    mLive.push_back(thread.get());
    mThreads.push_back(std::move(thread));
    ++mStarted;
    return 0;
}

void* Scheduler::main(void* argument) {
    std::unique_ptr<Start> begin(static_cast<Start*>(argument));
    Start const start = *begin;
    Thread& thread = *start.thread;
    thread.kernelId.store(static_cast<pid_t>(libc().gettid()));
    tSelf = &thread;
    tRoundsLeft = kRounds;
    pthread_setspecific(gLeaving, &thread);
    start.scheduler->awaitTurn(thread);
    if (start.scheduler->mObserver != nullptr)
        start.scheduler->mObserver->takes(thread, start.scheduler->mNow);
    begin.reset();
    return start.function(start.argument);
}

void Scheduler::leave(void* argument) {
    if (--tRoundsLeft > 0) {
        pthread_setspecific(gLeaving, argument);
    } else if (Scheduler* const ending = scheduler()) {
        ending->end(*static_cast<Thread*>(argument));
    }
}

Thread* Scheduler::find(pthread_t handle) {
    for (auto thread = mThreads.rbegin(); thread != mThreads.rend(); ++thread) {
        if (!(*thread)->forgotten && pthread_equal((*thread)->handle, handle) != 0) return thread->get();
    }
    return nullptr;
}

Thread* Scheduler::numbered(int number) {
    auto const found = std::find_if(mThreads.begin(), mThreads.end(),
                                    [number](auto const& thread) { return thread->number == number; });
    return found == mThreads.end() ? nullptr : found->get();
}

void Scheduler::forget(pthread_t handle) {
    Thread* const thread = find(handle);
    if (thread == nullptr) return;
    thread->forgotten = true;
    if (thread->ended && thread != mLeaving)
        std::erase_if(mThreads, [thread](auto const& each) { return each.get() == thread; });
}

// ---- Reports ----

std::string Scheduler::describeAll(std::string const& headline) {
    Thread const* const own = tSelf;
    Outside const outside;
    std::string report = headline + '\n';
    for (Thread* const thread : mLive) {
        if (thread == own) {
            takeStack(*thread);
        } else {
            thread->shows.store(1);
            wakeOnWord(&thread->turn);
            while (thread->shows.load() == 1) waitOnWord(&thread->shows, 1);
        }
        report += "thread " + std::to_string(thread->number) + " (" + nameOf(*thread) + ") ";
        report += isReady(*thread) ? "can go on: " : "waits for: ";
        report += describe(thread->step);
        if (Holder const* const held = thread->step.lock != nullptr ? holder(thread->step.lock) : nullptr) {
            report += held->writer != nullptr ? ", held by thread " + std::to_string(held->writer->number) +
                                                    " (" + nameOf(*held->writer) + ')'
                                              : ", held by " + std::to_string(held->readers) + " readers";
        }
        report += '\n' + sectionsOf(*thread) + stackOf(*thread);
    }
    return report;
}

}  // namespace zeqcam::simulation
