// SPDX-License-Identifier: MIT

#include "runtime/px_slog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/FakeSyslog.h"

using testing::ElementsAre;

namespace {

class PxSlog : public testing::Test {
  protected:
    PxSlog() { fake_syslog::forget(); }
};

}  // namespace

TEST_F(PxSlog, SendsTheTextAtItsLevel) {
    px_slog(3, "bad message [%s]", "x");

    EXPECT_THAT(fake_syslog::calls(), ElementsAre("syslog 3 bad message [x]"));
}

TEST_F(PxSlog, DebugGoesToLevelSevenAndAnswersZero) {
    const int result = px_slogd("seen %d", 5);

    EXPECT_EQ(result, 0);
    EXPECT_THAT(fake_syslog::calls(), ElementsAre("syslog 7 seen 5"));
}

TEST_F(PxSlog, OpensAndClosesTheLog) {
    px_slog_open("cbusd", 1, 24);
    px_slog_close();

    EXPECT_THAT(fake_syslog::calls(), ElementsAre("openlog cbusd 1 24", "closelog"));
}

TEST_F(PxSlog, NamesThePrioritiesByLevel) {
    EXPECT_THAT(px_slog_prio_txt,
                ElementsAre(testing::StrEq("EMERG"), testing::StrEq("ALERT"), testing::StrEq("CRIT"),
                            testing::StrEq("ERROR"), testing::StrEq("WARNING"), testing::StrEq("NOTICE"),
                            testing::StrEq("INFO"), testing::StrEq("DEBUG")));
}
