// SPDX-License-Identifier: MIT

#pragma once

#include <string>

// Reading a whole text file.

enum class TextFileResult {
    kRead,
    kNotOpened,
    kNoSize,  // logged at level 6: Could not stat file '...'
    kShort    // empty, or shorter than its size says
};

// Reads the file into `text` without a leading UTF-8 byte-order mark, whose presence is logged at level 7. Log lines
// carry `log_source` as their module. `text` is meaningful after kRead only. Blocks as long as the disk does.
[[nodiscard]] TextFileResult text_file_read(const char* path, const char* log_source, std::string& text);
