#include "Libc.h"
#include "Mix.h"
#include "Stacks.h"
#include "Trail.h"
#include "Worker.h"

#include <zeqcam/simulation/Simulation.h>

#include <poll.h>

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
    std::uint32_t node = 0;
    GivenTurns turns;
    Worker* worker = nullptr;  // null: it is done
    // What it left.
    Result result;
    bool isFull = false;
    std::vector<Trail::Branch> branches;
    std::vector<Trail::Alternative> alternatives;
    std::vector<void const*> contested;

    void keep(Trail const& trail) {
        result = trail.result(turns);
        isFull = trail.isFull;
        branches.assign(trail.branches.begin(), trail.branches.begin() + trail.branchCount);
        alternatives.assign(trail.alternatives.begin(), trail.alternatives.begin() + trail.alternativeCount);
        contested.assign(trail.contested.begin(), trail.contested.begin() + trail.contestedCount);
        worker = nullptr;
    }
};

// The search. States are named as in Order; who goes on from one and with how many preemptions left decides
// all that can follow. So a state from which a thread went on earlier, with as many left, is not gone on from
// again. Schedules with fewer preemptions come first: the first visit is the one that leaves the most.
class Search {
  public:
    Search(std::function<void()> const& body, Bounds const& bounds) : mBounds(bounds), mBegan(Clock::now()) {
        std::vector<int> const cpus = allowedCpus();
        std::size_t const processes =
            bounds.processes > 0 ? static_cast<std::size_t>(bounds.processes) : cpus.size();
        for (std::size_t i = 0; i < processes; ++i) {
            mWorkers.push_back(std::make_unique<Worker>(body, mBounds.limits, *mContested));
            mFree.push_back(mWorkers.back().get());
        }
        // More processes than processors: none of them is bound to one.
        for (std::size_t i = 0; i < processes; ++i)
            mWorkers[i]->start(processes <= cpus.size() ? cpus[i] : -1);
    }

