// SPDX-License-Identifier: MIT

#include "tests/support/Program.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>

namespace {

constexpr int kTries = 1000;
constexpr std::chrono::milliseconds kPause{10};

[[noreturn]] void become(const std::string& path, const std::vector<std::string>& arguments,
                         const std::map<std::string, std::string>& environment,
                         const std::string& output_path) {
    // However the test ends, its programs end with it, and nothing that it has open lives on in them.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    close_range(STDERR_FILENO + 1, ~0U, 0);
    const int input = open("/dev/null", O_RDONLY);
    const int output = open(output_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(input, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    for (const auto& [name, value] : environment) {
        setenv(name.c_str(), value.c_str(), 1);
    }
    std::vector<char*> argv{const_cast<char*>(path.c_str())};
    for (const std::string& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    execv(path.c_str(), argv.data());
    _exit(127);
}

}  // namespace

Program::Program(const std::string& path, const std::vector<std::string>& arguments,
                 const std::map<std::string, std::string>& environment, const std::string& output_path)
    : m_output_path(output_path) {
    // The file is there before the first look at it, whichever process runs first.
    std::ofstream{output_path};
    m_pid = fork();
    if (m_pid == 0) {
        become(path, arguments, environment, output_path);
    }
}

Program::~Program() {
    if (isRunning()) {
        signal(SIGTERM);
        if (!awaitEnd()) {
            signal(SIGKILL);
            reap(0);
        }
    }
}

bool Program::reap(int options) {
    int status = 0;
    if (!m_status && waitpid(m_pid, &status, options) == m_pid) {
        m_status = status;
    }
    return m_status.has_value();
}

bool Program::isRunning() {
    return m_pid > 0 && !reap(WNOHANG);
}

std::string Program::output() const {
    std::ifstream file(m_output_path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

bool Program::awaitOutput(const std::string& text) {
    for (int i = 0; i < kTries; ++i) {
        if (output().find(text) != std::string::npos) {
            return true;
        }
        if (!isRunning()) {
            return output().find(text) != std::string::npos;
        }
        std::this_thread::sleep_for(kPause);
    }
    return false;
}

long Program::settledDescriptors() const {
    long before = 0;
    long now = openDescriptors();
    do {
        before = now;
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        now = openDescriptors();
    } while (now != before);
    return now;
}

long Program::openDescriptors() const {
    const std::filesystem::directory_iterator entries("/proc/" + std::to_string(m_pid) + "/fd");
    return std::distance(begin(entries), end(entries));
}

long Program::usedMs() const {
    std::ifstream file("/proc/" + std::to_string(m_pid) + "/stat");
    std::string stat;
    std::getline(file, stat);
    // The name of the program, in parentheses, may contain anything; what follows it is counted from 3.
    std::istringstream fields(stat.substr(stat.rfind(')') + 1));
    std::string skipped;
    for (int field = 3; field < 14; ++field) {
        fields >> skipped;
    }
    long user = 0;
    long system = 0;
    fields >> user >> system;
    return (user + system) * 1000 / sysconf(_SC_CLK_TCK);
}

void Program::signal(int number) const {
    kill(m_pid, number);
}

std::optional<int> Program::awaitEnd() {
    for (int i = 0; i < kTries && isRunning(); ++i) {
        std::this_thread::sleep_for(kPause);
    }
    return m_status;
}
