// SPDX-License-Identifier: MIT

#include "src/system/ProcessMonitor.h"

#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <limits>

#include "runtime/fdloop_libevent.h"
#include "runtime/logging.h"
#include "runtime/px_signal.h"
#include "src/system/Process.h"

namespace {

constexpr const char* kModule = "src/Process";

void log_errno(const char* attempt) {
    logger_function(3, kModule, "%s: %s", attempt, std::strerror(errno));
}

[[nodiscard]] bool fill_with_sigchld(sigset_t& signals) {
    return sigemptyset(&signals) == 0 && sigaddset(&signals, SIGCHLD) == 0;
}

}  // namespace

void ProcessMonitor::init() {
    if (m_signals.valid()) {
        return;
    }
    // Ignored by whoever started this program, it would never come, and every child would vanish without a status.
    px_set_sig_handler(SIGCHLD, SIG_DFL);
    sigset_t signals;
    if (!fill_with_sigchld(signals)) {
        return log_errno("Cannot set SIGCHLD to signal mask");
    }
    if (sigprocmask(SIG_BLOCK, &signals, nullptr) != 0) {
        return log_errno("Cannot add signal mask");
    }
    m_signals.reset(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!m_signals.valid()) {
        return log_errno("Cannot achieve file descriptor for signal SIGCHLD");
    }
    m_loop->fdloop_fd_register(m_signals.get(), fdLoopFdHandler, this);
}

void ProcessMonitor::deinit() {
    while (!m_processes.empty()) {
        forgetProcess(m_processes.begin()->second);
    }
    if (!m_signals.valid()) {
        return;
    }
    sigset_t signals;
    if (!fill_with_sigchld(signals)) {
        log_errno("Cannot set SIGCHLD to signal mask");
    } else if (sigprocmask(SIG_UNBLOCK, &signals, nullptr) != 0) {
        log_errno("Cannot remove signal mask");
    }
    // Out of the loop while it is still open: its number may be somebody else's the moment it is closed.
    m_loop->fdloop_fd_unregister(m_signals.get());
    m_signals.reset();
}

int ProcessMonitor::spawnProcess(Process* process) {
    if (process->spawnNoStart() != 0) {
        return -1;
    }
    // The child waits until it is in the table. Only one that somebody else has reaped can have left its id there.
    const auto [entry, is_new] = m_processes.try_emplace(process->getProcessId(), process);
    if (!is_new) {
        endReports(*entry->second);
        entry->second = process;
    }
    watchReports(*process);
    // Logs a failure itself; the child is there all the same, and its end will be heard of.
    static_cast<void>(process->signalStart());
    return 0;
}

void ProcessMonitor::forgetProcess(Process* process) {
    const auto found = m_processes.find(process->getProcessId());
    if (found != m_processes.end() && found->second == process) {
        endReports(*process);
        m_processes.erase(found);
    }
}

// Always 0: any other answer would take the descriptor off the loop, and one bad record would leave the monitor deaf.
int ProcessMonitor::fdLoopFdHandler(int fd, void* monitor) noexcept {
    static_cast<ProcessMonitor*>(monitor)->signalFromChild(fd);
    return 0;
}

int ProcessMonitor::signalFromChild(int fd) {
    signalfd_siginfo record = {};
    if (read(fd, &record, sizeof record) != sizeof record) {
        log_errno("Failed reading signal information from SIGCHLD file descriptor");
        return -1;
    }
    if (record.ssi_signo != SIGCHLD) {
        // "descriptop" is what log readers have always seen.
        logger_function(3, kModule, "Non SIGCHLD received on signal file descriptop: %s",
                        strsignal(static_cast<int>(record.ssi_signo)));
        return -1;
    }
    // The signals of children that end while one is pending are merged into that one.
    int status = 0;
    int process_id = 0;
    while ((process_id = waitpid(-1, &status, WNOHANG | WUNTRACED | WCONTINUED)) > 0) {
        handleStatus(process_id, status);
    }
    return 0;
}

void ProcessMonitor::handleStatus(int process_id, int status) {
    const auto found = m_processes.find(process_id);
    if (found == m_processes.end()) {
        return;
    }
    Process* const process = found->second;
    if (WIFEXITED(status) || WIFSIGNALED(status)) {
        // Before the callback, which may destroy the process or start the next one under the same id.
        forgetProcess(process);
    }
    process->handleExitCode(status);
}

int ProcessMonitor::onReport(int fd, void* monitor) noexcept {
    static_cast<ProcessMonitor*>(monitor)->readReports(fd);
    return 0;
}

void ProcessMonitor::readReports(int fd) {
    const auto found = std::ranges::find_if(
        m_processes, [fd](const auto& entry) { return entry.second->reportDescriptor() == fd; });
    if (found != m_processes.end() && !found->second->readReports()) {
        endReports(*found->second);
    }
}

// The descriptor closes when the program runs, so that few are open at a time. The loop takes no number above this
// one; such a process logs its reports at its end.
void ProcessMonitor::watchReports(const Process& process) {
    if (process.reportDescriptor() <= std::numeric_limits<std::int16_t>::max()) {
        m_loop->fdloop_fd_register(process.reportDescriptor(), onReport, this);
    }
}

void ProcessMonitor::endReports(Process& process) {
    const int fd = process.reportDescriptor();
    if (fd < 0) {
        return;
    }
    static_cast<void>(process.readReports());
    if (fd <= std::numeric_limits<std::int16_t>::max()) {
        m_loop->fdloop_fd_unregister(fd);
    }
    process.closeReports();
}
