// SPDX-License-Identifier: MIT

#include "src/base/text_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "runtime/c_owner.h"
#include "runtime/logging.h"

namespace {

constexpr const char* kByteOrderMark = "\xEF\xBB\xBF";

bool read_exactly(int fd, std::string& text) {
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t got = read(fd, text.data() + done, text.size() - done);
        if (got > 0) {
            done += static_cast<std::size_t>(got);
        } else if (got == 0 || errno != EINTR) {
            return false;
        }
    }
    return true;
}

}  // namespace

TextFileResult text_file_read(const char* path, const char* log_source, std::string& text) {
    const UniqueFd file(open(path, O_RDONLY | O_CLOEXEC));
    if (!file.valid()) {
        return TextFileResult::kNotOpened;
    }
    struct stat status {};
    if (fstat(file.get(), &status) != 0) {
        logger_function(6, log_source, "Could not stat file '%s'", path);
        return TextFileResult::kNoSize;
    }
    text.assign(static_cast<std::size_t>(status.st_size), '\0');
    if (text.empty() || !read_exactly(file.get(), text)) {
        return TextFileResult::kShort;
    }
    if (text.starts_with(kByteOrderMark)) {
        logger_function(7, log_source, "UTF-8 BOM present, skipping");
        text.erase(0, 3);
    }
    return TextFileResult::kRead;
}
