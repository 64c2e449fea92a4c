// SPDX-License-Identifier: MIT

#include <gtest/gtest.h>

#include "DynamicFixture.h"
#include "src/example/TestDynamicCollection.h"
#include "tests/support/CapturedLog.h"

// What the database reports, and what the subscribers hear of it.

namespace {

class DynamicChangesTest : public DynamicFixture {
  protected:
    // Stores the texts "x" and reports the keys in one message.
    void store(const std::vector<std::string>& ends) {
        std::vector<std::string> keys;
        for (const std::string& end : ends) {
            m_database.setString(key(end), "x");
            keys.push_back(key(end));
        }
        announce(keys);
    }
    void erase(const std::vector<std::string>& ends) {
        std::vector<std::string> keys;
        for (const std::string& end : ends) {
            m_database.erase(key(end));
            keys.push_back(key(end));
        }
        announce(keys);
    }
};

}  // namespace

TEST_F(DynamicChangesTest, MakesAnEntryOfAnUnknownNumber) {
    list();
    const CapturedLog log;

    store({"5.abc", "5.def"});

    EXPECT_EQ(list(), R"([{"id":5,"abc":"x","def":"x"}])");
    EXPECT_EQ(log.count("6 src/TestDynamicCollection: Create entry 5"), 1);
}

TEST_F(DynamicChangesTest, TakesAnyNumberThatAnIntHolds) {
    list();

    store({"0.abc", "-5.abc", "2147483647.abc"});

    EXPECT_EQ(list(), R"([{"id":-5,"abc":"x","def":null},{"id":0,"abc":"x","def":null},)"
                      R"({"id":2147483647,"abc":"x","def":null}])");
}

TEST_F(DynamicChangesTest, IgnoresKeysWithoutAPlainNumber) {
    list();
    ASSERT_EQ(subscribe(m_client, kUri), 201);

    store({"+1.abc", "01.abc", "1x.abc", "x.abc", "-0.abc", "0x1.abc", "2147483648.abc",
           "99999999999999999999.abc", "%d.abc", "1", "1."});

    EXPECT_EQ(list(), "[]");
    EXPECT_EQ(m_client.told(), Lines{});
}

TEST_F(DynamicChangesTest, IgnoresKeysWithFurtherLevels) {
    list();
    ASSERT_EQ(subscribe(m_client, kUri), 201);

    store({"5.abc.def", "5.abc."});

    EXPECT_EQ(list(), "[]");
    EXPECT_EQ(m_client.told(), Lines{});
}

TEST_F(DynamicChangesTest, IgnoresTheSameKeysAtTheFirstRequest) {
    for (const char* end : {"+1.abc", "01.abc", "99999999999999999999.abc", "5.abc.def"}) {
        m_database.setString(key(end), "x");
    }

    EXPECT_EQ(list(), "[]");
}

TEST_F(DynamicChangesTest, LetsAnUnknownAttributeMakeAnEntryButShowsItNot) {
    list();
    const CapturedLog log;

    store({"5.ghi", "5.abcdefghijklmnopqrstuvwxyz"});

    EXPECT_EQ(list(), R"([{"id":5,"abc":null,"def":null}])");
    EXPECT_EQ(log.count("4 src/TestEntry: Unknown attribute"), 2);
}

TEST_F(DynamicChangesTest, KeepsTheTextWhenAnotherTypeComes) {
    m_database.setString(key("5.abc"), "x");
    list();
    ASSERT_EQ(subscribe(m_client, kUri), 201);
    m_database.setInt(key("5.abc"), 7);

    announce({key("5.abc")});

    EXPECT_EQ(entry("5").json, R"({"id":5,"abc":"x","def":null})");
    EXPECT_EQ(m_client.told(), Lines{});
}

