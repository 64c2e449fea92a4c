// SPDX-License-Identifier: MIT

#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <sstream>
#include <string>

#include "FakeApi.h"
#include "runtime/c_owner.h"
#include "tools/apictl/command_line.h"
#include "tools/common/Output.h"

// A command against a fake of the daemon, in this process, with its output and its complaints in files.
class CommandFixture : public testing::Test {
  protected:
    CommandFixture() { m_command.socket = m_api.path(); }
    void SetUp() override { signal(SIGPIPE, SIG_IGN); }
    void TearDown() override { signal(SIGPIPE, SIG_DFL); }

    UniqueFd Create(const char* name) {
        return UniqueFd(open(m_api.directory().file(name).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    }
    std::string Read(const char* name) {
        std::ostringstream text;
        text << std::ifstream(m_api.directory().file(name)).rdbuf();
        return text.str();
    }
    std::string Printed() { return Read("out"); }
    std::string Complaints() { return Read("err"); }

    FakeApi m_api;
    CommandLine m_command;
    Interruption m_interruption;
    UniqueFd m_out = Create("out");
    UniqueFd m_err = Create("err");
    Output m_output{"apictl", m_interruption, m_out.get(), m_err.get()};
};
