#pragma once

#include <zeqcam/simulation/Visibility.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

/// Runs a function and all threads that it starts one at a time, under a clock of its own. Linking the
/// library is all: it takes the place of the C library's functions where threads meet, for every library of
/// the process. Threads that no simulation has started pass straight through.
///
/// A thread gives up its turn only at a point: where it locks or unlocks, waits, wakes, starts, joins or
/// ends, sleeps, yields, opens, writes or closes a file, or calls `touch`. Time stands while a thread can go
/// on; when none can, it jumps to the next deadline. In a simulated thread all clocks tell that time, and
/// `gettid` and `getpid` tell numbers that are the same in every run.
namespace zeqcam::simulation {

/// How a run came to its end.
enum class Ending : std::uint8_t {
    Ended,     ///< the body has returned, and every thread that it started has ended
    Failed,    ///< as Ended, but the body threw or somebody called `fail`; in an exploration also a crash
    Deadlock,  ///< no thread can go on and none has a deadline
    Livelock,  ///< more points than Limits::points without the clock moving
    Blocked,   ///< a thread with the turn came to no point for longer than Limits::patience: it waits in a
               ///< call that the simulation does not know, or computes for ever
    Diverged,  ///< the schedule does not fit the body: a thread that it names could not go on
};

/// The enumerator in words, such as "deadlock".
ZEQCAM_SIMULATION_API std::string_view nameOf(Ending ending);

/// When a run is given up.
struct Limits {
    /// Points without the clock moving, above which a run is a livelock; at least 1.
    std::uint64_t points = 1'000'000;
    /// Real time that a thread with the turn may be blocked outside of any point. One that computes has ten
    /// times as long.
    std::chrono::milliseconds patience{2000};
};

/// What one run came to.
struct Result {
    Ending ending = Ending::Ended;  ///< how it came to its end
    /// Why, in lines for a reader: what failed, or each thread with what it waits for, who holds that, its
    /// open sections and its stack. Empty when it ended.
    std::string report;
    std::string schedule;              ///< for `replay`, such as "seed 7" or "0.35>1 1.12>0"
    std::uint64_t points = 0;          ///< that all threads came to
    std::uint64_t switches = 0;        ///< points at which another thread went on
    int threads = 0;                   ///< that have run, the body's included
    std::chrono::nanoseconds time{0};  ///< virtual, from the start to the end

    /// Whether it ended and nothing failed.
    [[nodiscard]] bool holds() const { return ending == Ending::Ended; }
};

/// Runs `body` on a thread of its own and waits for the end of it and of all threads that it starts. At each
/// point `seed` chooses who goes on: the same seed gives the same run. `body` and its threads meet no thread
/// from outside: a lock that one of those holds, or a wake-up that is to come from one, ends the run as
/// Blocked or as a Deadlock.
///
/// After a Deadlock, a Livelock, a Blocked or a Diverged run the process keeps the threads where they
/// stopped. They never go on, hold what they held, and `body`'s captures must outlive them: end the process
/// soon.
///
/// May be called from any thread that is not simulated itself, one call at a time in the process; else throws
/// std::logic_error. Throws std::system_error when there is no thread for the body.
ZEQCAM_SIMULATION_API Result run(std::function<void()> const& body, std::uint64_t seed, Limits limits = {});

/// The same with a schedule, as Result::schedule gives it. In the calling process, so that a debugger sees
/// it. Throws std::invalid_argument for a text that is no schedule.
ZEQCAM_SIMULATION_API Result replay(std::function<void()> const& body, std::string_view schedule,
                                    Limits limits = {});

/// How far an exploration has come.
struct Progress {
    std::uint64_t schedules = 0;           ///< run so far
    std::uint64_t known = 0;               ///< known so far and still to be run
    int preemptions = 0;                   ///< those with as many are being run
    std::chrono::milliseconds elapsed{0};  ///< real time
};

/// What to explore.
struct Bounds {
    /// How often a schedule may take the turn from a thread that could go on; 0 or more. Where the thread
    /// waits or ends, every other may go on at no charge.
    int preemptions = 2;
    std::uint64_t schedules = 0;        ///< run no more than these; 0: no bound
    std::chrono::milliseconds time{0};  ///< start none after this much real time; 0: no bound
    int processes = 0;                  ///< at the same time; 0: as many as the process may use processors
    /// Leaves out schedules that differ only in the order of points that do not meet. False: tries a switch
    /// at every point. Threads that meet at no point, such as by atomic operations in a release build, need
    /// that.
    bool reduce = true;
    Limits limits{.points = 100'000, .patience = std::chrono::milliseconds(2000)};  ///< of each run
    /// Called on the calling thread, ten times a second at most; may be empty.
    std::function<void(Progress const&)> progress;
    /// Asked on the calling thread, at least ten times a second: true cuts the search short. May be empty.
    std::function<bool()> isCancelled;
};

/// What an exploration came to.
struct Exploration {
    std::uint64_t schedules = 0;  ///< run, those to shrink a failure not counted
    std::uint64_t points = 0;     ///< that all of them came to
    /// The most preemptions for which every schedule has been run; -1: not even those without one.
    int preemptions = -1;
    bool complete = false;                 ///< whether that is what was asked for
    std::chrono::milliseconds elapsed{0};  ///< real time
    /// The first that failed, shrunk to the fewest switches; `replay` repeats it.
    std::optional<Result> failure;

