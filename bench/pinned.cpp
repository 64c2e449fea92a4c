// SPDX-License-Identifier: MIT

#include "pinned.h"

#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

void pin_process(pid_t pid, int cpu) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(static_cast<unsigned>(cpu) % static_cast<unsigned>(sysconf(_SC_NPROCESSORS_ONLN)), &set);
    const std::string process = pid == 0 ? "self" : std::to_string(pid);
    for (const auto& thread : std::filesystem::directory_iterator("/proc/" + process + "/task")) {
        sched_setaffinity(std::atoi(thread.path().filename().c_str()), sizeof set, &set);
    }
}

pid_t fork_pinned(int cpu) {
    const pid_t pid = fork();
    if (pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        pin_process(0, cpu);
    }
    return pid;
}
