// SPDX-License-Identifier: MIT

#include "src/example/TestObject.h"

#include <gtest/gtest.h>

#include "ExampleFixture.h"
#include "tests/support/CapturedLog.h"

namespace {

constexpr const char* kUri = "/example/test";
constexpr const char* kA = "ram.system.test.a";
constexpr const char* kB = "ram.system.test.b";
constexpr const char* kC = "ram.system.test.c";

class TestObjectTest : public ExampleFixture {
  protected:
    int putData(const std::string& payload) { return put(kUri, payload); }
    void watch(Client& client, const char* data_include) {
        ASSERT_EQ(subscribe(client, kUri, std::string(R"({"data_include":")") + data_include + R"("})"), 201);
    }
};

}  // namespace

TEST_F(TestObjectTest, HasThreeAttributesThatAreNullAtFirst) {
    EXPECT_EQ(get(kUri), (Answer{200, R"({"a":null,"b":null,"c":null})"}));
}

TEST_F(TestObjectTest, ReadsTheStoredValuesAtTheFirstRequest) {
    m_database.setString(kA, "one");
    m_database.setString(kB, "");
    m_database.setInt(kC, -3);

    EXPECT_EQ(get(kUri), (Answer{200, R"({"a":"one","b":"","c":-3})"}));
}

TEST_F(TestObjectTest, AnswersWhenTheDatabaseIsOutOfReach) {
    m_database.answer(false);

    EXPECT_EQ(get(kUri), (Answer{200, R"({"a":null,"b":null,"c":null})"}));
}

TEST_F(TestObjectTest, StoresAnUpdateAndShowsItAtOnce) {
    EXPECT_EQ(putData(R"({"a":"one","b":"two","c":3})"), 200);

    EXPECT_EQ(get(kUri).json, R"({"a":"one","b":"two","c":3})");
    waitForDatabase();
    EXPECT_EQ(m_database.text(kA), "one");
    EXPECT_EQ(m_database.text(kB), "two");
    EXPECT_EQ(m_database.value(kC), (FakeDatabase::Value{CONFIG_TYPE_INT, std::string("\3\0\0\0", 4)}));
}

TEST_F(TestObjectTest, LeavesWhatAnUpdateDoesNotName) {
    putData(R"({"a":"one","c":3})");

    EXPECT_EQ(putData(R"({"a":"new","unknown":"x"})"), 200);

    EXPECT_EQ(get(kUri).json, R"({"a":"new","b":null,"c":3})");
}

TEST_F(TestObjectTest, StoresALongTextWhole) {
    const std::string text(100000, 'x');

    EXPECT_EQ(putData(R"({"a":")" + text + R"("})"), 200);

    waitForDatabase();
    EXPECT_EQ(m_database.text(kA), text);
}

TEST_F(TestObjectTest, AcceptsEveryNumberOfThirtyTwoBits) {
    EXPECT_EQ(putData(R"({"c":2147483647})"), 200);
    EXPECT_EQ(get(kUri).json, R"({"a":null,"b":null,"c":2147483647})");
    EXPECT_EQ(putData(R"({"c":-2147483648})"), 200);
    EXPECT_EQ(get(kUri).json, R"({"a":null,"b":null,"c":-2147483648})");
}

TEST_F(TestObjectTest, RefusesNumbersThatDoNotFit) {
    EXPECT_EQ(putData(R"({"c":2147483648})"), 400);
    EXPECT_EQ(putData(R"({"c":-2147483649})"), 400);
    EXPECT_EQ(putData(R"({"c":1e999})"), 400);
    EXPECT_EQ(putData(R"({"c":1.5})"), 400);
    EXPECT_EQ(sent("config.writev"), 0);
}

TEST_F(TestObjectTest, RefusesAWrongTypeEvenAmongValidAttributes) {
    EXPECT_EQ(putData(R"({"a":5,"b":"two"})"), 400);
    EXPECT_EQ(putData(R"({"a":"one","b":{}})"), 400);
    EXPECT_EQ(putData(R"({"a":"one","b":null})"), 400);
    EXPECT_EQ(putData(R"({"a":"one","c":"3"})"), 400);
    EXPECT_EQ(putData(R"({"a":"one","c":true})"), 400);
    EXPECT_EQ(sent("config.writev"), 0);
}

TEST_F(TestObjectTest, RefusesAnUpdateOfNothing) {
    EXPECT_EQ(putData("{}"), 400);
    EXPECT_EQ(putData(R"({"A":"one"})"), 400);
    EXPECT_EQ(putData("[]"), 400);
    EXPECT_EQ(putData(R"(["a"])"), 400);
    EXPECT_EQ(putData("\"a\""), 400);
    EXPECT_EQ(sent("config.writev"), 0);
}

TEST_F(TestObjectTest, RefusesAnUpdateWithoutData) {
    const CapturedLog log;

    EXPECT_EQ(ask("PUT", kUri).status, 400);
    EXPECT_EQ(ask("PUT", kUri, "{not json").status, 400);
    EXPECT_EQ(ask("PUT", kUri, R"({"a":"one"})").status, 400);
    EXPECT_EQ(putData("null"), 400);

    EXPECT_EQ(log.count("4 src/TestObject: updateOperation NO data"), 4);
    EXPECT_EQ(sent("config.writev"), 0);
}

TEST_F(TestObjectTest, LogsTheBodyWithAZeroBehindIt) {
    const CapturedLog log;

    putData(R"({"a":"one"})");

    EXPECT_EQ(log.count(R"(6 src/TestObject: updateOperation data: {"a":"one"}0)"), 1);
}

TEST_F(TestObjectTest, AnswersServerErrorWhenTheWriteFails) {
    get(kUri);
    cutBus();

    EXPECT_EQ(putData(R"({"a":"one"})"), 500);
    EXPECT_EQ(get(kUri).json, R"({"a":null,"b":null,"c":null})");
}

TEST_F(TestObjectTest, CanBeNeitherCreatedNorDeleted) {
    EXPECT_EQ(post(kUri, R"({"a":"one"})"), 405);
    EXPECT_EQ(remove(kUri), 405);
}

TEST_F(TestObjectTest, FollowsTheDatabase) {
    get(kUri);
    m_database.setString(kA, "one");
    m_database.setInt(kC, 3);

    announce({kA, kC});

    EXPECT_EQ(get(kUri).json, R"({"a":"one","b":null,"c":3})");
}

TEST_F(TestObjectTest, TakesADeletedKeyAsNull) {
    m_database.setString(kA, "one");
    m_database.setInt(kC, 3);
    get(kUri);
    watch(m_client, "UPDATED");
    m_database.erase(kA);
    m_database.erase(kC);

    announce({kA, kC});

    EXPECT_EQ(get(kUri).json, R"({"a":null,"b":null,"c":null})");
    EXPECT_EQ(m_client.told(), Lines{R"(Updated /example/test {"a":null,"c":null})"});
}

TEST_F(TestObjectTest, RefusesAValueOfAnotherType) {
    m_database.setString(kA, "one");
    get(kUri);
    watch(m_client, "ALL");
    m_database.setBinary(kA, "1234");
    const CapturedLog log;

    announce({kA});

    EXPECT_EQ(get(kUri).json, R"({"a":"one","b":null,"c":null})");
    EXPECT_EQ(log.count("4 src/TestObject: Unsupported config type : 16"), 1);
    EXPECT_EQ(m_client.told(), Lines{});
}

TEST_F(TestObjectTest, SkipsKeysThatOnlyBeginLikeItsOwn) {
    const Answer before = get(kUri);
    watch(m_client, "ALL");
    m_database.setString("ram.system.test.aa", "x");
    m_database.setString("ram.system.test.a.b", "x");
    m_database.setString("ram.system.testing", "x");

    announce({"ram.system.test.aa", "ram.system.test.a.b", "ram.system.testing"});

    EXPECT_EQ(get(kUri), before);
    EXPECT_EQ(m_client.told(), Lines{});
}

TEST_F(TestObjectTest, TellsItsSubscribersWhatTheyAskedFor) {
    watch(m_client, "UPDATED");
    watch(m_other, "NONE");

    putData(R"({"a":"one","c":3})");

    EXPECT_EQ(m_client.told(), Lines{R"(Updated /example/test {"a":"one","c":3})"});
    EXPECT_EQ(m_other.told(), Lines{"Updated /example/test -"});
}

TEST_F(TestObjectTest, TellsTheWholeObjectUnlessAskedOtherwise) {
    ASSERT_EQ(subscribe(m_client, kUri), 201);

    putData(R"({"a":"one"})");

    EXPECT_EQ(m_client.told(), Lines{R"(Updated /example/test {"a":"one","b":null,"c":null})"});
}

TEST_F(TestObjectTest, TellsOfAnUpdateOnceThoughTheDatabaseReportsItAgain) {
    watch(m_client, "NONE");

    putData(R"({"a":"one"})");
    settle();

    EXPECT_EQ(m_client.told(), Lines{"Updated /example/test -"});
}

TEST_F(TestObjectTest, TellsNobodyOfAnUpdateThatAltersNothing) {
    putData(R"({"a":"one","c":3})");
    settle();
    watch(m_client, "ALL");

    EXPECT_EQ(putData(R"({"a":"one","c":3})"), 200);
    announce({kA, kB, kC});

    EXPECT_EQ(m_client.told(), Lines{});
}

TEST_F(TestObjectTest, TellsOfAnUpdateThatIsTheFirstRequest) {
    m_database.setString(kA, "one");
    watch(m_client, "UPDATED");

    putData(R"({"a":"one","b":"two"})");

    EXPECT_EQ(m_client.told(), Lines{R"(Updated /example/test {"b":"two"})"});
}

TEST_F(TestObjectTest, TellsNobodyOfTheStateAtTheFirstRequest) {
    m_database.setString(kA, "one");
    watch(m_client, "ALL");

    get(kUri);

    EXPECT_EQ(m_client.told(), Lines{});
}

TEST_F(TestObjectTest, NamesAnAttributeOnceThatAMessageHoldsTwice) {
    get(kUri);
    watch(m_client, "UPDATED");

    report({{kA, "one"}, {kA, "two"}});

    EXPECT_EQ(m_client.told(), Lines{R"(Updated /example/test {"a":"two"})"});
}

TEST_F(TestObjectTest, LogsWhatItDoes) {
    const CapturedLog log;

    putData(R"({"a":"one","c":3})");
    settle();

    EXPECT_EQ(log.count("6 src/TestObject: SystemTestObject::init()"), 1);
    EXPECT_EQ(log.count("7 src/TestObject: onConfigWritten EVENT"), 1);
    EXPECT_EQ(log.count("7 src/TestObject: Replacing string attribute a"), 1);
    EXPECT_EQ(log.count("7 src/TestObject: Replacing int attribute c"), 1);
    EXPECT_EQ(log.count("7 src/TestObject: notify Updated, attr update count 2"), 1);
    EXPECT_EQ(log.count("7 src/TestObject: onConfigChange EVENT"), 1);
}

TEST_F(TestObjectTest, HearsNothingMoreOnceItIsGone) {
    get(kUri);
    m_database.setString(kA, "one");
    const CapturedLog log;

    m_controller.removePathHandler("test");
    announce({kA});

    EXPECT_EQ(log.countOf("7 src/TestObject:"), 0);
}
