// SPDX-License-Identifier: MIT

#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "device/diagd/Report.h"
#include "tests/support/Program.h"
#include "tests/support/TempDirectory.h"

inline std::string FileText(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

// Unpacked: the archive as tar unpacks it, which knows nothing of us.
class Unpacked {
  public:
    explicit Unpacked(const std::string& archive) {
        Program tar("/bin/tar", {"-xzf", archive, "-C", m_directory.path()}, {}, m_log.file("log"));
        m_is_whole = tar.awaitEnd() == 0 && tar.output().empty();
    }

    // Whether tar has found nothing to complain about.
    [[nodiscard]] bool is_whole() const { return m_is_whole; }
    [[nodiscard]] std::string text(const std::string& name) const { return FileText(path(name)); }
    [[nodiscard]] bool has(const std::string& name) const { return std::filesystem::exists(path(name)); }
    [[nodiscard]] std::string path(const std::string& name) const {
        return m_directory.file("diag_report/" + name);
    }

  private:
    TempDirectory m_directory;
    TempDirectory m_log;
    bool m_is_whole = false;
};

// The text of an entry, "(none)" without one.
inline std::string TextOf(const Report& report, const std::string& name) {
    const auto found = std::ranges::find(report.entries(), name, &ReportEntry::name);
    return found != report.entries().end() ? found->text : "(none)";
}

// The names of the files in a directory, hidden ones too.
inline std::vector<std::string> NamesIn(const std::string& directory) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        names.push_back(entry.path().filename().string());
    }
    std::ranges::sort(names);
    return names;
}
