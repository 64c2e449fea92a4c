// SPDX-License-Identifier: MIT

#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

// What the user asks for.
struct CommandLine {
    enum class Verb { kGet, kSet, kDelete, kList, kWatch, kExport, kImport, kStat, kSync, kFactoryReset };

    Verb verb = Verb::kGet;
    std::string bus;  // its address
    bool is_json = false;
    std::vector<std::string> keys;       // of get, delete and stat; the one of set; the prefixes of watch
    std::string value;                   // of set
    std::optional<std::uint32_t> type;   // of set, as the database numbers it
    std::optional<std::string> pattern;  // of list and export
    std::string file = "-";              // of import
    bool is_confirmed = false;           // factory-reset does not ask
    std::optional<int> count;            // at least 1
    std::optional<std::chrono::seconds> timeout;
};

// The command, or the status to end with: then help, version or what is wrong with the arguments has been printed.
[[nodiscard]] std::variant<CommandLine, int> command_line_parse(int argc, const char* const* argv);
