// SPDX-License-Identifier: MIT

#pragma once

#include <filesystem>
#include <fstream>
#include <string>

#include "CommandScripts.h"
#include "UnitFixture.h"

// CommandsUnit: a unit whose privileged commands are scripts. They are found on the daemon's PATH.
class CommandsUnit : public UnitFixture {
  protected:
    static constexpr const char* kCommands = "/system/oem/privileged-cmds";

    void SetUp() override {
        Script("ip", "echo \"$@\"; echo to stderr >&2; exit 3");
        Script("tcpdump", "trap 'exit 0' TERM; while :; do sleep 0.01; done");
        UnitFixture::SetUp();
    }

    std::string File(const std::string& name) const { return m_unit.directory() / name; }
    void Script(const std::string& name, const std::string& text) const { m_scripts.add(name, text); }
    // The first line.
    std::string Contents(const std::string& name) const {
        std::ifstream file(File(name));
        std::string line;
        std::getline(file, line);
        return line;
    }
    std::string ContentsOnceThere(const std::string& name) const {
        for (int i = 0; i < 1000 && Contents(name).empty(); ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return Contents(name);
    }

    const CommandScripts m_scripts{m_unit.directory()};
};
