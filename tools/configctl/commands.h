// SPDX-License-Identifier: MIT

#pragma once

#include "tools/common/Output.h"
#include "tools/common/exit_status.h"
#include "tools/configctl/Database.h"
#include "tools/configctl/command_line.h"

// Each command from its arguments to its exit status. Standard output and error output are written; SIGPIPE has to be
// ignored.
[[nodiscard]] ExitStatus command_run(const CommandLine& command);

// The commands on a connection that is there.
struct CommandContext {
    const CommandLine& command;
    Database& database;
    const Output& output;
};

[[nodiscard]] ExitStatus command_get(const CommandContext& context);
[[nodiscard]] ExitStatus command_stat(const CommandContext& context);
[[nodiscard]] ExitStatus command_list(const CommandContext& context);
[[nodiscard]] ExitStatus command_export(const CommandContext& context);

[[nodiscard]] ExitStatus command_set(const CommandContext& context);
[[nodiscard]] ExitStatus command_delete(const CommandContext& context);
// The entries of the command's file.
[[nodiscard]] ExitStatus command_import(const CommandContext& context,
                                        const std::vector<ConfigEntry>& entries);
[[nodiscard]] ExitStatus command_sync(const CommandContext& context);
[[nodiscard]] ExitStatus command_factory_reset(const CommandContext& context);

// Says that nobody answers.
[[nodiscard]] ExitStatus command_unanswered(const CommandContext& context);
