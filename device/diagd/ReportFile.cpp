// SPDX-License-Identifier: MIT

#include "device/diagd/ReportFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

namespace {

constexpr const char* kUnfinished = ".diag_report.";

// A file of that name that is ours and whose lock nobody holds. The directory may be open to everybody: a link is not
// followed, and whatever else has the name is left alone.
bool is_leftover(const std::filesystem::path& path) {
    const UniqueFd fd(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    return fd.valid() && fstat(fd.get(), &status) == 0 && S_ISREG(status.st_mode) &&
           status.st_uid == geteuid() && flock(fd.get(), LOCK_EX | LOCK_NB) == 0;
}

}  // namespace

// The directory may be open to everybody: mkostemp never opens a name that is there, and rename replaces a link in
// place of following it.
std::unique_ptr<ReportFile> ReportFile::create(const std::string& directory) {
    std::string temporary_path = directory + "/" + kUnfinished + "XXXXXX";
    UniqueFd fd(mkostemp(temporary_path.data(), O_CLOEXEC));
    if (!fd.valid()) {
        return nullptr;
    }
    // The lock goes with the last process that has the file open, so it tells a file in use from a leftover.
    flock(fd.get(), LOCK_EX | LOCK_NB);
    return std::unique_ptr<ReportFile>(
        new ReportFile(std::move(fd), std::move(temporary_path), directory + "/" + kName));
}

void ReportFile::remove_leftovers(const std::string& directory) {
    std::error_code error;
    for (std::filesystem::directory_iterator entry(directory, error), end; !error && entry != end;
         entry.increment(error)) {
        if (entry->path().filename().string().starts_with(kUnfinished) && is_leftover(entry->path())) {
            unlink(entry->path().c_str());
        }
    }
}

ReportFile::ReportFile(UniqueFd fd, std::string temporary_path, std::string path)
    : m_fd(std::move(fd)), m_temporary_path(std::move(temporary_path)), m_path(std::move(path)) {}

ReportFile::~ReportFile() {
    if (!m_temporary_path.empty()) {
        unlink(m_temporary_path.c_str());
    }
}

bool ReportFile::commit() {
    if (rename(m_temporary_path.c_str(), m_path.c_str()) != 0) {
        return false;
    }
    m_temporary_path.clear();
    return true;
}
