// SPDX-License-Identifier: MIT

#include "src/example/TestDynamicCollection.h"

#include <gtest/gtest.h>

#include "DynamicFixture.h"
#include "tests/support/CapturedLog.h"

namespace {

class TestDynamicCollectionTest : public DynamicFixture {};

}  // namespace

TEST_F(TestDynamicCollectionTest, IsEmptyAtFirst) {
    EXPECT_EQ(get(kUri), (Answer{200, "[]"}));
}

TEST_F(TestDynamicCollectionTest, IsEmptyWhenTheDatabaseIsOutOfReach) {
    m_database.answer(false);

    EXPECT_EQ(get(kUri), (Answer{200, "[]"}));
}

TEST_F(TestDynamicCollectionTest, ListsTheStoredEntriesInTheOrderOfTheirIdsAsText) {
    m_database.setString(key("2.abc"), "two");
    m_database.setString(key("10.abc"), "ten");
    m_database.setString(key("10.def"), "zehn");

    EXPECT_EQ(list(), R"([{"id":10,"abc":"ten","def":"zehn"},{"id":2,"abc":"two","def":null}])");
}

TEST_F(TestDynamicCollectionTest, FillsItselfOnce) {
    list();
    entry("1");
    removeEntry("1");
    create(R"({"abc":"1"})");

    EXPECT_EQ(sent("config.readm.ram.system.test.dynamic.*.*"), 1);
}

TEST_F(TestDynamicCollectionTest, ShowsACreatedEntryWhenTheDatabaseReportsIt) {
    EXPECT_EQ(ask("POST", kUri, R"({"data":{"abc":"1","def":"2"}})"), (Answer{201, ""}));
    EXPECT_EQ(list(), "[]");

    settle();

    EXPECT_EQ(list(), R"([{"id":1,"abc":"1","def":"2"}])");
    EXPECT_EQ(entry("1"), (Answer{200, R"({"id":1,"abc":"1","def":"2"})"}));
    EXPECT_EQ(m_database.text(key("1.abc")), "1");
    EXPECT_EQ(m_database.text(key("1.def")), "2");
}

TEST_F(TestDynamicCollectionTest, CreatesAnEntryFromOneAttribute) {
    EXPECT_EQ(create(R"({"def":"2","id":77})"), 201);
    settle();

    EXPECT_EQ(list(), R"([{"id":1,"abc":null,"def":"2"}])");
}

TEST_F(TestDynamicCollectionTest, NumbersTheEntriesItCreates) {
    create(R"({"abc":"one"})");
    create(R"({"abc":"two"})");
    settle();

    EXPECT_EQ(list(), R"([{"id":1,"abc":"one","def":null},{"id":2,"abc":"two","def":null}])");
}

TEST_F(TestDynamicCollectionTest, KeepsItsNumberForACreationThatWasRefused) {
    EXPECT_EQ(create("{}"), 400);
    EXPECT_EQ(create(R"({"abc":1})"), 400);
    EXPECT_EQ(create(R"({"abc":"one"})"), 201);
    settle();

    EXPECT_EQ(list(), R"([{"id":1,"abc":"one","def":null}])");
}

TEST_F(TestDynamicCollectionTest, DoesNotUseANumberAgain) {
    create(R"({"abc":"one"})");
    settle();
    removeEntry("1");
    settle();

    create(R"({"abc":"two"})");
    settle();

    EXPECT_EQ(list(), R"([{"id":2,"abc":"two","def":null}])");
}

TEST_F(TestDynamicCollectionTest, BeginsAtOneAndWritesOverAnEntryFromBefore) {
    m_database.setString(key("1.abc"), "old");
    m_database.setString(key("1.def"), "kept");
    m_database.setString(key("7.abc"), "seven");

    EXPECT_EQ(create(R"({"abc":"new"})"), 201);
    settle();

    EXPECT_EQ(list(), R"([{"id":1,"abc":"new","def":"kept"},{"id":7,"abc":"seven","def":null}])");
}

TEST_F(TestDynamicCollectionTest, RefusesToCreateFromNothing) {
    EXPECT_EQ(create("{}"), 400);
    EXPECT_EQ(create(R"({"id":1})"), 400);
    EXPECT_EQ(create("[]"), 400);
    EXPECT_EQ(create("null"), 400);
    EXPECT_EQ(ask("POST", kUri).status, 400);
    EXPECT_EQ(ask("POST", kUri, "{not json").status, 400);
    EXPECT_EQ(sent("config.writev"), 0);
}

TEST_F(TestDynamicCollectionTest, RefusesToCreateFromAWrongTypeEvenBesideAText) {
    EXPECT_EQ(create(R"({"abc":"1","def":2})"), 400);
    EXPECT_EQ(create(R"({"abc":[],"def":"2"})"), 400);
    EXPECT_EQ(sent("config.writev"), 0);
}

