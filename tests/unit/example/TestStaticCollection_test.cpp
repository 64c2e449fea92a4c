// SPDX-License-Identifier: MIT

#include "src/example/TestStaticCollection.h"

#include <gtest/gtest.h>

#include "ExampleFixture.h"
#include "tests/support/CapturedLog.h"

namespace {

constexpr const char* kUri = "/example/test/static";
constexpr const char* kXAbc = "ram.system.test.static.x.abc";
constexpr const char* kXDef = "ram.system.test.static.x.def";
constexpr const char* kZAbc = "ram.system.test.static.z.abc";
constexpr const char* kEmpty =
    R"([{"id":"x","abc":null,"def":null},{"id":"y","abc":null,"def":null},{"id":"z","abc":null,"def":null}])";

class TestStaticCollectionTest : public ExampleFixture {
  protected:
    std::string entry(const std::string& id) { return get(std::string(kUri) + "/" + id).json; }
    int putEntry(const std::string& id, const std::string& payload) {
        return put(std::string(kUri) + "/" + id, payload);
    }
};

}  // namespace

TEST_F(TestStaticCollectionTest, ListsExactlyXYAndZ) {
    EXPECT_EQ(get(kUri), (Answer{200, kEmpty}));
}

TEST_F(TestStaticCollectionTest, ListsExactlyXYAndZWhateverTheDatabaseHolds) {
    m_database.setString("ram.system.test.static.w.abc", "1");
    m_database.setString("ram.system.test.static.xx.abc", "1");
    m_database.setString("ram.system.test.static.X.abc", "1");

    EXPECT_EQ(get(kUri), (Answer{200, kEmpty}));
    announce({"ram.system.test.static.w.abc", "ram.system.test.static.xx.abc"});
    EXPECT_EQ(get(kUri), (Answer{200, kEmpty}));
}

TEST_F(TestStaticCollectionTest, ListsExactlyXYAndZWhenTheDatabaseIsOutOfReach) {
    m_database.answer(false);

    EXPECT_EQ(get(kUri), (Answer{200, kEmpty}));
}

TEST_F(TestStaticCollectionTest, ReadsTheStoredValuesAtTheFirstRequest) {
    m_database.setString(kXAbc, "1");
    m_database.setString(kZAbc, "2");

    EXPECT_EQ(get(kUri).json, R"([{"id":"x","abc":"1","def":null},{"id":"y","abc":null,"def":null},)"
                              R"({"id":"z","abc":"2","def":null}])");
}

TEST_F(TestStaticCollectionTest, FillsItselfOnce) {
    get(kUri);
    entry("x");
    putEntry("x", R"({"abc":"1"})");

    EXPECT_EQ(sent("config.readm.ram.system.test.static.*.*"), 1);
}

TEST_F(TestStaticCollectionTest, AnswersAnEntryAloneAndNotFoundForOthers) {
    EXPECT_EQ(get("/example/test/static/y"), (Answer{200, R"({"id":"y","abc":null,"def":null})"}));
    EXPECT_EQ(get("/example/test/static/w").status, 404);
    EXPECT_EQ(get("/example/test/static/X").status, 404);
    EXPECT_EQ(get("/example/test/static/new").status, 404);
    EXPECT_EQ(get("/example/test/static/x/abc").status, 404);
}

TEST_F(TestStaticCollectionTest, KnowsItsEntriesWhenASubscriptionIsTheFirstRequest) {
    EXPECT_EQ(subscribe(m_client, "/example/test/static/x"), 201);
    EXPECT_EQ(subscribe(m_client, "/example/test/static/w"), 404);
}

TEST_F(TestStaticCollectionTest, KnowsItsEntriesWhenAnUpdateIsTheFirstRequest) {
    EXPECT_EQ(putEntry("x", R"({"abc":"1"})"), 200);
}

