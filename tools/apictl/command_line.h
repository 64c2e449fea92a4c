// SPDX-License-Identifier: MIT

#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <variant>
#include <vector>

// What the user asks for.
struct CommandLine {
    enum class Verb { kCreate, kRead, kUpdate, kDelete, kWatch, kSubscriptions };

    Verb verb = Verb::kRead;
    std::string socket;
    bool is_raw = false;  // not together with is_json
    bool is_json = false;
    std::vector<std::string> paths;  // one for create, read, update and delete; each begins with "/"
    std::optional<std::string> payload;
    bool is_recursive = false;
    std::string include = "ALL";  // as the daemon spells it
    std::optional<int> count;     // at least 1
    std::optional<std::chrono::seconds> timeout;
};

// The command, or the status to end with: then help, version or what is wrong with the arguments has been printed.
[[nodiscard]] std::variant<CommandLine, int> command_line_parse(int argc, const char* const* argv);

// The socket of a daemon with the same environment.
[[nodiscard]] std::string default_socket();
