// SPDX-License-Identifier: MIT

#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

// CommandScripts: scripts in the place of the programs that are found on PATH, for what is started afterwards.
class CommandScripts {
  public:
    explicit CommandScripts(const std::filesystem::path& directory)
        : m_directory(directory / "bin"), m_path(getenv("PATH")) {
        std::filesystem::create_directory(m_directory);
        setenv("PATH", (m_directory.string() + ":" + m_path).c_str(), 1);
    }
    CommandScripts(const CommandScripts&) = delete;
    CommandScripts& operator=(const CommandScripts&) = delete;
    ~CommandScripts() { setenv("PATH", m_path.c_str(), 1); }

    void add(const std::string& name, const std::string& text) const {
        const std::filesystem::path path = m_directory / name;
        std::ofstream(path) << "#!/bin/sh\n" << text << "\n";
        std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    }

  private:
    std::filesystem::path m_directory;
    std::string m_path;
};