    /// Whether all that was asked for was run and nothing failed.
    [[nodiscard]] bool holds() const { return complete && !failure; }
};

/// Runs `body` under every schedule within the bounds, those with fewer preemptions first, and stops at the
/// first that fails. Each schedule has a process of its own, forked from the calling one: what `body`
/// changes, it changes there, and nothing but failures comes back. What it prints is printed as often as it
/// runs. A crash, a call of `exit`, and all but Ending::Ended is a failure.
///
/// To be called where no other thread lives. Throws std::logic_error from a simulated thread,
/// std::system_error when the system gives no process or memory.
ZEQCAM_SIMULATION_API Exploration explore(std::function<void()> const& body, Bounds const& bounds = {});

/// One line: what was run, and whether it held, failed or was cut short.
ZEQCAM_SIMULATION_API std::string summary(Exploration const& exploration);

/// Lets the run go on and fail at its end, with the first reason given. Does nothing on a thread that is not
/// simulated.
ZEQCAM_SIMULATION_API void fail(std::string_view reason);

/// Whether a simulation has started the calling thread.
ZEQCAM_SIMULATION_API bool isSimulated();

/// While one stands, points of all threads go by the rule: a thread goes on as long as it can, and then the
/// one that was started first among those that can. For what leads to the part that is to be varied, and for
/// what follows. Does nothing on a thread that is not simulated; is destroyed on the thread that made it.
class ZEQCAM_SIMULATION_API Unvaried {
  public:
    /// From here on.
    Unvaried();
    ~Unvaried();
    Unvaried(Unvaried const&) = delete;
    Unvaried& operator=(Unvaried const&) = delete;
};

/// What a thread is about to do to something that others see.
enum class Access : std::uint8_t {
    Read,   ///< commutes with other threads' reads
    Write,  ///< commutes with nothing
};

/// A point of the caller's own: its thread is about to use `object`, which others use too. For what threads
/// share without a lock. Does nothing on a thread that is not simulated.
ZEQCAM_SIMULATION_API void touch(void const* object, Access access = Access::Write);

}  // namespace zeqcam::simulation

/// For libraries that do not link the simulation and declare these weak: `touch` of something that is
/// written.
extern "C" ZEQCAM_SIMULATION_API void zeqcam_simulation_touch(void const* object);
/// A section that the calling thread opens, for reports. `label` is copied.
extern "C" ZEQCAM_SIMULATION_API void zeqcam_simulation_begin(char const* label);
/// Closes the last one that it has open; none: does nothing.
extern "C" ZEQCAM_SIMULATION_API void zeqcam_simulation_end();
