#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "UnitFixture.h"

// CommandsUnit: a unit whose privileged commands are scripts. They are found on the daemon's PATH.
class CommandsUnit : public UnitFixture {
  protected:
    static constexpr const char* kCommands = "/system/oem/privileged-cmds";

    void SetUp() override {
        std::filesystem::create_directory(File("bin"));
        Script("ip", "echo \"$@\"; echo to stderr >&2; exit 3");
        Script("tcpdump", "trap 'exit 0' TERM; while :; do sleep 0.01; done");
        m_path = getenv("PATH");
        setenv("PATH", (File("bin") + ":" + m_path).c_str(), 1);
        UnitFixture::SetUp();
    }
    void TearDown() override {
        UnitFixture::TearDown();
        setenv("PATH", m_path.c_str(), 1);
    }

    std::string File(const std::string& name) const { return m_unit.directory() / name; }
    void Script(const std::string& name, const std::string& text) const {
        const std::string path = File("bin/" + name);
        std::ofstream(path) << "#!/bin/sh\n" << text << "\n";
        std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    }
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

    std::string m_path;
};
