#include "tools/configctl/value_file.h"

#include <gmock/gmock.h>

#include "config_client/config_client_api.h"

namespace {

using namespace std::string_literals;
using testing::ElementsAre;

std::variant<std::vector<StoredEntry>, InputError> Parse(const char* text) {
    const JsonPtr json(cJSON_Parse(text));
    return value_file_parse(*json);
}

std::string Problem(const char* text) {
    const auto result = Parse(text);
    const auto* error = std::get_if<InputError>(&result);
    return error != nullptr ? error->text : "none";
}

}  // namespace

TEST(ValueFile, IsReadInItsOrder) {
    const auto result = Parse(R"({"cfg.b": "text", "cfg.a": -5, "ram.c": {"hex": "00FF"}})");

    ASSERT_TRUE(std::holds_alternative<std::vector<StoredEntry>>(result));
    EXPECT_THAT(std::get<std::vector<StoredEntry>>(result),
                ElementsAre(StoredEntry{"cfg.b", stored_text("text")}, StoredEntry{"cfg.a", stored_int(-5)},
                            StoredEntry{"ram.c", {CONFIG_TYPE_BINARY, "\0\xff"s}}));
}

TEST(ValueFile, NamesTheEntryThatIsNoValue) {
    const std::string problem = R"(: neither text nor integer nor {"hex": "..."})";
    EXPECT_EQ(Problem(R"({"a": 1, "b": 1.5})"), "b" + problem);
    EXPECT_EQ(Problem(R"({"a": 2147483648})"), "a" + problem);
    EXPECT_EQ(Problem(R"({"a": null})"), "a" + problem);
    EXPECT_EQ(Problem(R"({"a": true})"), "a" + problem);
    EXPECT_EQ(Problem(R"({"a": [1]})"), "a" + problem);
    EXPECT_EQ(Problem(R"({"a": {"hex": "0"}})"), "a" + problem);
    EXPECT_EQ(Problem(R"({"a": {"hex": "00", "b": 1}})"), "a" + problem);
}

TEST(ValueFile, NamesTheEntryThatComesTwice) {
    EXPECT_EQ(Problem(R"({"a": 1, "b": 1, "a": 2})"), "a: is there twice");
}

TEST(ValueFile, IsAnObject) {
    EXPECT_EQ(Problem("[]"), "the data is no JSON object from key to value");
}

TEST(ValueFile, IsWrittenAsItIsRead) {
    const std::vector<StoredEntry> entries = {{"cfg.a", stored_text("x\n\"\x1b")},
                                              {"cfg.b", stored_int(7)},
                                              {"cfg.c", {CONFIG_TYPE_BINARY, "\xff"}}};

    const std::string text = value_file_text(entries);

    EXPECT_EQ(
        text,
        "{\n    \"cfg.a\": \"x\\n\\\"\\u001b\",\n    \"cfg.b\": 7,\n    \"cfg.c\": {\"hex\":\"ff\"}\n}");
    EXPECT_EQ(std::get<std::vector<StoredEntry>>(Parse(text.c_str())), entries);
}

TEST(ValueFile, WithoutEntriesIsAnEmptyObject) {
    EXPECT_EQ(value_file_text({}), "{\n}");
}

TEST(ValueFileMessageBytes, CountHeaderNameAndPaddedData) {
    EXPECT_EQ(value_file_message_bytes({{"a.b", {CONFIG_TYPE_BINARY, "12345"}}}), 24U);
}
