// SPDX-License-Identifier: MIT

#pragma once

#include <sys/types.h>

#include <string>

#include "RunningUnit.h"
#include "runtime/c_owner.h"

// ForegroundDaemon: the daemon as the foreground job of a terminal, where it writes its log to standard output;
// here that is a file. Bus and database of the unit have to run. The destructor ends it.
class ForegroundDaemon {
  public:
    // Returns when it answers; a failed start is a failed expectation.
    explicit ForegroundDaemon(const RunningUnit& unit);
    ForegroundDaemon(const ForegroundDaemon&) = delete;
    ForegroundDaemon& operator=(const ForegroundDaemon&) = delete;
    ~ForegroundDaemon() { end(); }

    [[nodiscard]] pid_t pid() const { return m_pid; }
    // Asks it to end, and kills it when it does not within ten seconds; its log stays.
    void end();

    // How often the text stands in what it has logged so far.
    [[nodiscard]] int logged(const std::string& text) const;
    [[nodiscard]] std::string log() const;

  private:
    UniqueFd m_terminal;
    pid_t m_pid = -1;
    std::string m_log_path;
};
