// SPDX-License-Identifier: MIT

#pragma once

#include <memory>

#include "src/system/PrivilegedCommandObject.h"
#include "src/system/Process.h"

class ProcessMonitor;

// PrivilegedCommands: one command that was started for a client, with its process.
// Owns:      its data and its process.
// Borrows:   its owner and the monitor, which outlive it.
// Threads:   loop thread only.
// Callbacks: the owner hears once of the end of the process, never inside runProcess(). It may destroy this
//            object then.
// The destructor leaves a process that still runs alone; nobody hears of its end.
class PrivilegedCommands : public Process::Callback {
  public:
    // The name is spelled as it has always been.
    class PriviligedCommandsInterface {
      public:
        virtual void ProcessExited(PrivilegedCommands* command) = 0;
        virtual void ProcessTerminated(PrivilegedCommands* command) = 0;

      protected:
        ~PriviligedCommandsInterface() = default;
    };

    // None of the three may be null.
    PrivilegedCommands(std::unique_ptr<PrivilegedCommandObject> object, PriviligedCommandsInterface* owner,
                       ProcessMonitor* monitor);
    ~PrivilegedCommands() override;
    PrivilegedCommands(const PrivilegedCommands&) = delete;
    PrivilegedCommands& operator=(const PrivilegedCommands&) = delete;

    // 0 when the process is there, otherwise -1. Once.
    [[nodiscard]] int runProcess();
    // False for a process that could not be started.
    [[nodiscard]] bool hasProcess() const { return m_process.getProcessId() > 0; }
    // Asks the process to end. -1 when there is none, or none any more.
    [[nodiscard]] int killProcess();

    void exited(int code) override;
    void terminated(int signal) override;

    [[nodiscard]] PrivilegedCommandObject& data() const { return *m_object; }

  private:
    std::unique_ptr<PrivilegedCommandObject> m_object;
    PriviligedCommandsInterface* m_owner;
    ProcessMonitor* m_monitor;
    Process m_process;
};
