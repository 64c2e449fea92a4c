// SPDX-License-Identifier: MIT

#pragma once

#include "tools/apictl/command_line.h"
#include "tools/common/exit_status.h"

// Each command from its arguments to its exit status. Standard output and error output are written; SIGPIPE has to be
// ignored.
[[nodiscard]] ExitStatus command_run(const CommandLine& command);