TEST_F(TestDynamicCollectionTest, UpdatesAnEntryWhenTheDatabaseReportsIt) {
    m_database.setString(key("5.abc"), "1");

    EXPECT_EQ(putEntry("5", R"({"def":"2"})"), 200);
    settle();

    EXPECT_EQ(entry("5").json, R"({"id":5,"abc":"1","def":"2"})");
    EXPECT_EQ(m_database.text(key("5.def")), "2");
}

TEST_F(TestDynamicCollectionTest, RefusesAnUpdateOfNothingOrOfAWrongType) {
    m_database.setString(key("5.abc"), "1");

    EXPECT_EQ(putEntry("5", "{}"), 400);
    EXPECT_EQ(putEntry("5", R"({"abc":"1","def":false})"), 400);
    EXPECT_EQ(putEntry("5", "null"), 400);
    EXPECT_EQ(sent("config.writev"), 0);
}

TEST_F(TestDynamicCollectionTest, KnowsAnEntryByTheTextOfItsNumberAlone) {
    m_database.setString(key("1.abc"), "1");

    for (const char* id : {"2", "+1", "01", "1.x", "1.abc", " 1", "1 ", "99999999999999999999", "-1", "*",
                           "(1|2)", "[1]", "new", "abc"}) {
        EXPECT_EQ(entry(id).status, 404) << id;
        EXPECT_EQ(putEntry(id, R"({"abc":"2"})"), 404) << id;
        EXPECT_EQ(removeEntry(id), 404) << id;
    }
    EXPECT_EQ(sent("config.writev"), 0);
    EXPECT_EQ(sent("config.delm"), 0);
}

TEST_F(TestDynamicCollectionTest, DeletesAnEntryAndNoOther) {
    for (const char* end : {"1.abc", "1.def", "1.ghi", "10.abc", "2.abc"}) {
        m_database.setString(key(end), "x");
    }

    EXPECT_EQ(removeEntry("1"), 200);
    settle();

    EXPECT_EQ(entry("1").status, 404);
    EXPECT_EQ(list(), R"([{"id":10,"abc":"x","def":null},{"id":2,"abc":"x","def":null}])");
    EXPECT_EQ(m_database.value(key("1.ghi")).type, CONFIG_TYPE_NONE);
    EXPECT_EQ(m_database.text(key("10.abc")), "x");
}

TEST_F(TestDynamicCollectionTest, AnswersNotFoundForAnEntryThatIsDeletedAlready) {
    m_database.setString(key("1.abc"), "x");
    ASSERT_EQ(removeEntry("1"), 200);
    settle();

    EXPECT_EQ(removeEntry("1"), 404);
}

TEST_F(TestDynamicCollectionTest, DeletesAllEntries) {
    m_database.setString(key("1.abc"), "x");
    m_database.setString(key("2.def"), "x");
    m_database.setString("ram.system.test.static.x.abc", "x");

    EXPECT_EQ(remove(kUri), 200);
    settle();

    EXPECT_EQ(list(), "[]");
    EXPECT_EQ(m_database.value(key("2.def")).type, CONFIG_TYPE_NONE);
    EXPECT_EQ(m_database.text("ram.system.test.static.x.abc"), "x");
}

TEST_F(TestDynamicCollectionTest, DeletesAllEntriesThoughThereAreNone) {
    EXPECT_EQ(remove(kUri), 200);
}

TEST_F(TestDynamicCollectionTest, CanBeUpdatedOnlyEntryByEntry) {
    EXPECT_EQ(put(kUri, R"({"abc":"1"})"), 405);
    EXPECT_EQ(post("/example/test/dynamic/1", R"({"abc":"1"})"), 400);
}

TEST_F(TestDynamicCollectionTest, AnswersServerErrorWhenTheBusIsGone) {
    m_database.setString(key("1.abc"), "x");
    list();
    cutBus();

    EXPECT_EQ(create(R"({"abc":"1"})"), 500);
    EXPECT_EQ(putEntry("1", R"({"abc":"1"})"), 500);
    EXPECT_EQ(removeEntry("1"), 500);
    EXPECT_EQ(remove(kUri), 500);
}

TEST_F(TestDynamicCollectionTest, LogsItsRequests) {
    m_database.setString(key("5.abc"), "1");
    const CapturedLog log;

    create(R"({"abc":"1"})");
    putEntry("5", R"({"abc":"2"})");
    removeEntry("5");
    remove(kUri);

    EXPECT_EQ(log.count("7 src/TestDynamicCollection: createOperation"), 1);
    EXPECT_EQ(log.count("7 src/TestDynamicCollection: updateEntryOperation id 5"), 1);
    EXPECT_EQ(log.count("7 src/TestDynamicCollection: deleteEntryOperation id 5"), 1);
    EXPECT_EQ(log.count("7 src/TestDynamicCollection: deleteOperation"), 1);
}
