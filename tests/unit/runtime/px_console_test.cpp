// SPDX-License-Identifier: MIT

#include "runtime/px_console.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "runtime/c_owner.h"

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

namespace {

// Standard output is a pipe while this lives.
class StdoutPipe {
  public:
    explicit StdoutPipe(int flags) {
        int ends[2];
        EXPECT_EQ(pipe2(ends, O_CLOEXEC | flags), 0);
        m_reader.reset(ends[0]);
        const UniqueFd writer(ends[1]);
        m_stdout.reset(dup(STDOUT_FILENO));
        dup2(writer.get(), STDOUT_FILENO);
    }
    ~StdoutPipe() { dup2(m_stdout.get(), STDOUT_FILENO); }
    StdoutPipe(const StdoutPipe&) = delete;
    StdoutPipe& operator=(const StdoutPipe&) = delete;

    void WaitUntilFull() const {
        int size = 0;
        while (size < fcntl(m_reader.get(), F_GETPIPE_SZ)) {
            usleep(500);
            ioctl(m_reader.get(), FIONREAD, &size);
        }
        usleep(2000);
    }

    [[nodiscard]] std::string Read(std::size_t size) const {
        std::string text(size, '\0');
        std::size_t filled = 0;
        while (filled < size) {
            const ssize_t count = read(m_reader.get(), text.data() + filled, size - filled);
            if (count <= 0) {
                break;
            }
            filled += static_cast<std::size_t>(count);
        }
        text.resize(filled);
        return text;
    }

  private:
    UniqueFd m_reader;
    UniqueFd m_stdout;
};

void ignore_signal(int) {}

void LetSignalInterruptCalls(int sig) {
    struct sigaction action = {};
    action.sa_handler = ignore_signal;
    sigaction(sig, &action, nullptr);
}

int CallVprintf(int (*print)(const char*, va_list), const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int length = print(format, args);
    va_end(args);
    return length;
}

}  // namespace

TEST(PxPuts, WritesTheTextToStandardOutput) {
    CaptureStdout();

    const int written = px_puts("hello\n");

    EXPECT_EQ(GetCapturedStdout(), "hello\n");
    EXPECT_EQ(written, 6);
}

TEST(PxPuts, AnswersZeroForAnEmptyText) {
    EXPECT_EQ(px_puts(""), 0);
}

TEST(PxPuts, WritesEverythingAcrossInterruptedAndPartialWrites) {
    const std::string text(300000, 'x');
    LetSignalInterruptCalls(SIGUSR1);
    const StdoutPipe output(0);
    const pthread_t writer = pthread_self();
    std::string seen;
    std::thread reader([&] {
        output.WaitUntilFull();
        for (int interruptions = 0; interruptions < 3; ++interruptions) {
            pthread_kill(writer, SIGUSR1);
            usleep(2000);
        }
        seen = output.Read(text.size());
    });

    const int written = px_puts(text.c_str());
    reader.join();

    EXPECT_EQ(written, 300000);
    EXPECT_EQ(seen, text);
}

TEST(PxPuts, StopsAtAnyOtherErrorAndAnswersWhatWasWritten) {
    const std::string text(300000, 'x');
    const StdoutPipe output(O_NONBLOCK);

    const int written = px_puts(text.c_str());

    EXPECT_GT(written, 0);
    EXPECT_LT(written, 300000);
    EXPECT_EQ(output.Read(text.size()).size(), static_cast<std::size_t>(written));
}

TEST(PxPrintf, PrintsTheFormattedTextAndAnswersItsLength) {
    CaptureStdout();

    const int length = px_printf("%s=%d\n", "a", 5);

    EXPECT_EQ(GetCapturedStdout(), "a=5\n");
    EXPECT_EQ(length, 4);
}

TEST(PxPrintf, CutsALineAtSeventyNineCharacters) {
    const std::string text(100, 'x');
    CaptureStdout();

    const int length = px_printf("%s", text.c_str());

    EXPECT_EQ(GetCapturedStdout(), std::string(79, 'x'));
    EXPECT_EQ(length, 79);
}

TEST(PxPrintf, TakesAnArgumentListToo) {
    CaptureStdout();

    const int length = CallVprintf(px_vprintf, "%d-%d", 1, 2);

    EXPECT_EQ(GetCapturedStdout(), "1-2");
    EXPECT_EQ(length, 3);
}

TEST(PxConsole, NamesPrintTheSameWay) {
    CaptureStdout();

    const int put = px_console_puts("a");
    const int printed = px_console_printf("%s", "bc");
    const int printed_list = CallVprintf(px_console_vprintf, "%s", "def");

    EXPECT_EQ(GetCapturedStdout(), "abcdef");
    EXPECT_EQ(put, 1);
    EXPECT_EQ(printed, 2);
    EXPECT_EQ(printed_list, 3);
}

TEST(PxSnprintf, AnswersTheNumberOfStoredCharacters) {
    char buffer[4];

    EXPECT_EQ(px_snprintf(buffer, sizeof buffer, "%s", "ab"), 2);
    EXPECT_STREQ(buffer, "ab");
}

TEST(PxSnprintf, StoresAtMostSizeMinusOneCharacters) {
    char buffer[4];

    EXPECT_EQ(px_snprintf(buffer, sizeof buffer, "%s", "abcdef"), 3);
    EXPECT_STREQ(buffer, "abc");
}

TEST(PxSnprintf, LeavesAnEmptyTextAfterAnEncodingError) {
    char buffer[8] = "before";

    EXPECT_EQ(px_snprintf(buffer, sizeof buffer, "%lc", static_cast<wint_t>(0xd800)), 0);
    EXPECT_STREQ(buffer, "");
}

TEST(PxSnprintf, StoresNothingInABufferOfSizeZero) {
    char buffer[] = "x";

    EXPECT_EQ(px_snprintf(buffer, 0, "%s", "abc"), 0);
    EXPECT_STREQ(buffer, "x");
}
