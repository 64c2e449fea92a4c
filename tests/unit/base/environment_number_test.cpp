// SPDX-License-Identifier: MIT

#include "src/base/environment_number.h"

#include <cstdlib>

#include <gtest/gtest.h>

namespace {

constexpr const char* kVariable = "ORVALE_TEST_NUMBER";

std::uint64_t number_of(const char* value) {
    setenv(kVariable, value, 1);
    const std::uint64_t number = environment_number(kVariable, 5);
    unsetenv(kVariable);
    return number;
}

}  // namespace

TEST(EnvironmentNumber, IsThatOfTheEnvironment) {
    EXPECT_EQ(number_of("1200"), 1200U);
}

TEST(EnvironmentNumber, MayHave64Bits) {
    EXPECT_EQ(number_of("18446744073709551615"), 18446744073709551615U);
}

TEST(EnvironmentNumber, IsNotTakenFromWhatIsNoNumberAboveZero) {
    for (const char* value : {"", "0", "-1", "+1", "12x", "x", " 12", "0x12", "18446744073709551616"}) {
        EXPECT_EQ(number_of(value), 5U) << value;
    }
}

TEST(EnvironmentNumber, IsNotTakenFromAnEnvironmentThatNamesNone) {
    EXPECT_EQ(environment_number(kVariable, 5), 5U);
}
