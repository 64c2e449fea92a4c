// SPDX-License-Identifier: MIT

#include "runtime/px_panic.h"

#include <csignal>
#include <new>
#include <string>

#include <gtest/gtest.h>

using testing::KilledBySignal;

namespace {

constexpr int kFailingLine = __LINE__ + 2;
void fail_an_assertion() {
    px_assert(false, "some_module");
}

constexpr int kLineWithoutMemory = __LINE__ + 2;
void find_no_memory() {
    px_assert_memory("some_module", [] { throw std::bad_alloc(); });
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

TEST(PxAssertMemoryDeathTest, NamesTheModuleAndTheLineOfTheCaller) {
    EXPECT_EXIT(find_no_memory(), KilledBySignal(SIGABRT),
                "\\*\\*\\* ASSERT in some_module at " + std::to_string(kLineWithoutMemory) + "\n");
}

TEST(PxAssertMemory, GivesTheResultOfTheAction) {
    EXPECT_EQ(px_assert_memory("some_module", [] { return 7; }), 7);
}
