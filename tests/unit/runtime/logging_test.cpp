// SPDX-License-Identifier: MIT

#include "runtime/logging.h"

#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/FakeSyslog.h"

using testing::Contains;
using testing::ElementsAre;
using testing::StartsWith;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

namespace {

class Logging : public testing::Test {
  protected:
    Logging() { Reset(); }
    ~Logging() override { Reset(); }

    static void Reset() {
        set_logger(log_discard, nullptr);
        set_log_mask(0x7f);
        current_log_mask = 0x7f;
        fake_syslog::forget();
    }

    static std::string OnConsole(int level, const char* file, const char* text) {
        CaptureStdout();
        logger_function(level, file, "%s", text);
        return GetCapturedStdout();
    }
};

using LogMask = Logging;
using LogConsole = Logging;
using LogSyslog = Logging;

}  // namespace

TEST_F(Logging, DiscardsEveryLineBeforeALoggerIsSet) {
    const std::string output = OnConsole(0, "src/web_app", "lost");

    EXPECT_EQ(output, "");
    EXPECT_TRUE(fake_syslog::calls().empty());
}

TEST_F(Logging, CopiesTheIdentityCutToNineteenCharacters) {
    set_logger(log_discard, "abcdefghijklmnopqrstuvwxyz");

    EXPECT_STREQ(p_log_identity, "abcdefghijklmnopqrs");
    EXPECT_EQ(p_log_identity, log_identity);
}

TEST_F(Logging, ReturnsToTheDefaultIdentityWithANullOne) {
    set_logger(log_discard, "web_app");

    set_logger(log_discard, nullptr);

    EXPECT_EQ(p_log_identity, nullptr);
}

TEST_F(LogMask, HasTheBitOfItsLevel) {
    EXPECT_EQ(log_mask(0), 1u);
    EXPECT_EQ(log_mask(31), 0x80000000u);
}

TEST_F(LogMask, IsEmptyFromLevelThirtyTwoOn) {
    EXPECT_EQ(log_mask(32), 0u);
    EXPECT_EQ(log_mask(-1), 0u);
}

TEST_F(LogMask, TakesTheLevelModuloTwoHundredFiftySix) {
    EXPECT_EQ(log_mask(256 + 3), 8u);
    EXPECT_EQ(log_up_to(256 + 3), 0xfu);
}

TEST_F(LogMask, UpToALevelHoldsAllBitsBelow) {
    EXPECT_EQ(log_up_to(0), 1u);
    EXPECT_EQ(log_up_to(7), 0xffu);
    EXPECT_EQ(log_up_to(30), 0x7fffffffu);
}

TEST_F(LogMask, UpToLevelThirtyOneAndMoreHoldsAllBits) {
    EXPECT_EQ(log_up_to(31), 0xffffffffu);
    EXPECT_EQ(log_up_to(200), 0xffffffffu);
}

TEST_F(LogMask, UpToMinusOneIsEmpty) {
    EXPECT_EQ(log_up_to(-1), 0u);
}

TEST_F(LogMask, StartsWithoutDebugLines) {
    EXPECT_EQ(new_log_mask, 0x7fu);
}

TEST_F(LogMask, IsUnchangedByAMaskOfLevelsThatDoNotExist) {
    set_log_mask(log_up_to(8));

    EXPECT_EQ(new_log_mask, 0x7fu);
}

TEST_F(LogMask, EnablesDebugLines) {
    set_log_mask(log_up_to(7));

    EXPECT_EQ(new_log_mask, 0xffu);
}

TEST_F(LogMask, IsAppliedByTheNextLine) {
    set_logger(log_console, nullptr);
    set_log_mask(log_up_to(3));

    OnConsole(6, "src/web_app", "hidden");

    EXPECT_EQ(current_log_mask, 0xfu);
}

TEST_F(LogMask, MayChangeWhileAnotherThreadLogs) {
    set_logger(log_console, nullptr);
    CaptureStdout();
    std::thread other([] {
        for (int line = 0; line < 100; ++line) {
            logger_function(3, "src/other", "line %d", line);
        }
    });

    for (int level = 0; level < 100; ++level) {
        set_log_mask(log_up_to(3 + level % 5));
    }
    other.join();

    EXPECT_THAT(GetCapturedStdout(), testing::HasSubstr("[error]: (src/other) line 99\n"));
}

