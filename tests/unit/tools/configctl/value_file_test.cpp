// SPDX-License-Identifier: MIT

#include "tools/configctl/value_file.h"

#include <gmock/gmock.h>

#include "config_client/config_client_api.h"
#include "config_values/value_json.h"

TEST(ValueFile, IsWrittenAsItIsRead) {
    const std::vector<ConfigEntry> entries = {{"cfg.a", config_value_of_text("x\n\"\x1b")},
                                              {"cfg.b", config_value_of_int(7)},
                                              {"cfg.c", {CONFIG_TYPE_BINARY, "\xff"}}};

    const std::string text = value_file_text(entries);

    EXPECT_EQ(
        text,
        "{\n    \"cfg.a\": \"x\\n\\\"\\u001b\",\n    \"cfg.b\": 7,\n    \"cfg.c\": {\"hex\":\"ff\"}\n}");
    const JsonPtr json(cJSON_Parse(text.c_str()));
    EXPECT_EQ(std::get<std::vector<ConfigEntry>>(value_json_parse(*json)), entries);
}

TEST(ValueFile, WithoutEntriesIsAnEmptyObject) {
    EXPECT_EQ(value_file_text({}), "{\n}");
}

TEST(ValueFileMessageBytes, CountHeaderNameAndPaddedData) {
    EXPECT_EQ(value_file_message_bytes({{"a.b", {CONFIG_TYPE_BINARY, "12345"}}}), 24U);
}
