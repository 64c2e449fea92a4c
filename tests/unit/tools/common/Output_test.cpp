// SPDX-License-Identifier: MIT

#include "tools/common/Output.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string>
#include <thread>

#include "src/base/owners.h"

namespace {

using Result = Output::Result;

class OutputTest : public testing::Test {
  protected:
    void SetUp() override {
        signal(SIGPIPE, SIG_IGN);
        unsetenv("NO_COLOR");
        Pipe(m_reader, m_writer);
        Pipe(m_error_reader, m_error_writer);
    }
    void TearDown() override { signal(SIGPIPE, SIG_DFL); }

    void OpenTerminal() {
        int terminal = -1;
        int inner = -1;
        ASSERT_EQ(openpty(&terminal, &inner, nullptr, nullptr, nullptr), 0);
        m_terminal.reset(terminal);
        m_inner.reset(inner);
    }
    std::string Shown() {
        char text[64];
        const ssize_t count = read(m_terminal.get(), text, sizeof text);
        return {text, count > 0 ? static_cast<size_t>(count) : 0};
    }

    static void Pipe(UniqueFd& reader, UniqueFd& writer) {
        int ends[2];
        ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
        reader.reset(ends[0]);
        writer.reset(ends[1]);
    }
    Output MakeOutput(int fd) { return Output("tool", m_interruption, fd, m_error_writer.get()); }
    Output MakeOutput() { return MakeOutput(m_writer.get()); }
    // Up to the end of what has been written, which closes our writing end.
    static std::string ReadAll(UniqueFd& reader, UniqueFd& writer) {
        writer.reset();
        std::string text;
        char piece[4096];
        for (ssize_t count = 0; (count = read(reader.get(), piece, sizeof piece)) > 0;) {
            text.append(piece, static_cast<size_t>(count));
        }
        return text;
    }
    std::string Written() { return ReadAll(m_reader, m_writer); }
    std::string Complaints() { return ReadAll(m_error_reader, m_error_writer); }

    Interruption m_interruption;
    UniqueFd m_reader;
    UniqueFd m_writer;
    UniqueFd m_error_reader;
    UniqueFd m_error_writer;
    UniqueFd m_terminal;
    UniqueFd m_inner;
    JsonPtr m_json{cJSON_Parse(R"({"a": 1})")};
};

}  // namespace

TEST_F(OutputTest, WritesALine) {
    EXPECT_EQ(MakeOutput().writeLine("text"), Result::kWritten);

    EXPECT_EQ(Written(), "text\n");
}

TEST_F(OutputTest, WritesALineAtOnce) {
    const Output output = MakeOutput();
    ASSERT_EQ(output.writeLine("text"), Result::kWritten);

    char text[10];
    EXPECT_EQ(read(m_reader.get(), text, sizeof text), 5);
}

TEST_F(OutputTest, WritesJsonToAPipeOnOneLine) {
    EXPECT_EQ(MakeOutput().writeJson(*m_json), Result::kWritten);

    EXPECT_EQ(Written(), "{\"a\":1}\n");
}

TEST_F(OutputTest, WritesJsonToATerminalIndented) {
    OpenTerminal();

    EXPECT_EQ(MakeOutput(m_inner.get()).writeJson(*m_json), Result::kWritten);

    EXPECT_EQ(Shown(), "{\r\n\t\"a\":\t1\r\n}\r\n");
}

TEST_F(OutputTest, WritesJsonToATerminalOnOneLineWhenAskedTo) {
    OpenTerminal();
    Output output = MakeOutput(m_inner.get());
    output.keepJsonOnOneLine();

    EXPECT_EQ(output.writeJson(*m_json), Result::kWritten);

    EXPECT_EQ(Shown(), "{\"a\":1}\r\n");
}

TEST_F(OutputTest, PaintsForATerminal) {
    OpenTerminal();
    setenv("TERM", "xterm", 1);

    EXPECT_EQ(MakeOutput(m_inner.get()).paint()(Paint::Colour::kBad, "x"), "\x1b[31mx\x1b[0m");
}

TEST_F(OutputTest, PaintsNothingForAPipe) {
    EXPECT_EQ(MakeOutput().paint()(Paint::Colour::kBad, "x"), "x");
}

TEST_F(OutputTest, PaintsNothingWhereNoColoursAreWanted) {
    OpenTerminal();
    setenv("TERM", "dumb", 1);
    EXPECT_EQ(MakeOutput(m_inner.get()).paint()(Paint::Colour::kBad, "x"), "x");

    setenv("TERM", "xterm", 1);
    setenv("NO_COLOR", "1", 1);
    EXPECT_EQ(MakeOutput(m_inner.get()).paint()(Paint::Colour::kBad, "x"), "x");
}

TEST_F(OutputTest, WritesMoreThanAPipeHolds) {
    const std::string line(1 << 20, 'x');
    std::string read_back;
    std::jthread reader([&] {
        read_back.resize(line.size() + 1);
        for (size_t done = 0; done < read_back.size();) {
            const ssize_t count = read(m_reader.get(), read_back.data() + done, read_back.size() - done);
            ASSERT_GT(count, 0);
            done += static_cast<size_t>(count);
        }
    });

    EXPECT_EQ(MakeOutput().writeLine(line), Result::kWritten);

    reader.join();
    EXPECT_EQ(read_back, line + '\n');
}

TEST_F(OutputTest, WaitsForAReaderThatReadsSlowlyWithoutBlocking) {
    ASSERT_EQ(fcntl(m_writer.get(), F_SETFL, O_NONBLOCK), 0);
    const std::string line(1 << 18, 'x');
    std::jthread reader([&] {
        std::string piece(4096, '\0');
        for (size_t done = 0; done <= line.size();) {
            const ssize_t count = read(m_reader.get(), piece.data(), piece.size());
            ASSERT_GT(count, 0);
            done += static_cast<size_t>(count);
        }
    });

    EXPECT_EQ(MakeOutput().writeLine(line), Result::kWritten);
}

TEST_F(OutputTest, EndsWithoutAWordWhenNobodyReads) {
    m_reader.reset();

    EXPECT_EQ(MakeOutput().writeLine("text"), Result::kEnded);

    EXPECT_EQ(Complaints(), "");
}

TEST_F(OutputTest, AnInterruptionEndsTheWaitForAReader) {
    ASSERT_TRUE(m_interruption.addSignals());
    const Output output = MakeOutput();
    raise(SIGTERM);

    EXPECT_EQ(output.writeLine("text"), Result::kEnded);
}

TEST_F(OutputTest, ComplainsWhenTheDiskIsFull) {
    const UniqueFd full(open("/dev/full", O_WRONLY | O_CLOEXEC));

    EXPECT_EQ(MakeOutput(full.get()).writeLine("text"), Result::kFailed);

    EXPECT_EQ(Complaints(), "tool: cannot write: No space left on device\n");
}

TEST_F(OutputTest, ComplainsWhenThereIsNoOutput) {
    const UniqueFd placeholder(open("/", O_PATH | O_CLOEXEC));

    EXPECT_EQ(MakeOutput(placeholder.get()).writeLine("text"), Result::kFailed);

    EXPECT_EQ(Complaints(), "tool: cannot write: Bad file descriptor\n");
}

TEST_F(OutputTest, AComplaintIsOnePrintableLine) {
    MakeOutput().complain("a\nb\x1b");

    EXPECT_EQ(Complaints(), "tool: a\\u000ab\\u001b\n");
    EXPECT_EQ(Written(), "");
}
