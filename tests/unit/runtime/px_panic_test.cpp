// SPDX-License-Identifier: MIT

#include "runtime/px_panic.h"

#include <csignal>
#include <string>

#include <gtest/gtest.h>

using testing::KilledBySignal;

namespace {

constexpr int kFailingLine = __LINE__ + 2;
void fail_an_assertion() {
    px_assert(false, "some_module");
}

}  // namespace

TEST(PxPanicDeathTest, LogsTheTextAndAborts) {
    EXPECT_EXIT(px_panic("*** ASSERT in %s at %d\n", "cbus", 17), KilledBySignal(SIGABRT),
                "\\*\\*\\* ASSERT in cbus at 17");
}

TEST(PxAbortDeathTest, Aborts) {
    EXPECT_EXIT(px_abort(), KilledBySignal(SIGABRT), "");
}

TEST(PxAssertDeathTest, NamesTheModuleAndTheLineOfTheCaller) {
    EXPECT_EXIT(fail_an_assertion(), KilledBySignal(SIGABRT),
                "\\*\\*\\* ASSERT in some_module at " + std::to_string(kFailingLine) + "\n");
}

TEST(PxAssert, LetsTrueConditionsPass) {
    px_assert(true, "some_module");

    SUCCEED();
}
