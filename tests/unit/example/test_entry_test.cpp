// SPDX-License-Identifier: MIT

#include "src/example/test_entry.h"

#include <gtest/gtest.h>

#include "tests/support/RpcFakes.h"

namespace {

constexpr const char* kCollection = "ram.c";

// "id|attribute", "-" for a key that is none.
std::string parsed(const std::string& key) {
    const auto parts = test_entry_parse_key(kCollection, key.c_str());
    return parts ? parts->id + "|" + parts->attribute : "-";
}

}  // namespace

TEST(TestEntryParseKey, SplitsIdAndAttribute) {
    EXPECT_EQ(parsed("ram.c.5.abc"), "5|abc");
}

TEST(TestEntryParseKey, LeavesFurtherLevelsToTheAttribute) {
    EXPECT_EQ(parsed("ram.c.5.abc.def"), "5|abc.def");
}

TEST(TestEntryParseKey, KnowsNoKeyOfAnotherForm) {
    EXPECT_EQ(parsed("ram.c"), "-");
    EXPECT_EQ(parsed("ram.c."), "-");
    EXPECT_EQ(parsed("ram.c.5"), "-");
    EXPECT_EQ(parsed("ram.c.5."), "-");
    EXPECT_EQ(parsed("ram.c..abc"), "-");
    EXPECT_EQ(parsed("ram.cc.5.abc"), "-");
    EXPECT_EQ(parsed("ram"), "-");
    EXPECT_EQ(parsed(""), "-");
}

TEST(TestEntryParseKey, TakesAnIdOfTwentyCharactersAndNoLongerOne) {
    const std::string twenty(20, 'i');

    EXPECT_EQ(parsed("ram.c." + twenty + ".abc"), twenty + "|abc");
    EXPECT_EQ(parsed("ram.c." + twenty + "i.abc"), "-");
}

TEST(TestEntryParseKey, CutsTheAttributeToTwentyCharacters) {
    const std::string twenty(20, 'a');

    EXPECT_EQ(parsed("ram.c.5." + twenty), "5|" + twenty);
    EXPECT_EQ(parsed("ram.c.5." + twenty + "b"), "5|" + twenty);
}

TEST(TestEntryParseKey, SeesFurtherLevelsBehindTheCutAsWell) {
    EXPECT_FALSE(test_entry_parse_key("ram.c", "ram.c.5.abc")->hasFurtherLevels);
    EXPECT_TRUE(test_entry_parse_key("ram.c", "ram.c.5.abc.def")->hasFurtherLevels);
    EXPECT_TRUE(test_entry_parse_key("ram.c", "ram.c.5.abcdefghijklmnopqrstuvwxyz.b")->hasFurtherLevels);
}

TEST(TestEntryParseKey, PassesNoBlanks) {
    EXPECT_EQ(parsed("ram.c. 5. abc "), " 5| abc ");
}

TEST(TestEntryCreate, HasTheIdAndTwoNulls) {
    EXPECT_EQ(print_compact(test_entry_create(JsonPtr(cJSON_CreateNumber(5))).get()),
              R"({"id":5,"abc":null,"def":null})");
}
