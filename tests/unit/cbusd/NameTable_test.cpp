// SPDX-License-Identifier: MIT

#include "device/cbusd/NameTable.h"

#include <gtest/gtest.h>

#include <string>

using Clients = std::vector<ClientId>;

namespace {

NameTable TableOf(std::initializer_list<std::pair<const char*, ClientId>> entries) {
    NameTable table;
    for (const auto& [text, client] : entries) {
        EXPECT_TRUE(table.add(text, client));
    }
    return table;
}

}  // namespace

TEST(NameTableBeginning, MatchesWithinAComponent) {
    const NameTable table = TableOf({{"config.ch", 1}});

    EXPECT_EQ(table.holders_of_beginning("config.change"), Clients{1});
    EXPECT_EQ(table.holders_of_beginning("config.c"), Clients{});
}

TEST(NameTableBeginning, AnEmptyTextMatchesEverything) {
    const NameTable table = TableOf({{"", 1}});

    EXPECT_EQ(table.holders_of_beginning("anything"), Clients{1});
    EXPECT_EQ(table.holders_of_beginning(""), Clients{1});
}

TEST(NameTableBeginning, GivesEachClientOnce) {
    const NameTable table = TableOf({{"a.b", 2}, {"a", 2}, {"a", 1}, {"", 2}});

    EXPECT_EQ(table.holders_of_beginning("a.b.c"), (Clients{1, 2}));
}

TEST(NameTablePath, EndsAtADotOrTheEndOfTheName) {
    const NameTable table = TableOf({{"config", 1}});

    EXPECT_EQ(table.first_holder_of_path("config"), 1u);
    EXPECT_EQ(table.first_holder_of_path("config.read"), 1u);
    EXPECT_EQ(table.first_holder_of_path("configuration"), std::nullopt);
    EXPECT_EQ(table.first_holder_of_path("conf"), std::nullopt);
}

TEST(NameTablePath, TheLongestTextWins) {
    const NameTable table = TableOf({{"a", 1}, {"a.b.c", 3}, {"a.b", 2}});

    EXPECT_EQ(table.first_holder_of_path("a.b.c.d"), 3u);
    EXPECT_EQ(table.first_holder_of_path("a.b.cd"), 2u);
    EXPECT_EQ(table.first_holder_of_path("a.bc"), 1u);
}

TEST(NameTablePath, TheFirstHolderIsFollowedByTheSecond) {
    NameTable table = TableOf({{"a", 5}, {"a", 3}});

    EXPECT_EQ(table.first_holder_of_path("a"), 5u);
    table.remove_client(5);
    EXPECT_EQ(table.first_holder_of_path("a"), 3u);
}

TEST(NameTableRemoval, ATextAddedTwiceIsRemovedTwice) {
    NameTable table = TableOf({{"a", 1}, {"a", 1}});

    table.remove("a", 1);
    EXPECT_EQ(table.holders_of_beginning("a"), Clients{1});
    table.remove("a", 1);
    EXPECT_EQ(table.holders_of_beginning("a"), Clients{});
}

TEST(NameTableRemoval, OfWhatIsNotHeldChangesNothing) {
    NameTable table = TableOf({{"a", 1}});

    table.remove("a", 2);
    table.remove("b", 1);

    EXPECT_EQ(table.holders_of_beginning("a"), Clients{1});
}

TEST(NameTableRemoval, OfAClientTakesAllItsTextsAndLeavesTheOthers) {
    NameTable table = TableOf({{"a", 1}, {"a.b", 1}, {"a", 2}});

    table.remove_client(1);

    EXPECT_EQ(table.holders_of_beginning("a.b"), Clients{2});
}

TEST(NameTableLimits, ATextOf511BytesIsTheLongest) {
    NameTable table;

    EXPECT_TRUE(table.add(std::string(511, 'x'), 1));
    EXPECT_FALSE(table.add(std::string(512, 'x'), 1));
}

TEST(NameTableLimits, AClientHoldsALimitedNumberOfDifferentTexts) {
    NameTable table;
    for (size_t i = 0; i < NameTable::kMaxTextsPerClient; ++i) {
        ASSERT_TRUE(table.add("text" + std::to_string(i), 1));
    }

    EXPECT_FALSE(table.add("one more", 1));
    EXPECT_TRUE(table.add("text0", 1));
    EXPECT_TRUE(table.add("one more", 2));
}
