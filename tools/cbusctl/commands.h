// SPDX-License-Identifier: MIT

#pragma once

#include "tools/cbusctl/BusClient.h"
#include "tools/cbusctl/command_line.h"
#include "tools/common/Output.h"
#include "tools/common/exit_status.h"

// Each command from its arguments to its exit status. Standard output and error output are written; SIGPIPE has to be
// ignored.
[[nodiscard]] ExitStatus command_run(const CommandLine& command);

// Commands that ask or tell the bus something.
struct CommandContext {
    const CommandLine& command;
    const Interruption& interruption;
    const Output& output;
};

[[nodiscard]] ExitStatus command_status(const CommandContext& context);
[[nodiscard]] ExitStatus command_list(const CommandContext& context);
[[nodiscard]] ExitStatus command_wait_for(const CommandContext& context);
[[nodiscard]] ExitStatus command_call(const CommandContext& context);
[[nodiscard]] ExitStatus command_send(const CommandContext& context);

// Complains when the client has failed. An interruption is kRefused: what was waited for has not come.
[[nodiscard]] ExitStatus command_end(BusClient::Outcome outcome, const BusClient& client,
                                     const Output& output);
