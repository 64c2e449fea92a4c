// SPDX-License-Identifier: MIT

#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "FakeApi.h"
#include "tests/support/Program.h"

// The real program, its standard error in a file of its own, against a fake of the daemon in this process.
class ProgramFixture : public testing::Test {
  protected:
    void SetUp() override {
        unsetenv("MRV_JSON_RPC_TEST");
        setenv("ORVALE_API", m_api.path().c_str(), 1);
        setenv("APICTL", APICTL_PROGRAM, 1);
        setenv("ERRORS", m_api.directory().file("err").c_str(), 1);
    }

    // A line of the shell in which "$APICTL" is the program.
    [[nodiscard]] Program Shell(const std::string& line) const {
        return {"/bin/sh", {"-c", "exec 2>\"$ERRORS\"; " + line}, {}, m_api.directory().file("out")};
    }
    [[nodiscard]] Program Start(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {"-c", "exec \"$APICTL\" \"$@\" 2>\"$ERRORS\"", "sh"});
        return {"/bin/sh", arguments, {}, m_api.directory().file("out")};
    }
    // The exit status; -1 when it ended otherwise or not at all.
    static int StatusOf(Program& program) {
        const int status = program.awaitEnd().value_or(-1);
        return status >= 0 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    [[nodiscard]] std::string Complaints() const {
        std::ostringstream text;
        text << std::ifstream(m_api.directory().file("err")).rdbuf();
        return text.str();
    }

    FakeApi m_api;
};
