// SPDX-License-Identifier: MIT

#include "device/diagd/ReportJob.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <utility>

#include "runtime/fdloop_libevent.h"
#include "src/base/SignalsBlocked.h"

namespace {

constexpr size_t kMaxAnswerBytes = 200;
constexpr int kStopTries = 100;
constexpr int kStopPauseMs = 10;
constexpr int kNiceness = 10;  // the report comes after the unit's own work

void close_all_but(int first, int second) {
    const auto [low, high] = std::minmax(first, second);
    unsigned next = STDERR_FILENO + 1;
    for (const int kept : {low, high}) {
        if (kept > STDERR_FILENO) {
            if (static_cast<unsigned>(kept) > next) {
                close_range(next, static_cast<unsigned>(kept) - 1, 0);
            }
            next = static_cast<unsigned>(kept) + 1;
        }
    }
    close_range(next, ~0U, 0);
}

[[noreturn]] void run_child(const ReportJob::Work& work, int answer, int kept_fd) noexcept {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    signal(SIGTERM, SIG_DFL);
    signal(SIGINT, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    close_all_but(answer, kept_fd);
    setpriority(PRIO_PROCESS, 0, kNiceness);

    const std::string error = work().substr(0, kMaxAnswerBytes);
    const bool is_told = write(answer, error.data(), error.size()) == static_cast<ssize_t>(error.size());
    _exit(error.empty() && is_told ? EXIT_SUCCESS : EXIT_FAILURE);
}

}  // namespace

std::unique_ptr<ReportJob> ReportJob::start(_fdloop_t* loop, const Options& options, const Work& work,
                                            Ended ended) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return nullptr;
    }
    UniqueFd answer(ends[0]);
    const UniqueFd child_end(ends[1]);
    const SignalsBlocked blocked;
    const pid_t pid = fork();
    if (pid < 0) {
        return nullptr;
    }
    if (pid == 0) {
        run_child(work, child_end.get(), options.kept_fd);
    }
    return std::unique_ptr<ReportJob>(
        new ReportJob(loop, pid, std::move(answer), options.limit_ms, std::move(ended)));
}

ReportJob::ReportJob(_fdloop_t* loop, pid_t pid, UniqueFd answer, uint32_t limit_ms, Ended ended)
    : m_loop(loop),
      m_pid(pid),
      m_answer(std::move(answer)),
      m_limit_ms(limit_ms),
      m_ended(std::move(ended)),
      m_timer(fdloop_timer_add(loop, limit_ms, on_limit, this)) {
    fdloop_fd_register(m_loop, m_answer.get(), on_answer, this);
}

ReportJob::~ReportJob() {
    leave_loop();
    stop_child();
}

int ReportJob::on_answer(int, void* self, void*) noexcept {
    static_cast<ReportJob*>(self)->read_answer();
    return 0;
}

void ReportJob::on_limit(void* self, int, _fdloop_timer_t*) noexcept {
    auto* job = static_cast<ReportJob*>(self);
    job->end("not done within " + std::to_string(job->m_limit_ms) + " ms");
}

// The child alone holds the other end of the pipe: its end is that of the pipe as well.
void ReportJob::read_answer() {
    char part[kMaxAnswerBytes];
    const ssize_t got = read(m_answer.get(), part, sizeof part);
    if (got > 0) {
        m_text.append(part, static_cast<size_t>(got));
        return;
    }
    if (got < 0 && errno == EINTR) {
        return;
    }
    int status = 0;
    waitpid(std::exchange(m_pid, -1), &status, 0);
    end(verdict(status));
}

std::string ReportJob::verdict(int status) const {
    if (WIFSIGNALED(status)) {
        return "the collection was ended by signal " + std::to_string(WTERMSIG(status));
    }
    if (!m_text.empty() || WEXITSTATUS(status) == EXIT_SUCCESS) {
        return m_text;
    }
    return "the collection ended with status " + std::to_string(WEXITSTATUS(status));
}

void ReportJob::end(const std::string& error) {
    leave_loop();
    const Ended ended = std::move(m_ended);
    ended(error);  // this object may be gone
}

// A child that hangs in the kernel does not even die: it is left to whoever inherits it.
void ReportJob::stop_child() {
    if (m_pid < 0) {
        return;
    }
    kill(m_pid, SIGKILL);
    for (int i = 0; i < kStopTries && waitpid(m_pid, nullptr, WNOHANG) == 0; ++i) {
        poll(nullptr, 0, kStopPauseMs);
    }
}

void ReportJob::leave_loop() {
    if (m_timer != nullptr) {
        fdloop_timer_del(m_loop, std::exchange(m_timer, nullptr));
        fdloop_fd_unregister(m_loop, m_answer.get());
    }
}
