// SPDX-License-Identifier: MIT

#pragma once

#include <optional>
#include <string>

#include "tools/apictl/ApiClient.h"
#include "tools/apictl/command_line.h"
#include "tools/common/Output.h"
#include "tools/common/exit_status.h"

// Subscriptions of the connection that asks for them.

// "/system" for a resource below it; slashes in front may be doubled. The path has a name in it.
[[nodiscard]] std::string subscription_api(const std::string& path);
// Where the subscription of a resource is made: "/system/subscriptions/system/info" for "/system/info".
[[nodiscard]] std::string subscription_path(const std::string& path);

// Subscribes to every path of the command. Nothing when the unit has taken them all; else the status to end with, and
// has complained where there is a reason.
[[nodiscard]] std::optional<ExitStatus> subscribe(ApiClient& client, const CommandLine& command,
                                                  const Output& output);
