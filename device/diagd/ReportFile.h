// SPDX-License-Identifier: MIT

#pragma once

#include <memory>
#include <string>

#include "runtime/c_owner.h"

// ReportFile: the file of a report that is being made. It gets its name when it is complete; until then it has a name
//   that nobody can foresee, and goes with this object. Mode 0600.
// Errors:  create() answers null and commit() false, both with errno set.
class ReportFile {
  public:
    static constexpr const char* kName = "diag_report.tar.gz";

    [[nodiscard]] static std::unique_ptr<ReportFile> create(const std::string& directory);
    // Deletes the unfinished files of this user that nobody writes any more: their program was killed.
    static void remove_leftovers(const std::string& directory);
    ReportFile(const ReportFile&) = delete;
    ReportFile& operator=(const ReportFile&) = delete;
    ~ReportFile();

    [[nodiscard]] int fd() const { return m_fd.get(); }
    // Puts the file in the place of the last report, or of whatever has its name there but a directory.
    [[nodiscard]] bool commit();

  private:
    ReportFile(UniqueFd fd, std::string temporary_path, std::string path);

    UniqueFd m_fd;
    std::string m_temporary_path;  // empty once committed
    std::string m_path;
};
