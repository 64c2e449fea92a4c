// SPDX-License-Identifier: MIT

#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "command_line/CommandLineParser.h"

// What the command lines of all tools have in common.

// Says what the exit statuses mean. `answerer` is who may answer with an error and may be out of reach ("the unit").
void command_line_explain_statuses(CommandLineParser& parser, const std::string& answerer);

// -n/--count ("end after that many <things>") and -t/--timeout; at least 1 each.
void command_line_add_count(CommandLineOptions verb, std::optional<int>& count, const std::string& things);
void command_line_add_timeout(CommandLineOptions verb, std::optional<std::chrono::seconds>& timeout);

// -a/--address, see bus_address_choose().
void command_line_add_bus(CommandLineParser& parser, std::string& address);
