// SPDX-License-Identifier: MIT

#pragma once

#include "runtime/c_owner.h"

namespace utilities {

// Daemon: the one process object. It turns the process into a detached daemon with an optional pid file and brings
// termination signals to the hooks of the class derived from it.
// Owns:      the pid file's path. The pid file itself stays open, and on disk, until destroyPidFile().
// Threads:   main thread; the object must exist before a second thread does.
// Callbacks: onRun() runs once inside daemonize(). onSignal() and onExit() run in signal context.
// Errors:    a second instance, an existing pid file and a failed fork or setsid() end the process with status 1.
class Daemon {
  public:
    Daemon();
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;

    virtual int onRun() = 0;
    virtual void onSignal(int sig);
    virtual void onExit();
    virtual ~Daemon();

    // Goes on in a detached child, where it answers what onRun() answers; the calling process ends with status 0.
    // `pidFile` must not be null; an empty text means no pid file. In the child descriptors 0, 1 and 2 are closed
    // and no later open() gets these numbers; the working directory stays.
    int daemonize(const char* pidFile);
    // Installs signalHandler for a signal other than SIGINT, SIGTERM and SIGKILL, which daemonize() takes care of.
    void registerSignal(int sig);
    // Passes the signal to handleSignal() of the instance, which must exist.
    static void signalHandler(int sig);
    // SIGINT, SIGTERM and SIGKILL end the process, without its exit handlers: with status 0 when the pid file could be
    // removed, which takes one to exist, else with 1. Any other signal goes to onSignal().
    void handleSignal(int sig);
    // Ends the process in good order: with `status` when the pid file could be removed, else with 1.
    [[noreturn]] void terminate(int status);

  protected:
    void createDaemon();
    [[nodiscard]] bool pidFileExists() const;
    [[nodiscard]] bool createPidFile();
    [[nodiscard]] bool destroyPidFile();

    static Daemon* theDaemon;

  private:
    MallocedText m_pidFile;
};

}  // namespace utilities