TEST_F(TestStaticCollectionTest, StoresAnUpdateAndShowsItWhenTheDatabaseReportsIt) {
    EXPECT_EQ(putEntry("x", R"({"abc":"1","def":"2"})"), 200);
    EXPECT_EQ(entry("x"), R"({"id":"x","abc":null,"def":null})");

    settle();

    EXPECT_EQ(m_database.text(kXAbc), "1");
    EXPECT_EQ(m_database.text(kXDef), "2");
    EXPECT_EQ(entry("x"), R"({"id":"x","abc":"1","def":"2"})");
}

TEST_F(TestStaticCollectionTest, LeavesWhatAnUpdateDoesNotName) {
    m_database.setString(kXAbc, "1");

    EXPECT_EQ(putEntry("x", R"({"def":"2","id":"q"})"), 200);
    settle();

    EXPECT_EQ(entry("x"), R"({"id":"x","abc":"1","def":"2"})");
    EXPECT_EQ(sent("config.writev"), 1);
}

TEST_F(TestStaticCollectionTest, RefusesAnUpdateOfAnUnknownEntry) {
    EXPECT_EQ(putEntry("w", R"({"abc":"1"})"), 404);
    EXPECT_EQ(putEntry("new", R"({"abc":"1"})"), 404);
    EXPECT_EQ(putEntry("x.abc", R"({"abc":"1"})"), 404);
    EXPECT_EQ(sent("config.writev"), 0);
}

TEST_F(TestStaticCollectionTest, RefusesAnUpdateOfNothing) {
    EXPECT_EQ(putEntry("x", "{}"), 400);
    EXPECT_EQ(putEntry("x", R"({"id":"x"})"), 400);
    EXPECT_EQ(putEntry("x", R"(["abc"])"), 400);
    EXPECT_EQ(putEntry("x", "null"), 400);
    EXPECT_EQ(ask("PUT", "/example/test/static/x").status, 400);
    EXPECT_EQ(sent("config.writev"), 0);
}

TEST_F(TestStaticCollectionTest, RefusesAWrongTypeEvenBesideAText) {
    EXPECT_EQ(putEntry("x", R"({"abc":"1","def":2})"), 400);
    EXPECT_EQ(putEntry("x", R"({"abc":null,"def":"2"})"), 400);
    EXPECT_EQ(sent("config.writev"), 0);
}

TEST_F(TestStaticCollectionTest, AnswersServerErrorWhenTheWriteFails) {
    get(kUri);
    cutBus();

    EXPECT_EQ(putEntry("x", R"({"abc":"1"})"), 500);
}

TEST_F(TestStaticCollectionTest, HasEntriesThatNobodyCanCreateOrDelete) {
    EXPECT_EQ(post(kUri, R"({"abc":"1"})"), 405);
    EXPECT_EQ(remove(kUri), 405);
    EXPECT_EQ(remove("/example/test/static/x"), 405);
    EXPECT_EQ(remove("/example/test/static/w"), 404);
}

TEST_F(TestStaticCollectionTest, TakesADeletedKeyAsNull) {
    m_database.setString(kXAbc, "1");
    m_database.setString(kXDef, "2");
    get(kUri);
    ASSERT_EQ(subscribe(m_client, "/example/test/static/x", R"({"data_include":"UPDATED"})"), 201);
    m_database.erase(kXAbc);

    announce({kXAbc});

    EXPECT_EQ(entry("x"), R"({"id":"x","abc":null,"def":"2"})");
    EXPECT_EQ(m_client.told(), Lines{R"(Updated /example/test/static/x {"abc":null})"});
}

