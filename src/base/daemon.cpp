// SPDX-License-Identifier: MIT

#include "src/base/daemon.h"

#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "runtime/logging.h"
#include "src/base/assertion.h"
#include "src/base/standard_descriptors.h"

namespace utilities {

namespace {

constexpr const char* kModule = "src/daemon";
constexpr int kCritical = 2;

}  // namespace

Daemon* Daemon::theDaemon = nullptr;

Daemon::Daemon() {
    if (theDaemon != nullptr) {
        std::fputs("there can be only one daemon instance", stderr);
        std::exit(1);
    }
    theDaemon = this;
}

Daemon::~Daemon() {
    theDaemon = nullptr;
}

void Daemon::onSignal(int) {}

void Daemon::onExit() {}

int Daemon::daemonize(const char* pidFile) {
    ORVALE_ASSERT(pidFile != nullptr, "pidFile != __null", kModule,
                  "int utilities::Daemon::daemonize(const char*)");
    if (*pidFile != '\0') {
        m_pidFile.reset(strdup(pidFile));
        if (pidFileExists()) {
            std::printf("%s already exists\n", m_pidFile.get());
            std::exit(1);
        }
    }
    createDaemon();
    if (m_pidFile && !createPidFile()) {
        std::exit(1);
    }
    return onRun();
}

void Daemon::createDaemon() {
    // The child has no descriptors left for what is still buffered here.
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child < 0) {
        std::exit(1);
    }
    if (child > 0) {
        // Not exit(): exit handlers are the child's to run, once.
        _exit(0);
    }
    umask(0);
    if (setsid() < 0 || !standard_descriptors_close()) {
        std::exit(1);
    }
    // SIGKILL cannot be caught. The call fails without a trace and stays for the sake of the one list of signals
    // that handleSignal() ends the process on.
    for (const int sig : {SIGINT, SIGTERM, SIGKILL}) {
        static_cast<void>(std::signal(sig, signalHandler));
    }
}

bool Daemon::pidFileExists() const {
    struct stat status {};
    return stat(m_pidFile.get(), &status) == 0;
}

bool Daemon::createPidFile() {
    if (pidFileExists()) {
        logger_function(kCritical, kModule, "%s already exists", m_pidFile.get());
        return false;
    }
    // Left open for the life of the process on purpose: who uses the file can be seen from outside. The C library
    // keeps the stream in its own list.
    std::FILE* stream = std::fopen(m_pidFile.get(), "we");
    if (stream == nullptr) {
        logger_function(kCritical, kModule, "couldn't open %s", m_pidFile.get());
        return false;
    }
    if (std::fprintf(stream, "%d", getpid()) < 0 || std::fflush(stream) != 0) {
        logger_function(kCritical, kModule, "couldn't write %s", m_pidFile.get());
        return false;
    }
    return true;
}

// Without a pid file this fails too, so such a daemon ends with status 1 on a signal.
bool Daemon::destroyPidFile() {
    if (!m_pidFile || unlink(m_pidFile.get()) != 0) {
        logger_function(kCritical, kModule, "couldn't delete %s", m_pidFile ? m_pidFile.get() : "(null)");
        return false;
    }
    return true;
}

void Daemon::registerSignal(int sig) {
    if (sig != SIGINT && sig != SIGTERM && sig != SIGKILL) {
        static_cast<void>(std::signal(sig, signalHandler));
    }
}

void Daemon::signalHandler(int sig) {
    ORVALE_ASSERT(theDaemon != nullptr, "theDaemon != __null", kModule,
                  "static void utilities::Daemon::signalHandler(int)");
    theDaemon->handleSignal(sig);
}

void Daemon::handleSignal(int sig) {
    if (sig == SIGINT || sig == SIGTERM || sig == SIGKILL) {
        onExit();
        // Not exit(): the code that the signal interrupted may hold a lock that an exit handler waits for.
        _exit(destroyPidFile() ? 0 : 1);
    }
    onSignal(sig);
}

void Daemon::terminate(int status) {
    onExit();
    std::exit(destroyPidFile() ? status : 1);
}

}  // namespace utilities
