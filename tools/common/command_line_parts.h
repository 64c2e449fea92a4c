#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

// What the command lines of all tools have in common: a program with verbs, its common options before or after them.

// The version, one verb at most, how faults are told and what the exit statuses mean. `answerer` is who may answer with
// an error and may be out of reach ("the unit").
void command_line_set_up(CLI::App& app, const std::string& answerer);

// `common_options` is what the help of the verb names of the others: "-s and --raw".
CLI::App* command_line_add_verb(CLI::App& app, const std::string& name, const std::string& description,
                                const std::string& common_options);

// -n/--count ("end after that many <things>") and -t/--timeout in seconds; at least 1 each.
void command_line_add_count(CLI::App* verb, std::optional<int>& count, const std::string& things);
void command_line_add_timeout(CLI::App* verb, std::optional<int>& timeout_s);

// -a/--address, and what it comes to: the option, else CBUS_ADDR, else the bus of the unit.
void command_line_add_bus(CLI::App& app, std::string& address);
[[nodiscard]] std::string command_line_bus(const std::string& option);

// Nothing when a verb was given; else the status to end with, and help, version or what is wrong has been printed.
[[nodiscard]] std::optional<int> command_line_read(CLI::App& app, int argc, const char* const* argv);