TEST_F(TestStaticCollectionTest, IgnoresKeysThatBelongToNoEntryOrAttribute) {
    get(kUri);
    ASSERT_EQ(subscribe(m_client, kUri), 201);
    const std::vector<std::string> keys{"ram.system.test.static.w.abc",     "ram.system.test.static.x.ghi",
                                        "ram.system.test.static.x.abc.def", "ram.system.test.static.x",
                                        "ram.system.test.static2.x.abc",    "ram.system.test.static..abc"};
    for (const std::string& key : keys) {
        m_database.setString(key, "1");
    }
    const CapturedLog log;

    announce(keys);

    EXPECT_EQ(get(kUri).json, kEmpty);
    EXPECT_EQ(m_client.told(), Lines{});
    EXPECT_EQ(log.count("4 src/TestStaticCollection: Entry NOT found"), 1);
    EXPECT_EQ(log.count("4 src/TestEntry: Unknown attribute"), 2);
    EXPECT_EQ(log.count("7 src/TestStaticCollection: NOT Relevant data"), 3);
}

TEST_F(TestStaticCollectionTest, KeepsTheTextWhenAnotherTypeComes) {
    m_database.setString(kXAbc, "1");
    get(kUri);
    ASSERT_EQ(subscribe(m_client, kUri), 201);
    m_database.setInt(kXAbc, 5);

    announce({kXAbc});

    EXPECT_EQ(entry("x"), R"({"id":"x","abc":"1","def":null})");
    EXPECT_EQ(m_client.told(), Lines{});
}

TEST_F(TestStaticCollectionTest, TellsOfEachChangedEntryOnce) {
    ASSERT_EQ(subscribe(m_client, "/example/test/static/x", R"({"data_include":"UPDATED"})"), 201);
    ASSERT_EQ(subscribe(m_other, kUri), 201);
    m_database.setString(kXAbc, "1");
    m_database.setString(kXDef, "2");
    m_database.setString(kZAbc, "3");

    announce({kXAbc, kXDef, kZAbc});

    EXPECT_EQ(m_client.told(), Lines{R"(Updated /example/test/static/x {"abc":"1","def":"2"})"});
    EXPECT_EQ(m_other.told(), (Lines{R"(Updated /example/test/static/x {"id":"x","abc":"1","def":"2"})",
                                     R"(Updated /example/test/static/z {"id":"z","abc":"3","def":null})"}));
}

TEST_F(TestStaticCollectionTest, TellsRecursiveSubscribersOfTheObjectAbove) {
    ASSERT_EQ(subscribe(m_client, "/example/test", R"({"recursive":true,"data_include":"NONE"})"), 201);
    ASSERT_EQ(subscribe(m_other, "/example/test", R"({"data_include":"NONE"})"), 201);

    putEntry("x", R"({"abc":"1"})");
    settle();

    EXPECT_EQ(m_client.told(), Lines{"Updated /example/test/static/x -"});
    EXPECT_EQ(m_other.told(), Lines{});
}

TEST_F(TestStaticCollectionTest, TellsNobodyOfAnUpdateThatAltersNothing) {
    m_database.setString(kXAbc, "1");
    ASSERT_EQ(subscribe(m_client, "/example/test/static/x"), 201);

    EXPECT_EQ(putEntry("x", R"({"abc":"1"})"), 200);
    announce({kXAbc, kXDef});

    EXPECT_EQ(m_client.told(), Lines{});
}

TEST_F(TestStaticCollectionTest, TellsNobodyOfTheStateAtTheFirstRequest) {
    m_database.setString(kXAbc, "1");
    ASSERT_EQ(subscribe(m_client, kUri), 201);

    get(kUri);

    EXPECT_EQ(m_client.told(), Lines{});
}

TEST_F(TestStaticCollectionTest, LogsWhatItDoes) {
    const CapturedLog log;

    putEntry("x", R"({"abc":"1"})");
    settle();

    EXPECT_EQ(log.count("6 src/TestStaticCollection: SystemTestObject::sync() initialize entry map"), 1);
    EXPECT_EQ(log.count("7 src/TestStaticCollection: entry id: x, attribute: abc"), 1);
    EXPECT_EQ(log.count("7 src/TestStaticCollection: notify Updated"), 1);
}
