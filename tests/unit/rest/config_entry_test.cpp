// SPDX-License-Identifier: MIT

#include "src/rest/config_entry.h"

#include <cstring>

#include <gtest/gtest.h>

namespace {

config_data_t entry(std::uint32_t type, void* value, std::uint32_t length) {
    return {.type = type, .key = "ram.key", .value = value, .size = length, .length = length, .status = 0};
}

}  // namespace

TEST(ConfigEntryText, EndsAtTheNul) {
    char value[] = "ab\0cd";

    EXPECT_EQ(config_entry_text(entry(CONFIG_TYPE_STRING, value, 5)), "ab");
}

TEST(ConfigEntryText, EndsAtTheLengthWithoutANul) {
    char value[] = {'a', 'b', 'c'};

    EXPECT_EQ(config_entry_text(entry(CONFIG_TYPE_STRING, value, 3)), "abc");
}

TEST(ConfigEntryText, IsEmptyWithoutAValue) {
    EXPECT_EQ(config_entry_text(entry(CONFIG_TYPE_STRING, nullptr, 0)), "");
}

TEST(ConfigEntryInt, ReadsFourBytesAtAnyAddress) {
    const std::int32_t number = -5;
    char bytes[5] = {};
    std::memcpy(bytes + 1, &number, sizeof number);

    EXPECT_EQ(config_entry_int(entry(CONFIG_TYPE_INT, bytes + 1, 4)), -5);
}

TEST(ConfigEntryInt, IsNothingForAnotherSize) {
    char bytes[8] = {};

    EXPECT_EQ(config_entry_int(entry(CONFIG_TYPE_INT, bytes, 3)), std::nullopt);
    EXPECT_EQ(config_entry_int(entry(CONFIG_TYPE_INT, bytes, 8)), std::nullopt);
}

TEST(ConfigEntryInt, IsNothingWithoutAValue) {
    EXPECT_EQ(config_entry_int(entry(CONFIG_TYPE_INT, nullptr, 0)), std::nullopt);
}

TEST(ConfigEntryPrintable, ShowsTextsAndNumbersAndNothingElse) {
    char text[] = "text";
    int32_t number = -7;

    EXPECT_EQ(config_entry_printable({CONFIG_TYPE_STRING, "key", text, 5, 5, 0}), "text");
    EXPECT_EQ(config_entry_printable({CONFIG_TYPE_INT, "key", &number, 4, 4, 0}), "-7");
    EXPECT_EQ(config_entry_printable({CONFIG_TYPE_BINARY, "key", text, 5, 5, 0}), "");
}
