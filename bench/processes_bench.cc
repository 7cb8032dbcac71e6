// SPDX-License-Identifier: MIT
//
// The process table in the sandbox's /proc, with a given number of sleeping processes.

#include "side_by_side.h"

#include <velutils++/process_table.h>

#include <libproc2/pids.h>

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vector>

namespace {

// Child processes that sleep until they are killed.
class Crowd {
  public:
    ~Crowd() { resize(0); }
    void resize(size_t n) {
        while (children_.size() < n) children_.push_back(start());
        while (children_.size() > n) {
            kill(children_.back(), SIGKILL);
            waitpid(children_.back(), nullptr, 0);
            children_.pop_back();
        }
    }

  private:
    static pid_t start() {
        const pid_t child = fork();
        if (child != 0) return child;
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        for (;;) pause();
    }
    std::vector<pid_t> children_;
};

Crowd crowd;

Body refresh(long processes, bool keep) {
    return [processes, keep](benchmark::State& state) {
        crowd.resize(static_cast<size_t>(processes));
        ProcessControl table;
        table.refresh(false);
        for (auto _ : state) table.refresh(keep);
    };
}

// Calls refresh(true) on an empty table, so all processes are new.
Body refreshFromNothing(long processes) {
    return [processes](benchmark::State& state) {
        crowd.resize(static_cast<size_t>(processes));
        ProcessControl table;
        for (auto _ : state) {
            table.cleanup();
            table.refresh(true);
        }
    };
}

// Gets the same information from libproc2: ids and command lines of all processes.
void reap(benchmark::State& state) {
    crowd.resize(100);
    enum pids_item items[] = {PIDS_ID_TGID, PIDS_CMDLINE};
    struct pids_info* info = nullptr;
    procps_pids_new(&info, items, 2);
    for (auto _ : state) benchmark::DoNotOptimize(procps_pids_reap(info, PIDS_FETCH_TASKS_ONLY));
    procps_pids_unref(&info);
}

}  // namespace

void registerProcesses() {
    sideBySide("100 processes, refresh(false)", "ProcessControl", refresh(100, false),
               {{"libproc2", "0.7", reap}});
    sideBySide("100 processes, refresh(true)", "ProcessControl", refresh(100, true),
               {{"libproc2", "0.3", reap}});
    scaling("ProcessControl refresh(false), processes", "linear", 10,
            [](long n) { return refresh(n, false); });
    scaling("ProcessControl refresh(true), processes", "linear", 10,
            [](long n) { return refresh(n, true); });
    scaling("ProcessControl refresh(true), new processes", "linear", 10, refreshFromNothing);
}
