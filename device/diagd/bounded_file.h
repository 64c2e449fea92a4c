// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <string>

// Reading a file of unknown size and kind.

enum class FilePart {
    kHead,  // what does not fit at the end is left out
    kTail   // what does not fit at the beginning is left out, up to the first whole line
};

struct BoundedFile {
    int error = 0;  // an errno; the text is empty then
    std::string text;
    bool is_cut = false;
};

// At most `max_bytes` of the file. Only of a regular one, as those in /proc are as well: EINVAL for a pipe or a device,
// whose reading could block for ever.
[[nodiscard]] BoundedFile bounded_file_read(const std::string& path, size_t max_bytes, FilePart part);