TEST_F(DynamicChangesTest, TellsOfANewEntryOnItsOwnPathAndOnNew) {
    ASSERT_EQ(subscribe(m_client, kUri), 201);
    ASSERT_EQ(subscribe(m_other, "/example/test/dynamic/new", R"({"data_include":"NONE"})"), 201);

    store({"5.abc", "5.def"});

    EXPECT_EQ(m_client.told(), (Lines{R"(Created /example/test/dynamic/5 {"id":5,"abc":"x","def":"x"})",
                                      R"(Created /example/test/dynamic/new {"id":5,"abc":"x","def":"x"})"}));
    EXPECT_EQ(m_other.told(), Lines{"Created /example/test/dynamic/new -"});
}

TEST_F(DynamicChangesTest, TellsOfACreationThatIsTheFirstRequest) {
    ASSERT_EQ(subscribe(m_client, "/example/test", R"({"recursive":true,"data_include":"NONE"})"), 201);

    create(R"({"abc":"1"})");
    settle();

    EXPECT_EQ(m_client.told(),
              (Lines{"Created /example/test/dynamic/1 -", "Created /example/test/dynamic/new -"}));
}

TEST_F(DynamicChangesTest, TellsOfChangedAttributesAlone) {
    m_database.setString(key("5.abc"), "old");
    m_database.setString(key("5.def"), "x");
    list();
    ASSERT_EQ(subscribe(m_client, "/example/test/dynamic/5", R"({"data_include":"UPDATED"})"), 201);
    ASSERT_EQ(subscribe(m_other, "/example/test/dynamic/new"), 201);

    store({"5.abc", "5.def"});

    EXPECT_EQ(m_client.told(), Lines{R"(Updated /example/test/dynamic/5 {"abc":"x"})"});
    EXPECT_EQ(m_other.told(), Lines{});
}

TEST_F(DynamicChangesTest, TellsNobodyOfAnUpdateThatAltersNothing) {
    m_database.setString(key("5.abc"), "x");
    list();
    ASSERT_EQ(subscribe(m_client, "/example/test/dynamic/5"), 201);

    EXPECT_EQ(putEntry("5", R"({"abc":"x"})"), 200);
    store({"5.abc"});

    EXPECT_EQ(m_client.told(), Lines{});
}

TEST_F(DynamicChangesTest, TellsNobodyOfTheStateAtTheFirstRequest) {
    m_database.setString(key("5.abc"), "x");
    ASSERT_EQ(subscribe(m_client, kUri), 201);

    list();

    EXPECT_EQ(m_client.told(), Lines{});
}

TEST_F(DynamicChangesTest, KeepsAnEntryWhileAKeyIsLeft) {
    m_database.setString(key("5.abc"), "x");
    m_database.setString(key("5.def"), "x");
    list();
    ASSERT_EQ(subscribe(m_client, "/example/test/dynamic/5", R"({"data_include":"UPDATED"})"), 201);

    erase({"5.abc"});

    EXPECT_EQ(list(), R"([{"id":5,"abc":null,"def":"x"}])");
    EXPECT_EQ(m_client.told(), Lines{R"(Updated /example/test/dynamic/5 {"abc":null})"});
}

TEST_F(DynamicChangesTest, KeepsAnEntryWhileAKeyThatIsNotShownIsLeft) {
    m_database.setString(key("5.abc"), "x");
    m_database.setString(key("5.ghi"), "x");
    list();

    erase({"5.abc"});
    EXPECT_EQ(list(), R"([{"id":5,"abc":null,"def":null}])");
    erase({"5.ghi"});
    EXPECT_EQ(list(), "[]");
}

TEST_F(DynamicChangesTest, TellsOnceOfAnEntryWhoseLastKeyIsDeleted) {
    m_database.setString(key("5.abc"), "x");
    m_database.setString(key("5.def"), "x");
    list();
    ASSERT_EQ(subscribe(m_client, "/example/test/dynamic/5"), 201);

    erase({"5.abc", "5.def"});

    EXPECT_EQ(list(), "[]");
    EXPECT_EQ(m_client.told(), Lines{"Deleted /example/test/dynamic/5 -"});
}

