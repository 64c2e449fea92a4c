// SPDX-License-Identifier: MIT

#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

// TempDirectory: an empty directory that goes with this object.
class TempDirectory {
  public:
    TempDirectory() {
        std::string pattern = std::filesystem::temp_directory_path() / "orvaleXXXXXX";
        m_path = mkdtemp(pattern.data()) == nullptr ? "" : pattern;
    }
    ~TempDirectory() { std::filesystem::remove_all(m_path); }
    TempDirectory(const TempDirectory&) = delete;
    TempDirectory& operator=(const TempDirectory&) = delete;

    [[nodiscard]] const char* path() const { return m_path.c_str(); }
    // The path of a file in it, whether there is one or not.
    [[nodiscard]] std::string file(const std::string& name) const { return m_path + "/" + name; }
    // Answers the path of the file written.
    std::string write(const std::string& name, std::string_view text) const {
        std::ofstream(file(name), std::ios::binary) << text;
        return file(name);
    }

  private:
    std::string m_path;
};