    Exploration run() {
        if (mBounds.reduce) learnFromSeeds();
        while (!runOnce()) {
        }
        mFound.elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - mBegan);
        return std::move(mFound);
    }

  private:
    // A schedule is another with one turn more.
    struct Node {
        std::uint32_t origin;  // itself: no turn is given
        GivenTurn turn;
    };
    // Those to be run, from `next` on, in the order of their discovery.
    struct Queue {
        std::vector<std::uint32_t> nodes;
        std::size_t next = 0;

        [[nodiscard]] std::size_t left() const { return nodes.size() - next; }
    };

    [[nodiscard]] GivenTurns turnsOf(std::uint32_t node) const {
        GivenTurns turns;
        for (; mNodes[node].origin != node; node = mNodes[node].origin) turns.push_back(mNodes[node].turn);
        std::reverse(turns.begin(), turns.end());
        return turns;
    }

    // Runs by seeds show most of the contested objects. Else the search finds them one by one, and begins
    // anew each time.
    void learnFromSeeds() {
        for (Seed first = 0; first < kMostSeeds; first += kSeedsAtATime) {
            std::size_t const known = mContested->count;
            bool const allEnded = runSeeds(first, first + kSeedsAtATime);
            if (!mContested->add(mNewlyContested)) tooMuch();
            mNewlyContested.clear();
            if (!allEnded || mContested->count == known || isCut()) return;
        }
    }

    // False when one failed, which is none of the simplest: those are the search's to find.
    bool runSeeds(Seed next, Seed end) {
        bool allEnded = true;
        while ((allEnded && next < end) || !mRunning.empty()) {
            while (allEnded && next < end && !mFree.empty()) {
                mRunning.push_back({.node = 0, .turns = {}, .worker = mFree.back()});
                mFree.pop_back();
                mRunning.back().worker->begin(next++);
            }
            awaitOne();
            while (!mRunning.empty() && mRunning.front().worker == nullptr) {
                Running const first = std::move(mRunning.front());
                mRunning.pop_front();
                if (allEnded) {
                    mNewlyContested.insert(mNewlyContested.end(), first.contested.begin(),
                                           first.contested.end());
                }
                allEnded = allEnded && first.result.ending == Ending::Ended;
            }
        }
        return allEnded;
    }

    // False when an object has turned out to be contested, which changes where switches are worth while: all
    // begins anew.
    bool runOnce() {
        if (!mContested->add(mNewlyContested)) tooMuch();
        mNewlyContested.clear();
        mVisited.clear();
        mNodes.assign(1, {.origin = 0, .turn = {}});
        mQueues.assign(static_cast<std::size_t>(mBounds.preemptions) + 1, {});
        mQueues.front().nodes.push_back(0);
        mFound = {};
        mSinceNew = 0;
        for (mLevel = 0; mLevel <= mBounds.preemptions; ++mLevel) {
            runLevel();
            if (mFound.failure) shrink();
            if (mFound.failure || mIsCut) return true;
            if (!mNewlyContested.empty()) return false;
            mFound.preemptions = mLevel;
        }
        mFound.complete = true;
        return true;
    }

    void runLevel() {
        Queue& queue = mQueues[static_cast<std::size_t>(mLevel)];
        while (queue.left() > 0 || !mRunning.empty()) {
            bool const isOver = mFound.failure || isVoid() || isCut();
            while (!isOver && queue.left() > 0 && !mFree.empty() && !isEnough(mRun + mRunning.size()) &&
                   mRunning.size() < kAhead * mWorkers.size()) {
                launch(queue.nodes[queue.next++]);
            }
            awaitOne();
            while (!mRunning.empty() && mRunning.front().worker == nullptr) {
                Running const first = std::move(mRunning.front());
                mRunning.pop_front();
                if (!mFound.failure && !isVoid()) learn(first);
            }
            if (isOver && mRunning.empty()) break;
            tell();
        }
    }

    // Once a new object is contested, what is run is void: but a few more show others that are.
    [[nodiscard]] bool isVoid() const { return mSinceNew > kMoreRunsToLearn; }

    [[nodiscard]] bool isEnough(std::uint64_t run) const {
        return mBounds.schedules > 0 && run >= mBounds.schedules;
    }

    bool isCut() {
        bool const enough = isEnough(mRun);
        bool const late = mBounds.time.count() > 0 && Clock::now() - mBegan >= mBounds.time;
        return mIsCut = mIsCut || enough || late || (mBounds.isCancelled && mBounds.isCancelled());
    }

    void launch(std::uint32_t node) {
        Worker* const worker = mFree.back();
        mFree.pop_back();
        mRunning.push_back({.node = node, .turns = turnsOf(node), .worker = worker});
        worker->begin(mRunning.back().turns, mBounds.reduce);
    }

    void awaitOne() {
        mEnds.clear();
        for (Running const& running : mRunning) {
            if (running.worker != nullptr)
                mEnds.push_back({.fd = running.worker->end(), .events = POLLIN, .revents = 0});
        }
        constexpr int kTellEvery = 100;
        if (mEnds.empty() || poll(mEnds.data(), mEnds.size(), kTellEvery) <= 0) return;
        auto end = mEnds.begin();
        for (Running& running : mRunning) {
            if (running.worker == nullptr || (end++)->revents == 0) continue;
            mFree.push_back(running.worker);
            running.keep(running.worker->await());
        }
    }

    // In the order of the launches, so that every exploration of the same body goes the same way.
    void learn(Running const& run) {
        ++mRun;
        ++mFound.schedules;
        mFound.points += run.result.points;
        if (run.isFull) tooMuch();
        mNewlyContested.insert(mNewlyContested.end(), run.contested.begin(), run.contested.end());
        if (!mNewlyContested.empty()) ++mSinceNew;
        if (run.result.ending != Ending::Ended) {
            mFound.failure = run.result;
            mFailing = run.turns;
            return;
        }
        for (Trail::Branch const& branch : run.branches) {
            for (std::uint32_t i = branch.first; i < branch.first + branch.count; ++i) {
                addAlternative(run.node, branch, run.alternatives[i]);
            }
            // What follows has been gone through from here before.
            if (mBounds.reduce && !visits(branch, branch.goesOn, false, mLevel)) break;
        }
    }

    [[noreturn]] static void tooMuch() { throw std::length_error("the body is too large to be explored"); }

    void addAlternative(std::uint32_t origin, Trail::Branch const& branch,
                        Trail::Alternative const& alternative) {
        int const level = mLevel + (branch.preempts ? 1 : 0);
        if (level > mBounds.preemptions) return;
        if (mBounds.reduce && !visits(branch, alternative.identity, branch.preempts, level)) return;
        auto const node = static_cast<std::uint32_t>(mNodes.size());
        mNodes.push_back(
            {.origin = origin,
             .turn = {.thread = branch.thread, .step = branch.step, .next = alternative.thread}});
        mQueues[static_cast<std::size_t>(level)].nodes.push_back(node);
    }

    // Whether nobody has come to this with as few preemptions, and with the same threads asleep or none.
    // `sleeps`: whether the thread that loses its turn does from now on.
    bool visits(Trail::Branch const& branch, std::uint64_t goesOn, bool sleeps, int level) {
        std::uint64_t const bare = mix(branch.state, goesOn);
        std::uint64_t const asleep = branch.asleep + (sleeps ? mix(branch.goesOn) : 0);
        if (asleep == 0) return visits(bare, level);
        auto const awake = mVisited.find(bare);
        if (awake != mVisited.end() && awake->second <= level) return false;
        return visits(mix(bare, asleep), level);
    }

    bool visits(std::uint64_t key, int level) {
        auto const [visit, isNew] = mVisited.try_emplace(key, static_cast<std::int8_t>(level));
        if (!isNew && visit->second <= level) return false;
        visit->second = static_cast<std::int8_t>(level);
        return true;
    }

    // Leaves out turn after turn, as long as it still fails the same way, until none can be spared.
    void shrink() {
        Result& failure = *mFound.failure;
        Worker& worker = *mFree.back();
        for (std::size_t i = mFailing.size(); i-- > 0;) {
            GivenTurns fewer = mFailing;
            fewer.erase(fewer.begin() + static_cast<std::ptrdiff_t>(i));
            worker.begin(fewer, false);
            Trail const& trail = worker.await();
            bool const fails = trail.ending == failure.ending && trail.isUsedUp;
            if (!fails || trail.switches > failure.switches) continue;
            failure = trail.result(fewer);
            mFailing = std::move(fewer);
            i = mFailing.size();
        }
    }

    void tell() {
        auto const now = Clock::now();
        if (!mBounds.progress || now - mTold < std::chrono::milliseconds(100)) return;
        mTold = now;
        std::uint64_t known = mRunning.size();
        for (Queue const& queue : mQueues) known += queue.left();
        mBounds.progress({.schedules = mFound.schedules,
                          .known = known,
                          .preemptions = mLevel,
                          .elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(now - mBegan)});
    }

    // Schedules that may be run ahead of one that takes long.
    static constexpr std::size_t kAhead = 8;

    static constexpr std::uint64_t kMoreRunsToLearn = 100;
    static constexpr Seed kSeedsAtATime = 32;
    static constexpr Seed kMostSeeds = 256;

    Bounds const& mBounds;
    Clock::time_point const mBegan;
    Clock::time_point mTold{};

    SharedMemory<Contested> const mContested;
    std::vector<void const*> mNewlyContested;
    std::uint64_t mSinceNew = 0;
    std::vector<std::unique_ptr<Worker>> mWorkers;
    std::vector<Worker*> mFree;

    std::unordered_map<std::uint64_t, std::int8_t> mVisited;
    std::vector<Node> mNodes;
    std::vector<Queue> mQueues;  // by the number of preemptions
    int mLevel = 0;
    bool mIsCut = false;
    std::uint64_t mRun = 0;
    std::deque<Running> mRunning;  // in the order of the launches
    std::vector<pollfd> mEnds;
    GivenTurns mFailing;
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