TEST_F(DynamicChangesTest, KeepsAnEntryThatGetsAnotherKeyForItsLastOne) {
    m_database.setString(key("5.abc"), "x");
    list();
    ASSERT_EQ(subscribe(m_client, "/example/test/dynamic/5", R"({"data_include":"UPDATED"})"), 201);
    m_database.erase(key("5.abc"));
    m_database.setString(key("5.def"), "y");

    announce({key("5.abc"), key("5.def")});

    EXPECT_EQ(list(), R"([{"id":5,"abc":null,"def":"y"}])");
    EXPECT_EQ(m_client.told(), Lines{R"(Updated /example/test/dynamic/5 {"abc":null,"def":"y"})"});
}

TEST_F(DynamicChangesTest, TellsOfEachEntryThatADeletionOfAllTakes) {
    m_database.setString(key("1.abc"), "x");
    m_database.setString(key("2.abc"), "x");
    ASSERT_EQ(subscribe(m_client, kUri), 201);

    remove(kUri);
    settle();

    EXPECT_EQ(m_client.told(),
              (Lines{"Deleted /example/test/dynamic/1 -", "Deleted /example/test/dynamic/2 -"}));
}

TEST_F(DynamicChangesTest, IgnoresADeletedKeyOfNoEntry) {
    list();
    ASSERT_EQ(subscribe(m_client, kUri), 201);

    erase({"5.abc"});

    EXPECT_EQ(list(), "[]");
    EXPECT_EQ(m_client.told(), Lines{});
}

TEST_F(DynamicChangesTest, TellsNobodyOfAnEntryThatComesAndGoesInOneMessage) {
    list();
    ASSERT_EQ(subscribe(m_client, kUri), 201);

    report({{key("5.abc"), "x"}, {key("5.abc"), std::nullopt}});

    EXPECT_EQ(list(), "[]");
    EXPECT_EQ(m_client.told(), Lines{});
}

TEST_F(DynamicChangesTest, TellsTheSubscriberOfAnEntryWhenItIsMadeAgain) {
    m_database.setString(key("5.abc"), "x");
    list();
    ASSERT_EQ(subscribe(m_client, "/example/test/dynamic/5", R"({"data_include":"NONE"})"), 201);

    erase({"5.abc"});
    store({"5.abc"});

    EXPECT_EQ(m_client.told(),
              (Lines{"Deleted /example/test/dynamic/5 -", "Created /example/test/dynamic/5 -"}));
}

TEST_F(DynamicChangesTest, LetsTheNearestSubscriptionDecide) {
    m_database.setString(key("5.abc"), "old");
    ASSERT_EQ(subscribe(m_client, "/example/test", R"({"recursive":true})"), 201);
    ASSERT_EQ(subscribe(m_client, kUri, R"({"data_include":"UPDATED"})"), 201);
    ASSERT_EQ(subscribe(m_client, "/example/test/dynamic/5", R"({"data_include":"NONE"})"), 201);

    store({"5.abc", "6.abc"});

    EXPECT_EQ(m_client.told(), (Lines{R"(Created /example/test/dynamic/6 {"id":6,"abc":"x","def":null})",
                                      R"(Created /example/test/dynamic/new {"id":6,"abc":"x","def":null})",
                                      "Updated /example/test/dynamic/5 -"}));
}

TEST_F(DynamicChangesTest, KnowsItsEntriesWhenASubscriptionIsTheFirstRequest) {
    m_database.setString(key("5.abc"), "x");

    EXPECT_EQ(subscribe(m_client, "/example/test/dynamic/5"), 201);
    EXPECT_EQ(subscribe(m_client, "/example/test/dynamic/6"), 404);
}

TEST_F(DynamicChangesTest, AcceptsASubscriptionOnNewThoughThereIsNoSuchEntry) {
    EXPECT_EQ(subscribe(m_client, "/example/test/dynamic/new"), 201);
    EXPECT_EQ(entry("new").status, 404);
}

TEST_F(DynamicChangesTest, HearsNothingMoreOnceItIsGone) {
    list();
    const CapturedLog log;

    m_controller.removePathHandler("test");
    store({"5.abc"});

    EXPECT_EQ(log.countOf("6 src/TestDynamicCollection:"), 0);
}
