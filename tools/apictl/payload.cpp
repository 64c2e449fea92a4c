#include "tools/apictl/payload.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

#include "runtime/c_owner.h"
#include "src/base/json_helpers.h"
#include "tools/apictl/ApiClient.h"

namespace {

constexpr std::size_t kExcerptBytes = 20;

// Until the end of the input or one byte too many; nothing, with errno set, when it cannot be read. The size of a file
// is not asked: the one named may be a pipe.
std::optional<std::string> read_all(int fd) {
    std::string text;
    char piece[65536];
    while (text.size() <= ApiClient::kMaxMessageBytes) {
        const ssize_t count = read(fd, piece, sizeof piece);
        if (count == 0) {
            break;
        }
        if (count > 0) {
            text.append(piece, static_cast<std::size_t>(count));
        } else if (errno != EINTR) {
            return std::nullopt;
        }
    }
    return text;
}

std::optional<std::string> read_file(const char* path) {
    const UniqueFd file(open(path, O_RDONLY | O_CLOEXEC));
    return file.valid() ? read_all(file.get()) : std::nullopt;
}

std::variant<JsonPtr, PayloadError> parse(const std::string& text) {
    if (text.size() > ApiClient::kMaxMessageBytes) {
        return PayloadError{"the data is larger than a message may be"};
    }
    const char* stopped_at = nullptr;
    JsonPtr json = json_parse(text, &stopped_at);
    if (json != nullptr) {
        return json;
    }
    const auto position = static_cast<std::size_t>(stopped_at - text.c_str());
    if (position >= text.size()) {
        return PayloadError{"the data is no JSON: it ends too early"};
    }
    // The parser tells the place within a byte or so.
    return PayloadError{"the data is no JSON near byte " + std::to_string(position + 1) + ": '" +
                        text.substr(position, kExcerptBytes) + "'"};
}

}  // namespace

std::variant<JsonPtr, PayloadError> payload_read(const std::string& argument) {
    if (argument == "-") {
        const std::optional<std::string> text = read_all(STDIN_FILENO);
        return text ? parse(*text)
                    : PayloadError{std::string("cannot read standard input: ") + std::strerror(errno)};
    }
    if (argument.starts_with('@')) {
        const std::string path = argument.substr(1);
        const std::optional<std::string> text = read_file(path.c_str());
        return text ? parse(*text) : PayloadError{"cannot read '" + path + "': " + std::strerror(errno)};
    }
    return parse(argument);
}
