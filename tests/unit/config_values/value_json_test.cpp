// SPDX-License-Identifier: MIT

#include "config_values/value_json.h"

#include <gmock/gmock.h>

#include "config_client/config_client_api.h"

namespace {

using namespace std::string_literals;
using testing::ElementsAre;

std::variant<std::vector<ConfigEntry>, ValueJsonError> Parse(const char* text) {
    const JsonPtr json(cJSON_Parse(text));
    return value_json_parse(*json);
}

// The key that is at fault and why.
std::string Problem(const char* text) {
    const auto result = Parse(text);
    const auto* error = std::get_if<ValueJsonError>(&result);
    return error != nullptr ? error->key + ": " + error->problem : "none";
}

const std::string kNoValue = R"(: neither text nor integer nor {"hex": "..."})";

}  // namespace

TEST(ValueJsonParse, KeepsTheOrderOfTheObject) {
    const auto result = Parse(R"({"cfg.b": "text", "cfg.a": -5, "ram.c": {"hex": "00fF"}})");

    ASSERT_TRUE(std::holds_alternative<std::vector<ConfigEntry>>(result));
    EXPECT_THAT(std::get<std::vector<ConfigEntry>>(result),
                ElementsAre(ConfigEntry{"cfg.b", {CONFIG_TYPE_STRING, "text\0"s}},
                            ConfigEntry{"cfg.a", {CONFIG_TYPE_INT, "\xfb\xff\xff\xff"s}},
                            ConfigEntry{"ram.c", {CONFIG_TYPE_BINARY, "\0\xff"s}}));
}

TEST(ValueJsonParse, TakesIntegersOf32BitsOnly) {
    EXPECT_EQ(Problem(R"({"a": -2147483648, "b": 2147483647})"), "none");
    EXPECT_EQ(Problem(R"({"a": 1, "b": 1.5})"), "b" + kNoValue);
    EXPECT_EQ(Problem(R"({"a": 2147483648})"), "a" + kNoValue);
    EXPECT_EQ(Problem(R"({"a": -2147483649})"), "a" + kNoValue);
}

TEST(ValueJsonParse, RefusesOtherTypes) {
    EXPECT_EQ(Problem(R"({"a": null})"), "a" + kNoValue);
    EXPECT_EQ(Problem(R"({"a": true})"), "a" + kNoValue);
    EXPECT_EQ(Problem(R"({"a": [1]})"), "a" + kNoValue);
    EXPECT_EQ(Problem(R"({"a": {}})"), "a" + kNoValue);
}

TEST(ValueJsonParse, RefusesHexTextThatIsNone) {
    EXPECT_EQ(Problem(R"({"a": {"hex": "0"}})"), "a" + kNoValue);
    EXPECT_EQ(Problem(R"({"a": {"hex": "0g"}})"), "a" + kNoValue);
    EXPECT_EQ(Problem(R"({"a": {"hex": 1}})"), "a" + kNoValue);
}

TEST(ValueJsonParse, RefusesHexTextInCompany) {
    EXPECT_EQ(Problem(R"({"a": {"hex": "00", "b": 1}})"), "a" + kNoValue);
}

TEST(ValueJsonParse, NamesTheKeyThatComesTwice) {
    EXPECT_EQ(Problem(R"({"a": 1, "b": 1, "a": 2})"), "a: is there twice");
}

TEST(ValueJsonParse, WantsAnObject) {
    EXPECT_EQ(Problem("[]"), ": no JSON object from key to value");
}
