// SPDX-License-Identifier: MIT

#include "src/system/FileOps.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>

#include "runtime/c_owner.h"
#include "runtime/logging.h"

namespace {

constexpr const char* kModule = "src/FileOps";

constexpr mode_t kFileMode = 0666;
constexpr mode_t kDirectoryMode = 0777;

bool is_directory(const char* path) {
    struct stat status {};
    return stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

bool FileOps::createFile(const char* path) {
    const UniqueFd file(open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NONBLOCK, kFileMode));
    if (!file.valid()) {
        logger_function(4, kModule, "createFile %s failed, errno = %d", path, errno);
    }
    return file.valid();
}

bool FileOps::existFile(const char* path) {
    const UniqueFd file(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    return file.valid();
}

int FileOps::deleteFile(const char* path) {
    return std::remove(path);
}

bool FileOps::createDir(const char* path) {
    return mkdir(path, kDirectoryMode) == 0 || (errno == EEXIST && is_directory(path));
}
