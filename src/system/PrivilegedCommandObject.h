// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <vector>

#include "src/base/owners.h"

// PrivilegedCommandObject: the data of one command, as clients send and see it.
struct PrivilegedCommandObject {
    int cmd_id = -1;
    std::string status{};
    std::string command{};
    std::vector<std::string> arguments{};
    // Paths; empty where the client named none.
    std::string stdin_path{};
    std::string stdout_path{};
    std::string stderr_path{};
    int exitcode = -1;

    // Takes over the command with its arguments and paths; the body may be null. A path that is no text or has
    // more than 128 bytes stays empty. False, with some fields set, when the command is absent or no text,
    // the arguments are no array of texts, more than 1024 or more than 64 KiB together, or one has more than
    // 128 bytes.
    [[nodiscard]] bool readFrom(const cJSON* body);
    [[nodiscard]] std::string commandLine() const;
    // All fields, in their order; null without memory.
    [[nodiscard]] JsonPtr toJson() const;
};
