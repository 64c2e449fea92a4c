// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <vector>

#include "runtime/c_owner.h"

// Process: one child program, from its command line to its end.
// Owns:      the start pipe and the socket on which the child reports what failed before its program ran.
// Borrows:   the callback, which outlives this object or is taken back with setCallback(nullptr).
// Threads:   one thread, the one that reaps the child as well. Other threads may run: between fork and exec the child
//            makes async-signal-safe calls only.
// Callbacks: run inside handleExitCode(), and so inside wait() and run(). exited() and terminated() may destroy this
//            object, the other two may not.
// Errors:    -1 with a line in the log. What fails in the child ends it with the error number as exit code; the line
//            is logged here, when the reports are read.
// The destructor neither ends the child nor waits for it; one that was never started ends by itself then.
// SIGPIPE is handled or ignored by whoever calls signalStart(): the child may be gone by then.
class Process {
  public:
    // What happens to the child; does nothing unless overridden.
    class Callback {
      public:
        virtual void exited(int code);
        virtual void terminated(int signal);
        virtual void stopped(int signal);
        virtual void continued();
        virtual ~Callback() = default;
    };

    enum class State : int {
        kCreated = 0,
        kForked = 1,        // the child waits for its start
        kForkedDaemon = 2,  // likewise
        kRunning = 3,
        kStopped = 4,
        kExited = 5,
        kKilled = 6,  // by a signal
    };

    // Words are what white space separates; there is no quoting. The first one is the program, looked up on the search
    // path. Without any word every start ends with ENOENT.
    explicit Process(std::string const& commandLine);
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    ~Process() = default;

    void setCallback(Callback* callback) { m_callback = callback; }
    // Where the standard streams come from and go to: "/dev/null" unless set. A file that is written is created or
    // emptied. Has no effect on a daemon, nor once the child is there.
    void setStdinPath(std::string const& path) { m_stdin_path = path; }
    void setStdoutPath(std::string const& path) { m_stdout_path = path; }
    void setStderrPath(std::string const& path) { m_stderr_path = path; }

    // Starts the child.
    int spawn();
    // Forks only: the child waits for signalStart().
    int spawnNoStart();
    int signalStart();
    // Starts the program detached from this process, which does not hear of its end. Blocks until it runs; -1 also
    // when it could not be executed.
    int daemon();
    // Starts the child and waits for its end.
    int run();
    // Blocks until the child has ended.
    int wait();
    // -1 without a child, and for one that has ended: its id may be somebody else's by now.
    int kill(int signal);

    // Takes over a status as waitpid() gives it.
    void handleExitCode(int status);

    [[nodiscard]] std::string const& getCommand() const { return m_program; }
    [[nodiscard]] std::vector<std::string> const& getArguments() const { return m_arguments; }
    [[nodiscard]] State getState() const { return m_state; }
    // 0 until there is a child, and for a daemon.
    [[nodiscard]] int getProcessId() const { return m_process_id; }

    // The reports of the child, for a loop that wants to log them at once; otherwise they are read at its end.
    // The descriptor is -1 when none are to come.
    [[nodiscard]] int reportDescriptor() const { return m_report_reader.get(); }
    // Logs what has arrived; does not block. False when no more will come.
    [[nodiscard]] bool readReports();
    void closeReports() { m_report_reader.reset(); }

  private:
    struct Report;

    int spawn(bool daemonize);
    void createPipes();
    [[nodiscard]] bool hasChild() const;
    [[nodiscard]] bool awaitChange(int* status) const;
    // Waits for the intermediate child that detaches a daemon, and for the daemon's program to run.
    [[nodiscard]] bool awaitDaemon();
    [[nodiscard]] bool receive(Report& report, int flags) const;
    void logReport(const Report& report) const;

    // The child's side.
    [[noreturn]] void runChild(char* const* arguments, bool daemonize);
    void waitStart();
    void redirectStreams();
    void redirect(std::string const& path, int fd, int flags, unsigned mode);
    void report(Report const& report) const;
    [[noreturn]] void fail(Report const& report) const;

    State m_state = State::kCreated;
    std::string m_program;
    std::vector<std::string> m_arguments;  // the first is the program
    std::string m_stdin_path = "/dev/null";
    std::string m_stdout_path = "/dev/null";
    std::string m_stderr_path = "/dev/null";
    int m_process_id = 0;
    int m_detaching_id = 0;  // of the intermediate child of a daemon, until it is reaped
    UniqueFd m_start_reader;
    UniqueFd m_start_writer;
    UniqueFd m_report_reader;
    UniqueFd m_report_writer;
    Callback* m_callback = nullptr;
};
