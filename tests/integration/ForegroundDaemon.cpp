// SPDX-License-Identifier: MIT

#include "ForegroundDaemon.h"

#include <fcntl.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>
#include <utility>

#include "gtest/gtest.h"

namespace {

constexpr int kTries = 1000;
constexpr std::chrono::milliseconds kPause{10};

[[noreturn]] void become_daemon(const RunningUnit& unit, const std::string& log_path) {
    const int log = open(log_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(log, STDOUT_FILENO);
    dup2(log, STDERR_FILENO);
    close_range(STDERR_FILENO + 1, ~0U, 0);
    setenv("CBUS_ADDR", unit.busAddress().c_str(), 1);
    setenv("MRV_JSON_RPC_TEST", "1", 1);
    execl(WEB_APP_PROGRAM, WEB_APP_PROGRAM, "-c", unit.directory().c_str(), static_cast<char*>(nullptr));
    _exit(127);
}

bool answers(const RunningUnit& unit) {
    for (int i = 0; i < kTries; ++i) {
        if (unit.http().connected() && unit.rpc().connected()) {
            return true;
        }
        std::this_thread::sleep_for(kPause);
    }
    return false;
}

}  // namespace

ForegroundDaemon::ForegroundDaemon(const RunningUnit& unit)
    : m_log_path(unit.directory() / "foreground.log") {
    int terminal = -1;
    m_pid = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (m_pid == 0) {
        become_daemon(unit, m_log_path);
    }
    m_terminal.reset(terminal);
    EXPECT_TRUE(answers(unit)) << log();
}

void ForegroundDaemon::end() {
    const pid_t daemon = std::exchange(m_pid, -1);
    if (daemon <= 0) {
        return;
    }
    kill(daemon, SIGTERM);
    for (int i = 0; i < kTries; ++i) {
        if (waitpid(daemon, nullptr, WNOHANG) == daemon) {
            return;
        }
        std::this_thread::sleep_for(kPause);
    }
    kill(daemon, SIGKILL);
    waitpid(daemon, nullptr, 0);
}

int ForegroundDaemon::logged(const std::string& text) const {
    const std::string all = log();
    int count = 0;
    for (size_t at = all.find(text); at != std::string::npos; at = all.find(text, at + text.size())) {
        ++count;
    }
    return count;
}

std::string ForegroundDaemon::log() const {
    std::ifstream file(m_log_path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}
