// SPDX-License-Identifier: MIT

#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "runtime/c_owner.h"

struct _fdloop_t;
struct _fdloop_timer_t;

// ReportJob: work in a child process, since reading about a process that hangs in the kernel hangs as well: a child
//   can be given up.
// Owns:      the child; the destructor ends it.
// Borrows:   the loop, which outlives it.
// Threads:   loop thread only; no other one is there when start() forks.
// Callbacks: `ended` runs exactly once, never inside start() and not after the destructor, with the text that `work`
//            answered or with why there is none. It may destroy this object.
// Blocks:    the destructor, a second at most, while the child has not ended.
// Errors:    start() answers null, with errno set, when there is no further process.
class ReportJob {
  public:
    // Runs in the child, with no descriptors but the standard ones and `kept_fd`. Nothing as an answer is success.
    using Work = std::function<std::string()>;
    using Ended = std::function<void(const std::string& error)>;
    struct Options {
        int kept_fd = -1;
        uint32_t limit_ms = 30000;
    };

    [[nodiscard]] static std::unique_ptr<ReportJob> start(_fdloop_t* loop, const Options& options,
                                                          const Work& work, Ended ended);
    ReportJob(const ReportJob&) = delete;
    ReportJob& operator=(const ReportJob&) = delete;
    ~ReportJob();

    [[nodiscard]] pid_t pid() const { return m_pid; }

  private:
    ReportJob(_fdloop_t* loop, pid_t pid, UniqueFd answer, uint32_t limit_ms, Ended ended);
    static int on_answer(int fd, void* self, void* watch) noexcept;
    static void on_limit(void* self, int, _fdloop_timer_t*) noexcept;

    void read_answer();
    void end(const std::string& error);
    [[nodiscard]] std::string verdict(int status) const;
    void stop_child();
    void leave_loop();

    _fdloop_t* m_loop;
    pid_t m_pid;  // -1 once reaped
    UniqueFd m_answer;
    uint32_t m_limit_ms;
    Ended m_ended;
    std::string m_text;
    _fdloop_timer_t* m_timer;  // null once off the loop
};
