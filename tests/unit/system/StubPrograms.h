// SPDX-License-Identifier: MIT

#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "runtime/c_owner.h"
#include "tests/support/TempDirectory.h"

// StubPrograms: a directory, first on the search path while this object lives, with shell scripts in the place of
// programs. A script finds the directory in $DIR; `read answer < $GATE` in it waits for open().
class StubPrograms {
  public:
    StubPrograms() {
        mkfifo(m_directory.file("gate").c_str(), 0600);
        // Open for reading as well, so that neither side waits for the other.
        m_gate.reset(::open(m_directory.file("gate").c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK));
        setenv("PATH", (m_directory.path() + (":" + m_path_before)).c_str(), 1);
        setenv("DIR", m_directory.path(), 1);
        setenv("GATE", m_directory.file("gate").c_str(), 1);
    }
    ~StubPrograms() {
        setenv("PATH", m_path_before.c_str(), 1);
        unsetenv("DIR");
        unsetenv("GATE");
    }
    StubPrograms(const StubPrograms&) = delete;
    StubPrograms& operator=(const StubPrograms&) = delete;

    // Answers the path of the program.
    std::string write(const std::string& name, const std::string& script) const {
        const std::string path = m_directory.write(name, "#!/bin/sh\n" + script + "\n");
        std::filesystem::permissions(path, std::filesystem::perms::owner_all);
        return path;
    }
    void writeFile(const std::string& name, const std::string& text) const { m_directory.write(name, text); }
    // Lets one script go on that waits, or the next one that will.
    void open(const std::string& answer = "") const {
        const std::string line = answer + "\n";
        static_cast<void>(!::write(m_gate.get(), line.data(), line.size()));
    }

    [[nodiscard]] std::string file(const std::string& name) const { return m_directory.file(name); }
    [[nodiscard]] bool has(const std::string& name) const { return std::filesystem::exists(file(name)); }
    // What a file holds; empty when there is none.
    [[nodiscard]] std::string text(const std::string& name) const {
        std::ostringstream text;
        text << std::ifstream(file(name)).rdbuf();
        return text.str();
    }

  private:
    TempDirectory m_directory;
    UniqueFd m_gate;
    std::string m_path_before = std::getenv("PATH");
};
