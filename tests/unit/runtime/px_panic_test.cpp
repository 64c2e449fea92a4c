#include "runtime/px_panic.h"

#include <csignal>

#include <gtest/gtest.h>

using testing::KilledBySignal;

TEST(PxPanicDeathTest, LogsTheTextAndAborts) {
    EXPECT_EXIT(px_panic("*** ASSERT in %s at %d\n", "cbus", 17), KilledBySignal(SIGABRT),
                "\\*\\*\\* ASSERT in cbus at 17");
}

TEST(PxAbortDeathTest, Aborts) { EXPECT_EXIT(px_abort(), KilledBySignal(SIGABRT), ""); }

TEST(PxAssertDeathTest, NamesTheModuleAndTheLineOfTheCaller) {
    EXPECT_EXIT(px_assert(false, "some_module", __LINE__), KilledBySignal(SIGABRT),
                "\\*\\*\\* ASSERT in some_module at 17");
}

TEST(PxAssert, LetsTrueConditionsPass) {
    px_assert(true, "some_module");

    SUCCEED();
}
