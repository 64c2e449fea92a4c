// SPDX-License-Identifier: MIT

#include "device/diagd/bounded_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "runtime/c_owner.h"

namespace {

constexpr size_t kChunkBytes = 64 * 1024;

// Until the end or until `max_bytes` are there. An errno or 0.
int read_up_to(int fd, size_t max_bytes, std::string& text) {
    while (text.size() < max_bytes) {
        const size_t before = text.size();
        text.resize(std::min(max_bytes, before + kChunkBytes));
        const ssize_t got = read(fd, text.data() + before, text.size() - before);
        const int error = errno;
        text.resize(before + (got > 0 ? static_cast<size_t>(got) : 0));
        if (got == 0) {
            return 0;
        }
        if (got < 0 && error != EINTR) {
            return error;
        }
    }
    return 0;
}

void cut_to_whole_lines(std::string& text) {
    const size_t line_end = text.find('\n');
    if (line_end != std::string::npos) {
        text.erase(0, line_end + 1);
    }
}

}  // namespace

BoundedFile bounded_file_read(const std::string& path, size_t max_bytes, FilePart part) {
    BoundedFile file;
    const UniqueFd fd(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status {};
    if (!fd.valid() || fstat(fd.get(), &status) != 0) {
        file.error = errno;
        return file;
    }
    if (!S_ISREG(status.st_mode)) {
        file.error = EINVAL;
        return file;
    }
    const auto limit = static_cast<off_t>(max_bytes);
    if (part == FilePart::kTail && status.st_size > limit) {
        lseek(fd.get(), status.st_size - limit, SEEK_SET);
        file.is_cut = true;
    }
    // One byte more than wanted tells whether there is more: files in /proc do not know their size.
    file.error = read_up_to(fd.get(), max_bytes + 1, file.text);
    if (file.error != 0) {
        file.text.clear();
    }
    if (file.text.size() > max_bytes) {
        file.text.resize(max_bytes);
        file.is_cut = true;
    }
    if (file.is_cut && part == FilePart::kTail) {
        cut_to_whole_lines(file.text);
    }
    return file;
}
