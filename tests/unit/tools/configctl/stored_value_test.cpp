// SPDX-License-Identifier: MIT

#include "tools/configctl/stored_value.h"

#include <gtest/gtest.h>

#include "config_client/config_client_api.h"

using namespace std::string_literals;

TEST(StoredValueParse, TakesAnyTextForAString) {
    EXPECT_EQ(stored_value_parse(CONFIG_TYPE_STRING, "a b"), (ConfigValue{CONFIG_TYPE_STRING, "a b\0"s}));
    EXPECT_EQ(stored_value_parse(CONFIG_TYPE_STRING, ""), (ConfigValue{CONFIG_TYPE_STRING, "\0"s}));
}

TEST(StoredValueParse, TakesIntegersOf32Bits) {
    EXPECT_EQ(stored_value_parse(CONFIG_TYPE_INT, "-2147483648"), config_value_of_int(-2147483647 - 1));
    EXPECT_EQ(stored_value_parse(CONFIG_TYPE_INT, "2147483647"), config_value_of_int(2147483647));
}

TEST(StoredValueParse, RefusesWhatIsNoInteger) {
    for (const char* text : {"", "2147483648", "1.5", "1 ", " 1", "0x10", "one"}) {
        EXPECT_EQ(stored_value_parse(CONFIG_TYPE_INT, text), std::nullopt) << text;
    }
}

TEST(StoredValueParse, TakesHexTextForOtherTypes) {
    EXPECT_EQ(stored_value_parse(CONFIG_TYPE_BINARY, "00fF"), (ConfigValue{CONFIG_TYPE_BINARY, "\0\xff"s}));
    EXPECT_EQ(stored_value_parse(7, ""), (ConfigValue{7, ""}));
    EXPECT_EQ(stored_value_parse(CONFIG_TYPE_BINARY, "0"), std::nullopt);
}
