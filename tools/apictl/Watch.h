// SPDX-License-Identifier: MIT

#pragma once

#include "tools/apictl/ApiClient.h"
#include "tools/apictl/command_line.h"
#include "tools/common/Output.h"
#include "tools/common/exit_status.h"

// Watch: prints a line for every notification of the paths that a command names, until the interruption, the command's
// count or its timeout. All of them are good ends, but for a timeout before the first line.
// Borrows: all that is passed in; it outlives this object.
class Watch {
  public:
    Watch(const CommandLine& command, const Interruption& interruption, const Output& output);
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    // A refused path ends it, also when others were accepted: a watch that is blind in one eye would not be noticed.
    [[nodiscard]] ExitStatus run();

  private:
    void print(const cJSON& message);
    [[nodiscard]] bool isDone() const;

    const CommandLine& m_command;
    const Output& m_output;
    ApiClient m_client;
    int m_printed = 0;
    Output::Result m_written = Output::Result::kWritten;
};
