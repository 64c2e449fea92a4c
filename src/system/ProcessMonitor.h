// SPDX-License-Identifier: MIT

#pragma once

#include <map>

#include "runtime/c_owner.h"

class FdLoopAdaptor;
class Process;

// ProcessMonitor: starts processes and tells each of its end, its stops and its continuations.
// Owns:      the signal descriptor. One monitor per program: it reaps every child there is.
// Borrows:   the loop, which outlives it, and each process until its end or forgetProcess().
// Threads:   loop thread only. init() blocks SIGCHLD in the calling thread, and the threads that it starts afterwards
//            inherit that. A thread from before must block it itself: the kernel may hand the signal to any thread
//            that does not, where it is lost.
// Callbacks: those of the processes, inside signalFromChild(). They may start and forget processes.
// Errors:    init() logs what fails and leaves the monitor deaf: processes start, but nobody hears of their end.
class ProcessMonitor {
  public:
    explicit ProcessMonitor(FdLoopAdaptor* loop) : m_loop(loop) {}
    ~ProcessMonitor() { deinit(); }
    ProcessMonitor(const ProcessMonitor&) = delete;
    ProcessMonitor& operator=(const ProcessMonitor&) = delete;

    void init();
    // Does nothing without a signal descriptor.
    void deinit();
    // 0 when the child is there, otherwise -1.
    [[nodiscard]] int spawnProcess(Process* process);
    // The process is not touched any more. Its child goes on, and is reaped.
    void forgetProcess(Process* process);

    // Takes one record from the descriptor and tells the processes of all changes up to now. -1 for a bad record.
    int signalFromChild(int fd);
    static int fdLoopFdHandler(int fd, void* monitor) noexcept;

  private:
    static int onReport(int fd, void* monitor) noexcept;
    void handleStatus(int process_id, int status);
    void readReports(int fd);
    void watchReports(const Process& process);
    void endReports(Process& process);

    FdLoopAdaptor* m_loop;
    UniqueFd m_signals;
    std::map<int, Process*> m_processes;
};
