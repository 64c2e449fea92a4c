// SPDX-License-Identifier: MIT

#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <variant>
#include <vector>

// What the user asks for.
struct CommandLine {
    enum class Verb { kStatus, kList, kCall, kSend, kListen, kMonitor, kWaitFor };

    Verb verb = Verb::kStatus;
    std::string bus;  // its address
    bool is_json = false;
    bool is_hex = false;                // data, given and printed, is hex text
    std::string name;                   // of call, send and wait-for
    std::optional<std::string> data;    // of call and send: the bytes to send; none sends no data
    std::vector<std::string> prefixes;  // of listen; one at most of monitor
    std::optional<int> count;           // at least 1
    std::optional<std::chrono::seconds> timeout;
};

// The command, or the status to end with: then help, version or what is wrong with the arguments has been printed.
[[nodiscard]] std::variant<CommandLine, int> command_line_parse(int argc, const char* const* argv);
