#include "Child.h"
#include "Libc.h"
#include "Mix.h"
#include "Stacks.h"
#include "Trail.h"

#include <zeqcam/simulation/Simulation.h>

#include <poll.h>
#include <sys/mman.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <deque>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <unordered_map>
#include <vector>

namespace zeqcam::simulation {
namespace {

using Clock = std::chrono::steady_clock;

class SharedTrail {
  public:
    SharedTrail()
        : mMemory(mmap(nullptr, sizeof(Trail), PROT_READ | PROT_WRITE,
                       MAP_SHARED | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0)) {
        if (mMemory == MAP_FAILED)
            throw std::system_error(errno, std::generic_category(), "no memory for a schedule");
    }
    ~SharedTrail() { munmap(mMemory, sizeof(Trail)); }
    SharedTrail(SharedTrail const&) = delete;
    SharedTrail& operator=(SharedTrail const&) = delete;

    [[nodiscard]] Trail& trail() const { return *static_cast<Trail*>(mMemory); }

  private:
    void* const mMemory;
};

std::vector<int> allowedCpus() {
    cpu_set_t set;
    CPU_ZERO(&set);
    libc().sched_getaffinity(0, sizeof set, &set);
    std::vector<int> cpus;
    for (std::size_t cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
        if (CPU_ISSET(cpu, &set)) cpus.push_back(static_cast<int>(cpu));
    }
    return cpus;
}

// A schedule that is being run, or has been and waits for those before it.
struct Running {
    GivenTurns turns;
    int cpu = -1;
    bool isDone = false;
    std::unique_ptr<SharedTrail> trail;
    std::unique_ptr<Child> child;
};

// The search. States are named as in Order; who goes on from one and with how many preemptions left decides
// all that can follow. So a state from which a thread went on earlier, with as many left, is not gone on from
// again. Schedules with fewer preemptions come first: the first visit is the one that leaves the most.
class Search {
  public:
    Search(std::function<void()> const& body, Bounds const& bounds)
        : mBody(body), mBounds(bounds), mFreeCpus(allowedCpus()), mBegan(Clock::now()) {
        std::size_t const cpus = std::max<std::size_t>(mFreeCpus.size(), 1);
        mProcesses = bounds.processes > 0 ? static_cast<std::size_t>(bounds.processes) : cpus;
        // More processes than processors: none of them is bound to one.
        if (mProcesses > cpus) mFreeCpus.clear();
    }

    Exploration run() {
        while (!runOnce()) {
        }
        mFound.elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - mBegan);
        return std::move(mFound);
    }

  private:
    using Queue = std::deque<GivenTurns>;

    // False when an object has turned out to be contested, which changes where switches are worth while: all
    // begins anew.
    bool runOnce() {
        mVisited.clear();
        mQueues.assign(static_cast<std::size_t>(mBounds.preemptions) + 1, {});
        mQueues.front().emplace_back();
        mFound = {};
        for (mLevel = 0; mLevel <= mBounds.preemptions; ++mLevel) {
            mIsStale = false;
            runLevel();
            if (mFound.failure || mIsCut) return true;
            if (mIsStale) return false;
            mFound.preemptions = mLevel;
        }
        mFound.complete = true;
        return true;
    }

    void runLevel() {
        Queue& queue = mQueues[static_cast<std::size_t>(mLevel)];
        while (!queue.empty() || !mRunning.empty()) {
            // The schedules of the last level are many: what makes them void ends them.
            bool const isVoid = mIsStale && mLevel > 1;
            bool const isOver = mFound.failure || isVoid || isCut();
            if (isOver) break;
            while (!queue.empty() && mActive < mProcesses && mRunning.size() < kAhead * mProcesses) {
                launch(std::move(queue.front()));
                queue.pop_front();
            }
            awaitOne();
            while (!mRunning.empty() && mRunning.front().isDone && !mFound.failure) {
                Running const first = std::move(mRunning.front());
                mRunning.pop_front();
                learn(first);
            }
            tell();
        }
        if (!mRunning.empty()) {
            for (Running& running : mRunning) {
                if (!running.isDone) giveBack(running);
            }
            mRunning.clear();
        }
    }

    bool isCut() {
        bool const enough = mBounds.schedules > 0 && mRun >= mBounds.schedules;
        bool const late = mBounds.time.count() > 0 && Clock::now() - mBegan >= mBounds.time;
        return mIsCut = mIsCut || enough || late;
    }

    void launch(GivenTurns turns) {
        Running running{.turns = std::move(turns)};
        running.trail = takeTrail();
        if (!mFreeCpus.empty()) {
            running.cpu = mFreeCpus.back();
            mFreeCpus.pop_back();
        }
        running.child = std::make_unique<Child>(
            Job{mBody, running.turns, mBounds.limits, mBounds.reduce, mContested, running.cpu},
            running.trail->trail());
        ++mActive;
        mRunning.push_back(std::move(running));
    }

    void giveBack(Running& running) {
        running.child.reset();
        if (running.cpu >= 0) mFreeCpus.push_back(running.cpu);
        --mActive;
    }

    void awaitOne() {
        mEnds.clear();
        for (Running const& running : mRunning) {
            if (!running.isDone)
                mEnds.push_back({.fd = running.child->end(), .events = POLLIN, .revents = 0});
        }
        if (mEnds.empty()) return;
        constexpr int kTellEvery = 100;
        if (poll(mEnds.data(), mEnds.size(), kTellEvery) <= 0) return;
        auto end = mEnds.begin();
        for (Running& running : mRunning) {
            if (running.isDone) continue;
            if ((end++)->revents == 0) continue;
            running.child->await();
            running.isDone = true;
            giveBack(running);
        }
    }