TEST_F(LogConsole, PrintsLevelFileAndText) {
    set_logger(log_console, nullptr);
    set_log_mask(log_up_to(3));

    CaptureStdout();
    logger_function(3, "src/web_app", "Listening on socket '%s'", "/tmp/x");

    EXPECT_EQ(GetCapturedStdout(), "[error]: (src/web_app) Listening on socket '/tmp/x'\n");
}

TEST_F(LogConsole, DropsALevelOutsideTheMask) {
    set_logger(log_console, nullptr);
    set_log_mask(log_up_to(3));

    EXPECT_EQ(OnConsole(6, "src/web_app", "hidden"), "");
}

TEST_F(LogConsole, NamesEveryLevel) {
    static constexpr const char* kNames[] = {"emergency", "alert",  "critical", "error",
                                             "warning",   "notice", "info",     "debug"};
    set_logger(log_console, nullptr);
    set_log_mask(log_up_to(7));

    for (int level = 0; level <= 7; ++level) {
        EXPECT_EQ(OnConsole(level, "f", "t"), std::string("[") + kNames[level] + "]: (f) t\n");
    }
}

TEST_F(LogConsole, NamesALevelBeyondDebugWithAQuestionMark) {
    set_logger(log_console, nullptr);
    new_log_mask = log_up_to(9);

    EXPECT_EQ(OnConsole(9, "f", "t"), "[?]: (f) t\n");
}

TEST_F(LogConsole, CutsAMessageAtTwoHundredNinetyNineCharacters) {
    set_logger(log_console, nullptr);
    const std::string long_text(400, 'x');

    const std::string output = OnConsole(3, "f", long_text.c_str());

    EXPECT_EQ(output, "[error]: (f) " + std::string(299, 'x') + "\n");
}

TEST_F(LogSyslog, SendsTheLineAtItsLevel) {
    set_logger(log_syslog, nullptr);

    logger_function(4, "src/daemon", "pid %d", 12);

    EXPECT_THAT(fake_syslog::calls(), Contains("syslog 4 [warning]: (src/daemon) pid 12"));
}

TEST_F(LogSyslog, OpensTheLogBeforeEveryLine) {
    set_logger(log_syslog, nullptr);

    logger_function(6, "f", "one");
    logger_function(6, "f", "two");

    EXPECT_THAT(fake_syslog::calls(), ElementsAre("openlog (null) 0 8", "syslog 6 [info]: (f) one",
                                                  "openlog (null) 0 8", "syslog 6 [info]: (f) two"));
}

TEST_F(LogSyslog, OpensTheLogWithTheGivenIdentity) {
    set_logger(log_syslog, "web_app");

    logger_function(6, "f", "t");

    EXPECT_THAT(fake_syslog::calls(), Contains("openlog web_app 0 8"));
}

TEST_F(LogSyslog, HandsAChangedMaskToSyslogOnce) {
    set_logger(log_syslog, nullptr);
    set_log_mask(log_up_to(3));

    logger_function(3, "f", "one");
    logger_function(3, "f", "two");

    EXPECT_THAT(fake_syslog::calls(),
                ElementsAre("closelog", "setlogmask 15", "openlog (null) 0 8", "syslog 3 [error]: (f) one",
                            "openlog (null) 0 8", "syslog 3 [error]: (f) two"));
}

TEST_F(LogSyslog, LeavesTheFilteringToSyslog) {
    set_logger(log_syslog, nullptr);
    set_log_mask(log_up_to(3));

    logger_function(7, "f", "t");

    EXPECT_THAT(fake_syslog::calls(), Contains(StartsWith("syslog 7 [debug]: (f) ")));
}

TEST_F(LogSyslog, NamesALevelBeyondDebugWithAQuestionMark) {
    set_logger(log_syslog, nullptr);

    logger_function(9, "f", "t");

    EXPECT_THAT(fake_syslog::calls(), Contains("syslog 9 [?]: (f) t"));
}

TEST_F(LogSyslog, CutsAMessageAtTwoHundredNinetyNineCharacters) {
    set_logger(log_syslog, nullptr);
    const std::string long_text(400, 'x');

    logger_function(3, "f", "%s", long_text.c_str());

    EXPECT_THAT(fake_syslog::calls(), Contains("syslog 3 [error]: (f) " + std::string(299, 'x')));
}
