// SPDX-License-Identifier: MIT

#include "tools/cbusctl/bus_data.h"

#include <gtest/gtest.h>

#include "src/base/owners.h"
#include "tools/common/json_text.h"

namespace {

using namespace std::string_literals;

std::string Json(const std::string& data, DataForm form = DataForm::kAuto) {
    const JsonPtr json(cJSON_CreateObject());
    bus_data_add_to(json.get(), data, form);
    return json_printable(*json, JsonLayout::kOneLine);
}

}  // namespace

TEST(BusData, IsATextWhenItIsOneWithItsNul) {
    EXPECT_EQ(bus_data_text("h\xc3\xbcgel\0"s, DataForm::kAuto), "h\xc3\xbcgel");
    EXPECT_EQ(bus_data_text("\x1b[2J\0"s, DataForm::kAuto), "\\u001b[2J");
}

TEST(BusData, IsHexTextOtherwise) {
    EXPECT_EQ(bus_data_text("abc", DataForm::kAuto), "616263");
    EXPECT_EQ(bus_data_text("a\0b\0"s, DataForm::kAuto), "61006200");
    EXPECT_EQ(bus_data_text("\xff\0"s, DataForm::kAuto), "ff00");
    EXPECT_EQ(bus_data_text("", DataForm::kAuto), "");
}

TEST(BusData, IsHexTextWhenAskedTo) {
    EXPECT_EQ(bus_data_text("ab\0"s, DataForm::kHex), "616200");
}

TEST(BusData, TellsItsSizeAndItsFormAsJson) {
    EXPECT_EQ(Json("ab\0"s), R"({"size":3,"text":"ab"})");
    EXPECT_EQ(Json("ab"), R"({"size":2,"hex":"6162"})");
    EXPECT_EQ(Json("ab\0"s, DataForm::kHex), R"({"size":3,"hex":"616200"})");
    EXPECT_EQ(Json(""), R"({"size":0})");
}