    // In the order of the launches, so that every exploration of the same body goes the same way.
    void learn(Running const& running) {
        Trail const& trail = running.trail->trail();
        ++mRun;
        ++mFound.schedules;
        mFound.points += trail.points;
        if (trail.isFull) throw std::length_error("a schedule has too many points to be explored");
        for (std::uint32_t i = 0; i < trail.contestedCount; ++i) {
            if (mContested.insert(trail.contested[i]).second) mIsStale = true;
        }
        if (trail.ending != Ending::Ended) {
            mFound.failure = shrunk(running.turns, trail.result(running.turns));
            return;
        }
        for (std::uint32_t i = 0; i < trail.branchCount; ++i) {
            Trail::Branch const& branch = trail.branches[i];
            for (std::uint32_t j = branch.first; j < branch.first + branch.count; ++j) {
                addAlternative(running.turns, branch, trail.alternatives[j]);
            }
            // What follows has been gone through from here before.
            if (mBounds.reduce && !visits(branch.state, branch.goesOn, mLevel)) break;
        }
        mSpare.push_back(std::move(const_cast<Running&>(running).trail));
    }

    void addAlternative(GivenTurns const& turns, Trail::Branch const& branch,
                        Trail::Alternative const& alternative) {
        int const level = mLevel + (branch.preempts ? 1 : 0);
        if (level > mBounds.preemptions) return;
        if (mBounds.reduce && !visits(branch.state, alternative.identity, level)) return;
        GivenTurns longer = turns;
        longer.push_back({.thread = branch.thread, .step = branch.step, .next = alternative.thread});
        mQueues[static_cast<std::size_t>(level)].push_back(std::move(longer));
    }

    // Whether nobody has come to this with as few preemptions.
    bool visits(std::uint64_t state, std::uint64_t goesOn, int level) {
        auto const [visit, isNew] = mVisited.try_emplace(mix(state, goesOn), static_cast<std::int8_t>(level));
        if (!isNew && visit->second <= level) return false;
        visit->second = static_cast<std::int8_t>(level);
        return true;
    }

    // Leaves out turn after turn, as long as it still fails the same way, until none can be spared.
    Result shrunk(GivenTurns turns, Result failure) {
        std::unique_ptr<SharedTrail> const trail = takeTrail();
        for (std::size_t i = turns.size(); i-- > 0;) {
            GivenTurns fewer = turns;
            fewer.erase(fewer.begin() + static_cast<std::ptrdiff_t>(i));
            Child child({mBody, fewer, mBounds.limits, false, mContested, -1}, trail->trail());
            child.await();
            Result const result = trail->trail().result(fewer);
            bool const fails = result.ending == failure.ending && trail->trail().isUsedUp;
            if (!fails || result.switches > failure.switches) continue;
            turns = std::move(fewer);
            failure = result;
            i = turns.size();
        }
        return failure;
    }

    std::unique_ptr<SharedTrail> takeTrail() {
        if (mSpare.empty()) return std::make_unique<SharedTrail>();
        std::unique_ptr<SharedTrail> trail = std::move(mSpare.back());
        mSpare.pop_back();
        return trail;
    }

    void tell() {
        auto const now = Clock::now();
        if (!mBounds.progress || now - mTold < std::chrono::milliseconds(100)) return;
        mTold = now;
        std::uint64_t known = mRunning.size();
        for (Queue const& queue : mQueues) known += queue.size();
        mBounds.progress({.schedules = mFound.schedules,
                          .known = known,
                          .preemptions = mLevel,
                          .elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(now - mBegan)});
    }

    // Schedules that may be run ahead of one that takes long.
    static constexpr std::size_t kAhead = 8;

    std::function<void()> const& mBody;
    Bounds const& mBounds;
    std::vector<int> mFreeCpus;
    std::size_t mProcesses = 1;
    Clock::time_point const mBegan;
    Clock::time_point mTold{};

    Order::Objects mContested;
    std::unordered_map<std::uint64_t, std::int8_t> mVisited;
    std::vector<Queue> mQueues;  // by the number of preemptions
    int mLevel = 0;
    bool mIsStale = false;
    bool mIsCut = false;
    std::uint64_t mRun = 0;
    std::deque<Running> mRunning;  // in the order of the launches
    std::size_t mActive = 0;
    std::vector<pollfd> mEnds;
    std::vector<std::unique_ptr<SharedTrail>> mSpare;
    Exploration mFound;
};

}  // namespace

Exploration explore(std::function<void()> const& body, Bounds const& bounds) {
    if (isSimulated()) throw std::logic_error("explore: called from a simulated thread");
    if (bounds.preemptions < 0) throw std::invalid_argument("explore: a negative number of preemptions");
    std::fflush(nullptr);  // or every process would print it
    prepareStacks();
    return Search(body, bounds).run();
}

std::string summary(Exploration const& exploration) {
    std::string const schedules = std::to_string(exploration.schedules) + " schedules";
    auto const preemptions = [](int count) {
        return "at most " + std::to_string(count) + (count == 1 ? " preemption" : " preemptions");
    };
    if (exploration.failure) {
        return std::string(nameOf(exploration.failure->ending)) + " after " + schedules + ": " +
               exploration.failure->schedule;
    }
    if (exploration.complete)
        return "all " + schedules + " with " + preemptions(exploration.preemptions) + " hold";
    if (exploration.preemptions < 0) return schedules + " hold; cut short";
    return schedules + " hold; cut short, all with " + preemptions(exploration.preemptions) + " were run";
}

}  // namespace zeqcam::simulation
