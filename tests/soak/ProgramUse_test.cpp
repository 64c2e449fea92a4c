// SPDX-License-Identifier: MIT

#include "ProgramUse.h"

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <thread>
#include <vector>

#include "gtest/gtest.h"

#include "runtime/c_owner.h"

// The program that is watched is this one.

TEST(ProgramWatch, CountsWhatIsOpenAndWasNotBefore) {
    ProgramWatch watch("test", getpid());
    const UniqueFd kept(open("/dev/null", O_RDONLY | O_CLOEXEC));

    watch.awaitQuiet(std::chrono::milliseconds(20));

    EXPECT_EQ(watch.descriptorDrift(), 1);
}

TEST(ProgramWatch, WaitsUntilAsManyAreOpenAsBefore) {
    ProgramWatch watch("test", getpid());
    std::jthread closing([fd = UniqueFd(open("/dev/null", O_RDONLY | O_CLOEXEC))]() mutable {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        fd.reset();
    });

    watch.awaitQuiet(std::chrono::seconds(10));

    EXPECT_EQ(watch.descriptorDrift(), 0);
}

TEST(ProgramWatch, SeesMemoryThatIsKept) {
    constexpr size_t kKept = size_t{64} * 1024 * 1024;
    ProgramWatch watch("test", getpid());
    watch.sample(ProgramWatch::Span::kWarm);
    const std::vector<char> kept(kKept, 'x');

    watch.sample(ProgramWatch::Span::kEnd);

    EXPECT_EQ(kept.back(), 'x');
    EXPECT_TRUE(watch.hasGrown());
}

TEST(ProgramWatch, AllowsALittle) {
    constexpr size_t kKept = size_t{16} * 1024;
    ProgramWatch watch("test", getpid());
    watch.sample(ProgramWatch::Span::kWarm);
    const std::vector<char> kept(kKept, 'x');

    watch.sample(ProgramWatch::Span::kEnd);

    EXPECT_EQ(kept.back(), 'x');
    EXPECT_FALSE(watch.hasGrown());
}

TEST(ProgramWatch, DoesNotJudgeMemoryThatWasNotSampled) {
    const ProgramWatch watch("test", getpid());

    EXPECT_FALSE(watch.hasGrown());
}
