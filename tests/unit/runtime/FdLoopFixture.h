// SPDX-License-Identifier: MIT

#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "runtime/fdloop_libevent.h"

inline constexpr const char* kAssertText = "\\*\\*\\* ASSERT in fdloop_libevent at [0-9]+";

struct Pipe {
    Pipe() {
        int ends[2];
        EXPECT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
        reader.reset(ends[0]);
        writer.reset(ends[1]);
    }
    void Fill() const { EXPECT_EQ(write(writer.get(), "x", 1), 1); }

    UniqueFd reader;
    UniqueFd writer;
};

inline int do_nothing(int, void*, void*) {
    return 0;
}

// FdLoop: a loop with a descriptor to watch, ready for reading.
class FdLoop : public testing::Test {
  protected:
    FdLoop() {
        // Something is always ready, so that no pass waits.
        m_ready.Fill();
        fdloop_fd_register(m_loop.get(), m_ready.reader.get(), do_nothing, nullptr);
        m_pipe.Fill();
    }

    void Run(int passes = 1) {
        for (int pass = 0; pass < passes; ++pass) {
            EXPECT_EQ(fdloop_run(m_loop.get()), 0);
        }
    }
    [[nodiscard]] int Fd() const { return m_pipe.reader.get(); }

    Pipe m_ready;
    Pipe m_pipe;
    FdLoopPtr m_loop{fdloop_init()};
};
