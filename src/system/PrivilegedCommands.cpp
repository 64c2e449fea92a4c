// SPDX-License-Identifier: MIT

#include "src/system/PrivilegedCommands.h"

#include <csignal>
#include <utility>

#include "src/system/ProcessMonitor.h"

PrivilegedCommands::PrivilegedCommands(std::unique_ptr<PrivilegedCommandObject> object,
                                       PriviligedCommandsInterface* owner, ProcessMonitor* monitor)
    : m_object(std::move(object)), m_owner(owner), m_monitor(monitor), m_process(m_object->commandLine()) {}

PrivilegedCommands::~PrivilegedCommands() {
    m_monitor->forgetProcess(&m_process);
}

int PrivilegedCommands::runProcess() {
    m_process.setCallback(this);
    if (!m_object->stdin_path.empty()) {
        m_process.setStdinPath(m_object->stdin_path);
    }
    if (!m_object->stdout_path.empty()) {
        m_process.setStdoutPath(m_object->stdout_path);
    }
    if (!m_object->stderr_path.empty()) {
        m_process.setStderrPath(m_object->stderr_path);
    }
    return m_object->command.empty() ? -1 : m_monitor->spawnProcess(&m_process);
}

int PrivilegedCommands::killProcess() {
    return m_process.kill(SIGTERM);
}

void PrivilegedCommands::exited(int code) {
    m_object->status = "EXITED";
    m_object->exitcode = code;
    m_owner->ProcessExited(this);
}

// Clients see a command that a signal ended as one that did well: the signal has never been a part of the answer.
void PrivilegedCommands::terminated(int) {
    m_object->status = "EXITED";
    m_object->exitcode = 0;
    m_owner->ProcessTerminated(this);
}
