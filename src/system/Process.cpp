// SPDX-License-Identifier: MIT

#include "src/system/Process.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <sstream>

#include "runtime/logging.h"
#include "src/base/SignalsBlocked.h"
#include "src/base/printable_text.h"

namespace {

constexpr const char* kModule = "src/Process";

// What the program finds is what a shell would give it: an empty mask, and only those signals ignored that whoever
// started the daemon ignores. SIGPIPE and SIGCHLD are the daemon's own affair.
void restore_signals() {
    for (int sig = 1; sig < NSIG; ++sig) {
        struct sigaction action = {};
        if (sigaction(sig, nullptr, &action) == 0 &&
            (action.sa_handler != SIG_IGN || sig == SIGPIPE || sig == SIGCHLD)) {
            action = {};
            action.sa_handler = SIG_DFL;
            sigaction(sig, &action, nullptr);
        }
    }
    sigset_t none;
    sigemptyset(&none);
    pthread_sigmask(SIG_SETMASK, &none, nullptr);
}

// The program gets 0, 1 and 2 and no other descriptor, whatever library opened it and however. Those three it gets
// even where they are placeholders, so that no file of the program takes their numbers.
void limit_descriptors() {
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
        fcntl(fd, F_SETFD, 0);
    }
    constexpr int kFirst = STDERR_FILENO + 1;
    if (close_range(kFirst, ~0U, CLOSE_RANGE_CLOEXEC) == 0) {
        return;
    }
    // Linux before 5.11.
    const long limit = sysconf(_SC_OPEN_MAX);
    for (int fd = kFirst; fd < limit; ++fd) {
        fcntl(fd, F_SETFD, FD_CLOEXEC);
    }
}

}  // namespace

// One step that failed in the child. The child has no logger: another thread may have held its locks, or those of the
// heap, at the moment of the fork.
struct Process::Report {
    enum class Step : int { kWaitStart, kRedirect, kDaemonize, kExecute };

    Step step;
    int error;
    int fd = -1;  // that was to be redirected
};

void Process::Callback::exited(int) {}

void Process::Callback::terminated(int) {}

void Process::Callback::stopped(int) {}

void Process::Callback::continued() {}

Process::Process(std::string const& commandLine) {
    std::istringstream words(commandLine);
    for (std::string word; words >> word;) {
        m_arguments.push_back(word);
    }
    if (!m_arguments.empty()) {
        m_program = m_arguments.front();
    }
}

int Process::spawn() {
    return spawnNoStart() == 0 ? signalStart() : -1;
}

int Process::spawnNoStart() {
    return spawn(false);
}

int Process::daemon() {
    if (spawn(true) != 0) {
        return -1;
    }
    // A child without a start pipe goes on all the same, and is waited for.
    const bool is_started = signalStart() == 0;
    return awaitDaemon() && is_started ? 0 : -1;
}

int Process::run() {
    return spawn() == 0 ? wait() : -1;
}

int Process::spawn(bool daemonize) {
    createPipes();
    std::vector<char*> arguments;
    for (std::string& argument : m_arguments) {
        arguments.push_back(argument.data());
    }
    arguments.push_back(nullptr);

    pid_t child = -1;
    int error = 0;
    {
        const SignalsBlocked blocked;
        child = fork();
        error = errno;
        if (child == 0) {
            runChild(arguments.data(), daemonize);
        }
    }
    m_report_writer.reset();
    if (child < 0) {
        logger_function(3, kModule, "process: Error during forking for %s: %s", m_program.c_str(),
                        std::strerror(error));
        m_start_reader.reset();
        m_start_writer.reset();
        m_report_reader.reset();
        return -1;
    }
    (daemonize ? m_detaching_id : m_process_id) = child;
    m_state = daemonize ? State::kForkedDaemon : State::kForked;
    return 0;
}

// A child without these goes on all the same: it does not wait, or its reports are lost.
void Process::createPipes() {
    const auto log_failure = [this] {
        logger_function(3, kModule, "process: Error during creation of synchronization pipes for %s: %s",
                        m_program.c_str(), std::strerror(errno));
    };
    int start[2] = {-1, -1};
    if (pipe2(start, O_CLOEXEC) != 0) {
        log_failure();
    }
    m_start_reader.reset(start[0]);
    m_start_writer.reset(start[1]);
    // A socket, for a pipe that nobody reads any more would end the child with SIGPIPE.
    int reports[2] = {-1, -1};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, reports) != 0) {
        log_failure();
    }
    m_report_reader.reset(reports[0]);
    m_report_writer.reset(reports[1]);
}

int Process::signalStart() {
    m_start_reader.reset();
    const char start = 0;
    const bool written = write(m_start_writer.get(), &start, 1) == 1;
    const int error = errno;
    m_start_writer.reset();
    if (!written) {
        logger_function(3, kModule, "process: Error during writing to synchronization pipes for %s: %s",
                        m_program.c_str(), std::strerror(error));
        return -1;
    }
    m_state = State::kRunning;
    return 0;
}

bool Process::awaitDaemon() {
    while (waitpid(m_detaching_id, nullptr, 0) < 0 && errno == EINTR) {
    }
    m_detaching_id = 0;
    // The daemon's end of the socket closes when its program runs, and when it ends.
    bool is_running = true;
    for (Report report = {}; receive(report, 0);) {
        logReport(report);
        is_running = report.step == Report::Step::kWaitStart;
    }
    m_report_reader.reset();
    return is_running;
}

