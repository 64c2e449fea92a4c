// SPDX-License-Identifier: MIT

#include "src/base/standard_descriptors.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include <gtest/gtest.h>

#include "runtime/c_owner.h"

namespace {

// What a test does to the three descriptors happens in a process of its own, whose exit status is the check.
class StandardDescriptorsDeathTest : public testing::Test {
  protected:
    StandardDescriptorsDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

[[noreturn]] void exit_with_check(bool holds) {
    _exit(holds ? 0 : 1);
}

bool is_placeholder(int number) {
    char byte = 0;
    return (fcntl(number, F_GETFD) & FD_CLOEXEC) != 0 && read(number, &byte, 1) < 0 && errno == EBADF &&
           write(number, &byte, 1) < 0 && errno == EBADF;
}

[[noreturn]] void check_placeholders() {
    const bool closed = standard_descriptors_close();
    exit_with_check(closed && is_placeholder(0) && is_placeholder(1) && is_placeholder(2));
}

int number_of_next_file() {
    return UniqueFd(open("/dev/null", O_RDONLY | O_CLOEXEC)).get();
}

[[noreturn]] void check_next_open() {
    const bool closed = standard_descriptors_close();
    exit_with_check(closed && number_of_next_file() > 2);
}

[[noreturn]] void check_free_number_alone() {
    { const UniqueFd closed_here(STDIN_FILENO); }
    const int flags_before = fcntl(STDERR_FILENO, F_GETFL);
    const bool reserved = standard_descriptors_reserve();
    exit_with_check(reserved && is_placeholder(0) && fcntl(STDERR_FILENO, F_GETFL) == flags_before);
}

[[noreturn]] void check_no_leak() {
    const int number_before = number_of_next_file();
    const bool reserved = standard_descriptors_reserve();
    exit_with_check(reserved && number_of_next_file() == number_before);
}

[[noreturn]] void check_refusal() {
    const rlimit none{0, 0};
    setrlimit(RLIMIT_NOFILE, &none);
    exit_with_check(!standard_descriptors_reserve());
}

}  // namespace

TEST_F(StandardDescriptorsDeathTest, AreOfNoUseOnceClosed) {
    EXPECT_EXIT(check_placeholders(), testing::ExitedWithCode(0), "");
}

TEST_F(StandardDescriptorsDeathTest, AreNotGivenToTheNextFileOnceClosed) {
    EXPECT_EXIT(check_next_open(), testing::ExitedWithCode(0), "");
}

TEST_F(StandardDescriptorsDeathTest, AreReservedOnlyWhereFree) {
    EXPECT_EXIT(check_free_number_alone(), testing::ExitedWithCode(0), "");
}

TEST_F(StandardDescriptorsDeathTest, CostNoOtherDescriptorWhenInUse) {
    EXPECT_EXIT(check_no_leak(), testing::ExitedWithCode(0), "");
}

TEST_F(StandardDescriptorsDeathTest, AreReportedWhenTheyCannotBeReserved) {
    EXPECT_EXIT(check_refusal(), testing::ExitedWithCode(0), "");
}
