#include "device/diagd/ReportFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <utility>

// The directory may be open to everybody: mkostemp never opens a name that is there, and rename replaces a link in
// place of following it.
std::unique_ptr<ReportFile> ReportFile::create(const std::string& directory) {
    std::string temporary_path = directory + "/.diag_report.XXXXXX";
    UniqueFd fd(mkostemp(temporary_path.data(), O_CLOEXEC));
    if (!fd.valid()) {
        return nullptr;
    }
    return std::unique_ptr<ReportFile>(
        new ReportFile(std::move(fd), std::move(temporary_path), directory + "/" + kName));
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
