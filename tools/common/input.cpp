// SPDX-License-Identifier: MIT

#include "tools/common/input.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "runtime/c_owner.h"
#include "src/base/json_helpers.h"

namespace {

constexpr std::size_t kExcerptBytes = 20;

}  // namespace

std::variant<std::string, InputError> input_read(const std::string& path, std::size_t limit) {
    const bool is_standard = path == "-";
    const std::string name = is_standard ? "standard input" : "'" + path + "'";
    const UniqueFd file(is_standard ? -1 : open(path.c_str(), O_RDONLY | O_CLOEXEC));
    const int fd = is_standard ? STDIN_FILENO : file.get();
    std::string text;
    char piece[65536];
    // The size of a file is not asked: the one named may be a pipe.
    for (;;) {
        const ssize_t count = fd < 0 ? -1 : read(fd, piece, sizeof piece);
        if (count == 0) {
            return text;
        }
        if (count > 0) {
            text.append(piece, static_cast<std::size_t>(count));
        } else if (errno != EINTR) {
            return InputError{"cannot read " + name + ": " + std::strerror(errno)};
        }
        if (text.size() > limit) {
            return InputError{"the data is larger than a message may be"};
        }
    }
}

std::variant<JsonPtr, InputError> input_parse(const std::string& text) {
    const char* stopped_at = nullptr;
    JsonPtr json = json_parse(text, &stopped_at);
    if (json != nullptr) {
        return json;
    }
    const auto position = static_cast<std::size_t>(stopped_at - text.c_str());
    if (position >= text.size()) {
        return InputError{"the data is no JSON: it ends too early"};
    }
    // The parser tells the place within a byte or so.
    return InputError{"the data is no JSON near byte " + std::to_string(position + 1) + ": '" +
                      text.substr(position, kExcerptBytes) + "'"};
}
