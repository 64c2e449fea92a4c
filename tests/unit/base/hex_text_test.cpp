// SPDX-License-Identifier: MIT

#include "src/base/hex_text.h"

#include <gtest/gtest.h>

TEST(HexText, IsTwoSmallDigitsAByte) {
    EXPECT_EQ(hex_text(std::string("\x00\x0a\xff", 3)), "000aff");
}

TEST(HexBytes, TakesDigitsOfBothSizes) {
    EXPECT_EQ(hex_bytes("0aFF"), std::string("\x0a\xff"));
}

TEST(HexBytes, OfNoTextAreNone) {
    EXPECT_EQ(hex_bytes(""), "");
}

TEST(HexBytes, AreNothingForWhatIsNoHexText) {
    for (const char* text : {"0", "0a0", "0g", "0x0a", "-1", " 1", "+1"}) {
        EXPECT_EQ(hex_bytes(text), std::nullopt) << text;
    }
}
