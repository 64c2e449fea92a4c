// SPDX-License-Identifier: MIT

#pragma once

#include <optional>
#include <string>

// Renames an SQLite file, and what SQLite keeps beside it, to "<path>.damaged-<number>": the first number for
// which there is no file yet. What was moved aside earlier is never overwritten.
// Errors: nothing, and one log line, when it cannot be renamed.
[[nodiscard]] std::optional<std::string> damaged_file_move_aside(const std::string& path);
