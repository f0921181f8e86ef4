#include "run/ForkedRuns.h"

#include "files/Descriptor.h"

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <deque>
#include <exception>
#include <memory>
#include <optional>
#include <string_view>
#include <system_error>
#include <vector>

namespace zeqcam::tool {
namespace {

[[noreturn]] void refuse(char const* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

std::vector<std::size_t> allowedProcessors() {
    cpu_set_t set;
    CPU_ZERO(&set);
    sched_getaffinity(0, sizeof set, &set);
    std::vector<std::size_t> processors;
    for (std::size_t each = 0; each < CPU_SETSIZE; ++each) {
        if (CPU_ISSET(each, &set)) processors.push_back(each);
    }
    return processors;
}

void stayOn(std::size_t processor) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(processor, &set);
    sched_setaffinity(0, sizeof set, &set);
}

bool writeAll(int file, std::string_view bytes) {
    while (!bytes.empty()) {
        ssize_t const written = write(file, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

std::string howItEnded(int status) {
    if (WIFSIGNALED(status)) {
        int const signal = WTERMSIG(status);
        return "the process ended by signal " + std::to_string(signal) + " (" + sigdescr_np(signal) + ')';
    }
    return "the process exited with status " + std::to_string(WEXITSTATUS(status));
}

// A process that plays one of the runs. Ends it when it goes.
class Process {
  public:
    // `processor`: to stay on, where the runs are bound.
    Process(ForkedRuns const& runs, std::size_t index, std::size_t processor)
        : mIndex(index), mProcessor(processor) {
        int ends[2] = {-1, -1};
        if (pipe2(ends, O_CLOEXEC) != 0) refuse("no pipe for a run");
        mOutput.emplace(ends[0]);
        Descriptor const input(ends[1]);
        mProcess = fork();
        if (mProcess < 0) refuse("no process for a run");
        if (mProcess > 0) return;
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (runs.bindsToProcessor) stayOn(processor);
        play(runs, index, input.get());
    }
    ~Process() {
        if (mProcess <= 0) return;
        kill(mProcess, SIGKILL);
        static_cast<void>(await());
    }
    Process(Process const&) = delete;
    Process& operator=(Process const&) = delete;

    [[nodiscard]] std::size_t processor() const { return mProcessor; }
    [[nodiscard]] bool isDone() const { return mProcess == 0; }
    [[nodiscard]] int output() const { return mOutput->get(); }

    // What it has written by now; at its end, the process is gone.
    void read() {
        std::array<char, 65536> bytes{};
        ssize_t const got = ::read(output(), bytes.data(), bytes.size());
        if (got > 0) mCame.append(bytes.data(), static_cast<std::size_t>(got));
        if (got > 0 || (got < 0 && errno == EINTR)) return;
        mStatus = await();
        mOutput.reset();
    }

    // Of one that is done.
    void tell(ForkedRuns const& runs) const {
        bool const ended = WIFEXITED(mStatus) && WEXITSTATUS(mStatus) == 0;
        if (ended) {
            runs.take(mIndex, mCame);
        } else {
            // It may have told why.
            runs.lost(mIndex, WIFEXITED(mStatus) && !mCame.empty() ? mCame : howItEnded(mStatus));
        }
    }

  private:
    [[noreturn]] static void play(ForkedRuns const& runs, std::size_t index, int output) {
        constexpr int kThrew = 1;
        try {
            _exit(writeAll(output, runs.play(index)) ? 0 : kThrew);
        } catch (std::exception const& error) {
            static_cast<void>(writeAll(output, error.what()));
            _exit(kThrew);
        }
    }

    int await() {
        int status = 0;
        while (waitpid(mProcess, &status, 0) < 0 && errno == EINTR) {
        }
        mProcess = 0;
        return status;
    }

    std::size_t const mIndex;
    std::size_t const mProcessor;
    std::optional<Descriptor> mOutput;
    pid_t mProcess = -1;
    int mStatus = 0;
    std::string mCame;
};

class Playing {
  public:
    explicit Playing(ForkedRuns const& runs) : mRuns(runs), mProcessors(allowedProcessors()) {}

    std::size_t run() {
        while (mTold < mRuns.count && !mRuns.isCancelled()) {
            startSome();
            readSome();
            while (!mProcesses.empty() && mProcesses.front()->isDone()) {
                mProcesses.front()->tell(mRuns);
                mProcesses.pop_front();
                ++mTold;
            }
        }
        return mTold;
    }

  private:
    // One that takes long keeps what the others came to: not too many of them.
    static constexpr std::size_t kMostKept = 1000;

    void startSome() {
        auto const isRunning = [](auto const& each) { return !each->isDone(); };
        auto running =
            static_cast<std::size_t>(std::count_if(mProcesses.begin(), mProcesses.end(), isRunning));
        for (; running < mRuns.jobs && mNext < mRuns.count && mProcesses.size() < kMostKept; ++running) {
            mProcesses.push_back(std::make_unique<Process>(mRuns, mNext++, freestProcessor()));
        }
    }

    // That has the fewest of the processes.
    [[nodiscard]] std::size_t freestProcessor() const {
        auto const load = [this](std::size_t processor) {
            return std::count_if(mProcesses.begin(), mProcesses.end(), [processor](auto const& each) {
                return !each->isDone() && each->processor() == processor;
            });
        };
        return *std::min_element(
            mProcessors.begin(), mProcessors.end(),
            [&](std::size_t left, std::size_t right) { return load(left) < load(right); });
    }

    void readSome() {
        constexpr int kPauseMs = 100;
        std::vector<pollfd> outputs;
        std::vector<Process*> processes;
        for (auto const& each : mProcesses) {
            if (each->isDone()) continue;
            outputs.push_back({each->output(), POLLIN, 0});
            processes.push_back(each.get());
        }
        if (poll(outputs.data(), outputs.size(), kPauseMs) <= 0) return;
        for (std::size_t i = 0; i < outputs.size(); ++i) {
            if (outputs[i].revents != 0) processes[i]->read();
        }
    }

    ForkedRuns const& mRuns;
    std::vector<std::size_t> const mProcessors;
    std::deque<std::unique_ptr<Process>> mProcesses;  // by their indices
    std::size_t mNext = 0;
    std::size_t mTold = 0;
};

}  // namespace

std::size_t playForked(ForkedRuns const& runs) {
    return Playing(runs).run();
}

std::size_t processorsAllowed() {
    return allowedProcessors().size();
}

}  // namespace zeqcam::tool
