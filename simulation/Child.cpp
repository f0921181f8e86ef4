#include "Child.h"

#include "Libc.h"

#include <fcntl.h>
#include <signal.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <system_error>

namespace zeqcam::simulation {
namespace {

void stayOn(int cpu) {
    if (cpu < 0) return;
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(static_cast<std::size_t>(cpu), &set);
    libc().sched_setaffinity(0, sizeof set, &set);
}

}  // namespace

Child::Child(Job const& job, Trail& trail) : mTrail(trail) {
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
    mTrail.clear();
    mProcess = fork();
    if (mProcess == 0) run(job, trail);
    int const error = errno;
    libc().close(ends[1]);
    mEnd = ends[0];
    if (mProcess < 0) {
        libc().close(mEnd);
        throw std::system_error(error, std::generic_category(), "no process for a schedule");
    }
}

Child::~Child() {
    if (mProcess > 0) {
        kill(mProcess, SIGKILL);
        waitpid(mProcess, nullptr, 0);
    }
    libc().close(mEnd);
}

void Child::run(Job const& job, Trail& trail) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    stayOn(job.cpu);
    Order order(job.contested);
    TrailChoice choice(job.turns, job.reduces ? &order : nullptr, trail);
    try {
        Scheduler scheduler(job.limits, choice, job.reduces ? &order : nullptr);
        scheduler.run(job.body);
        trail.addContested(order.newlyContested());
        trail.isUsedUp = choice.isUsedUp();
        trail.keep(scheduler.result());
        std::fflush(nullptr);
        _exit(0);
    } catch (std::exception const& refusal) {
        Result result{.ending = Ending::Failed, .report = refusal.what()};
        trail.keep(result);
        _exit(0);
    }
}

void Child::await() {
    int status = 0;
    while (waitpid(mProcess, &status, 0) < 0 && errno == EINTR) {
    }
    mProcess = -1;
    if (mTrail.isDone) return;
    std::string const how = WIFSIGNALED(status) ? "ended by signal " + std::to_string(WTERMSIG(status)) +
                                                      " (" + sigdescr_np(WTERMSIG(status)) + ')'
                                                : "exited with status " + std::to_string(WEXITSTATUS(status));
    mTrail.keep({.ending = Ending::Failed, .report = "the process " + how});
}

}  // namespace zeqcam::simulation