int Process::wait() {
    for (int status = 0; awaitChange(&status);) {
        // Looked at first: the callback of an end may destroy this object.
        const bool has_ended = WIFEXITED(status) || WIFSIGNALED(status);
        handleExitCode(status);
        if (has_ended) {
            return 0;
        }
    }
    logger_function(4, kModule, "process: Failed waiting for %s: %s", m_program.c_str(),
                    std::strerror(errno));
    return -1;
}

bool Process::awaitChange(int* status) const {
    if (!hasChild()) {
        errno = ECHILD;  // the kernel takes the ids 0 and below for any child
        return false;
    }
    while (waitpid(m_process_id, status, WUNTRACED | WCONTINUED) < 0) {
        if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

int Process::kill(int signal) {
    return hasChild() ? ::kill(m_process_id, signal) : -1;
}

bool Process::hasChild() const {
    return m_process_id > 0 && m_state != State::kExited && m_state != State::kKilled;
}

// The callback comes last: it may destroy this object.
void Process::handleExitCode(int status) {
    const char* const program = m_program.c_str();
    Callback nobody;
    Callback& callback = m_callback != nullptr ? *m_callback : nobody;
    if (WIFEXITED(status)) {
        static_cast<void>(readReports());  // why it ended stands in the log before that it ended
        logger_function(6, kModule, "process: %s ::exited with exitcode: %d", program, WEXITSTATUS(status));
        m_state = State::kExited;
        callback.exited(WEXITSTATUS(status));
    } else if (WIFSIGNALED(status)) {
        static_cast<void>(readReports());
        logger_function(6, kModule, "process: %s killed by signal %d", program, WTERMSIG(status));
        m_state = State::kKilled;
        callback.terminated(WTERMSIG(status));
    } else if (WIFSTOPPED(status)) {
        logger_function(6, kModule, "process: %s stopped by signal %d", program, WSTOPSIG(status));
        m_state = State::kStopped;
        callback.stopped(WSTOPSIG(status));
    } else if (WIFCONTINUED(status)) {
        logger_function(6, kModule, "process: %s continues", program);
        m_state = State::kRunning;
        callback.continued();
    }
}

bool Process::readReports() {
    Report report = {};
    while (receive(report, MSG_DONTWAIT)) {
        logReport(report);
    }
    return errno == EAGAIN;
}

// False at the end, with an errno of 0, and for an error.
bool Process::receive(Report& report, int flags) const {
    ssize_t length = 0;
    do {
        errno = 0;
        length = recv(m_report_reader.get(), &report, sizeof report, flags);
    } while (length < 0 && errno == EINTR);
    return length == sizeof report;
}

void Process::logReport(const Report& report) const {
    const char* const program = m_program.c_str();
    const char* const reason = std::strerror(report.error);
    switch (report.step) {
        case Report::Step::kWaitStart:
            logger_function(3, kModule,
                            "process: Error during ::reading from synchronization pipes for %s: %s", program,
                            reason);
            break;
        case Report::Step::kRedirect:
            logger_function(3, kModule, "process: Error opening %s: %s",
                            text_for_log(report.fd == STDIN_FILENO    ? m_stdin_path
                                         : report.fd == STDOUT_FILENO ? m_stdout_path
                                                                      : m_stderr_path)
                                .c_str(),
                            reason);
            break;
        case Report::Step::kDaemonize:
            logger_function(3, kModule, "process: Error during daemonizing %s: %s", program, reason);
            break;
        case Report::Step::kExecute:
            logger_function(3, kModule, "process: Error during executing %s: %s", program, reason);
            break;
    }
}

// From here on everything runs in the child, before its program does: async-signal-safe calls only. execvp() is one of
// them in the C library used here, which puts the candidates of the search path on the stack.
void Process::runChild(char* const* arguments, bool daemonize) {
    restore_signals();
    limit_descriptors();
    m_report_reader.reset();
    waitStart();
    if (!daemonize) {
        redirectStreams();
    } else if (::daemon(0, 0) != 0) {
        fail({.step = Report::Step::kDaemonize, .error = errno});
    }
    execvp(m_program.c_str(), arguments);
    fail({.step = Report::Step::kExecute, .error = errno});
}

void Process::waitStart() {
    m_start_writer.reset();
    char start = 0;
    const ssize_t count = read(m_start_reader.get(), &start, 1);
    if (count < 0) {
        report({.step = Report::Step::kWaitStart, .error = errno});
    } else if (count == 0) {
        // The parent is gone or has given up: nobody would know of the program.
        _exit(ECANCELED);
    }
    m_start_reader.reset();
}

void Process::redirectStreams() {
    constexpr int kWrite = O_WRONLY | O_CREAT | O_TRUNC;
    constexpr unsigned kMode = 0777;
    redirect(m_stdin_path, STDIN_FILENO, O_RDONLY, 0);
    redirect(m_stdout_path, STDOUT_FILENO, kWrite, kMode);
    redirect(m_stderr_path, STDERR_FILENO, kWrite, kMode);
}

void Process::redirect(std::string const& path, int fd, int flags, unsigned mode) {
    UniqueFd opened(open(path.c_str(), flags | O_CLOEXEC, mode));
    if (opened.get() == fd) {
        // The number was free.
        fcntl(opened.release(), F_SETFD, 0);
    } else if (!opened.valid() || dup2(opened.get(), fd) < 0) {
        report({.step = Report::Step::kRedirect, .error = errno, .fd = fd});
    }
}

void Process::report(Report const& report) const {
    send(m_report_writer.get(), &report, sizeof report, MSG_NOSIGNAL | MSG_DONTWAIT);
}

void Process::fail(Report const& report) const {
    this->report(report);
    _exit(report.error);
}
