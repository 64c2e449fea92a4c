// SPDX-License-Identifier: MIT

#pragma once

#include <sys/wait.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/RunningDatabase.h"

// ToolFixture: the real program TOOL_PROGRAM beside the real bus and database, its standard error in a file of its own.
class ToolFixture : public RunningDatabase {
  protected:
    void SetUp() override {
        RunningDatabase::SetUp();
        setenv("TOOL", TOOL_PROGRAM, 1);
        setenv("ERRORS", m_directory.file("err").c_str(), 1);
    }

    // A line of the shell in which "$TOOL" is the program.
    [[nodiscard]] std::unique_ptr<Program> Shell(const std::string& line) {
        return Start("/bin/sh", {"-c", "exec 2>\"$ERRORS\"; " + line});
    }
    [[nodiscard]] std::unique_ptr<Program> StartTool(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"-c", "exec \"$TOOL\" \"$@\" 2>\"$ERRORS\" </dev/null", "sh"});
        return Start("/bin/sh", arguments);
    }
    // The exit status; -1 when it ended otherwise or not at all.
    static int StatusOf(Program& program) {
        const int status = program.awaitEnd().value_or(-1);
        return status >= 0 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    // Runs it to its end; what it printed and complained about is left in the members.
    int Run(Program& program) {
        const int status = StatusOf(program);
        m_printed = program.output();
        m_complaints = Complaints();
        return status;
    }
    int Run(const std::vector<std::string>& arguments) { return Run(*StartTool(arguments)); }
    int RunShell(const std::string& line) { return Run(*Shell(line)); }

    [[nodiscard]] std::string Complaints() const {
        std::ostringstream text;
        text << std::ifstream(m_directory.file("err")).rdbuf();
        return text.str();
    }

    // A program without a bus.
    void StopBus() {
        m_database.reset();
        m_bus.reset();
    }

    std::string m_printed;
    std::string m_complaints;
};
