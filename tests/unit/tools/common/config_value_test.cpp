// SPDX-License-Identifier: MIT

#include "tools/common/config_value.h"

#include <gtest/gtest.h>

#include "config_client/config_client_api.h"
#include "tools/common/json_text.h"

namespace {

using namespace std::string_literals;

std::string Json(uint32_t type, std::string_view bytes) {
    return json_printable(*config_value_json(type, bytes), JsonLayout::kOneLine);
}

std::string IntBytes(int32_t number) {
    return {reinterpret_cast<const char*>(&number), sizeof number};
}

}  // namespace

TEST(ConfigValueText, OfAStringIsItsTextUpToTheNul) {
    EXPECT_EQ(config_value_text(CONFIG_TYPE_STRING, "abc\0def\0"s), "abc");
    EXPECT_EQ(config_value_text(CONFIG_TYPE_STRING, "abc"), "abc");
    EXPECT_EQ(config_value_text(CONFIG_TYPE_STRING, ""), "");
}

TEST(ConfigValueText, ShowsTheEscapesOfATerminalEscaped) {
    EXPECT_EQ(config_value_text(CONFIG_TYPE_STRING, "a\x1b[31m\n\0"s), "a\\u001b[31m\\u000a");
}

TEST(ConfigValueText, OfAnIntegerIsItsNumber) {
    EXPECT_EQ(config_value_text(CONFIG_TYPE_INT, IntBytes(-7)), "-7");
}

TEST(ConfigValueText, OfAnythingElseIsHexText) {
    EXPECT_EQ(config_value_text(CONFIG_TYPE_BINARY, "\x00\x1b"s), "001b");
    EXPECT_EQ(config_value_text(CONFIG_TYPE_INT, "ab"), "6162");
    EXPECT_EQ(config_value_text(99, "ab"), "6162");
}

TEST(ConfigValueJson, IsTheFormOfTheFactoryFile) {
    EXPECT_EQ(Json(CONFIG_TYPE_STRING, "a\"b\0"s), R"("a\"b")");
    EXPECT_EQ(Json(CONFIG_TYPE_INT, IntBytes(-2147483647 - 1)), "-2147483648");
    EXPECT_EQ(Json(CONFIG_TYPE_BINARY, "\x0a\xff"), R"({"hex":"0aff"})");
    EXPECT_EQ(Json(CONFIG_TYPE_NONE, ""), "null");
}

TEST(ConfigValueSurvivesJson, WhenItCanBeReadBackAsItWas) {
    EXPECT_TRUE(config_value_survives_json(CONFIG_TYPE_STRING, "h\xc3\xbcgel\0"s));
    EXPECT_TRUE(config_value_survives_json(CONFIG_TYPE_INT, IntBytes(1)));
    EXPECT_TRUE(config_value_survives_json(CONFIG_TYPE_BINARY, "\0\xff"s));
}

TEST(ConfigValueSurvivesJson, NotAsForeignBytesInATextOrAnUnnamedType) {
    EXPECT_FALSE(config_value_survives_json(CONFIG_TYPE_STRING, "\xff\0"s));
    EXPECT_FALSE(config_value_survives_json(CONFIG_TYPE_STRING, "a\0b\0"s));
    EXPECT_FALSE(config_value_survives_json(CONFIG_TYPE_STRING, "no end"));
    EXPECT_FALSE(config_value_survives_json(7, "abc"));
}

TEST(ConfigTypeName, NamesTheTypesOfThisDatabaseAndNumbersOthers) {
    EXPECT_EQ(config_type_name(CONFIG_TYPE_NONE), "none");
    EXPECT_EQ(config_type_name(CONFIG_TYPE_STRING), "string");
    EXPECT_EQ(config_type_name(CONFIG_TYPE_INT), "int");
    EXPECT_EQ(config_type_name(CONFIG_TYPE_BINARY), "binary");
    EXPECT_EQ(config_type_name(7), "type-7");
}
