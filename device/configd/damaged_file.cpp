// SPDX-License-Identifier: MIT

#include "device/configd/damaged_file.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <system_error>

#include "runtime/logging.h"

namespace {

// The file itself comes last: as long as it is in its place, a process that is killed in between starts over.
constexpr std::array<const char*, 4> kSuffixes{"-wal", "-journal", "-shm", ""};

bool is_taken(const std::string& name) {
    return std::ranges::any_of(kSuffixes, [&](const char* suffix) {
        std::error_code error;
        return std::filesystem::exists(std::filesystem::symlink_status(name + suffix, error));
    });
}

}  // namespace

std::optional<std::string> damaged_file_move_aside(const std::string& path) {
    std::string aside;
    int number = 0;
    do {
        aside = path + ".damaged-" + std::to_string(++number);
    } while (is_taken(aside));
    for (const char* suffix : kSuffixes) {
        std::error_code error;
        std::filesystem::rename(path + suffix, aside + suffix, error);
        if (error && error != std::errc::no_such_file_or_directory) {
            logger_function(3, "configd", "cannot move '%s%s' aside: %s", path.c_str(), suffix,
                            error.message().c_str());
            return std::nullopt;
        }
    }
    return aside;
}
