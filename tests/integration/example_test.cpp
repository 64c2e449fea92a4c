// SPDX-License-Identifier: MIT

#include <csignal>

#include "UnitFixture.h"

namespace {

class Example : public UnitFixture {
  protected:
    void RestartDaemon() {
        m_unit.daemon().signal(SIGTERM);
        ASSERT_TRUE(m_unit.daemon().awaitEnd().has_value());
        m_unit.startDaemon();
    }
};

using ExampleOverJsonRpc = Example;

TEST_F(Example, APutOnTheObjectIsShownByTheNextGet) {
    EXPECT_EQ(Get("/example/test"), R"({"a":null,"b":null,"c":null})");

    EXPECT_EQ(Put("/example/test", R"({"a": "one", "c": -7})"), 200);

    EXPECT_EQ(Get("/example/test"), R"({"a":"one","b":null,"c":-7})");
}

// What stands in front of "/example" is passed over.
TEST_F(Example, IsServedBelowTheOtherRootAsWell) {
    EXPECT_EQ(Put("/system/example/test", R"({"a": "one"})"), 200);
    EXPECT_EQ(Post("/system/subscriptions/example/test/dynamic", R"({"abc": "two"})"), 201);

    const std::string object = R"({"a":"one","b":null,"c":null})";
    const std::string entries = R"([{"id":1,"abc":"two","def":null}])";
    EXPECT_EQ(Get("/example/test"), object);
    EXPECT_EQ(Get("/system/example/test"), object);
    EXPECT_EQ(GetOnce("/example/test/dynamic", entries), entries);
    EXPECT_EQ(Delete("/system/info/example/test/dynamic"), 200);
    EXPECT_EQ(GetOnce("/example/test/dynamic", "[]"), "[]");
}

TEST_F(Example, APutOnTheObjectOutlivesTheDaemon) {
    ASSERT_EQ(Put("/example/test", R"({"b": "two"})"), 200);

    RestartDaemon();

    EXPECT_EQ(Get("/example/test"), R"({"a":null,"b":"two","c":null})");
}

TEST_F(Example, AWrongTypeIsRefusedAndNothingIsStored) {
    EXPECT_EQ(Put("/example/test", R"({"a": "one", "c": "7"})"), 400);
    EXPECT_EQ(Put("/example/test", R"({"c": 2147483648})"), 400);

    EXPECT_EQ(Get("/example/test"), R"({"a":null,"b":null,"c":null})");
}

TEST_F(Example, TheStaticCollectionListsExactlyXYAndZ) {
    const OtherProgram other(m_unit);
    config_write_string("ram.system.test.static.w.abc", "1");
    config_write_string("ram.system.test.static.y.abc", "2");
    // An answer shows that the database has taken the writes.
    int32_t value = 0;
    static_cast<void>(config_read_int("cfg.any", &value));

    EXPECT_EQ(Get("/example/test/static"),
              R"([{"id":"x","abc":null,"def":null},{"id":"y","abc":"2","def":null},)"
              R"({"id":"z","abc":null,"def":null}])");
}

TEST_F(Example, AStaticEntryIsUpdated) {
    EXPECT_EQ(Put("/example/test/static/z", R"({"def": "1"})"), 200);

    EXPECT_EQ(GetOnce("/example/test/static/z", R"({"id":"z","abc":null,"def":"1"})"),
              R"({"id":"z","abc":null,"def":"1"})");
    EXPECT_EQ(Put("/example/test/static/w", R"({"def": "1"})"), 404);
}

TEST_F(Example, ACreatedEntryAnswers201WithoutALocationAndShowsUp) {
    const HttpResponse created = Request("POST", "/example/test/dynamic", R"({"abc": "one"})");

    EXPECT_EQ(created.status, 201);
    EXPECT_EQ(created.header("Location"), "");
    EXPECT_EQ(created.body, "");
    const std::string expected = R"([{"id":1,"abc":"one","def":null}])";
    EXPECT_EQ(GetOnce("/example/test/dynamic", expected), expected);
}

TEST_F(Example, ADynamicEntryIsUpdated) {
    ASSERT_EQ(Post("/example/test/dynamic", R"({"abc": "one"})"), 201);
    const std::string created = R"({"id":1,"abc":"one","def":null})";
    ASSERT_EQ(GetOnce("/example/test/dynamic/1", created), created);

    EXPECT_EQ(Put("/example/test/dynamic/1", R"({"def": "two"})"), 200);

    const std::string updated = R"({"id":1,"abc":"one","def":"two"})";
    EXPECT_EQ(GetOnce("/example/test/dynamic/1", updated), updated);
}

TEST_F(Example, ADeletedEntryGoesAlone) {
    ASSERT_EQ(Post("/example/test/dynamic", R"({"abc": "one", "def": "1"})"), 201);
    ASSERT_EQ(Post("/example/test/dynamic", R"({"abc": "two"})"), 201);
    const std::string both = R"([{"id":1,"abc":"one","def":"1"},{"id":2,"abc":"two","def":null}])";
    ASSERT_EQ(GetOnce("/example/test/dynamic", both), both);

    EXPECT_EQ(Delete("/example/test/dynamic/1"), 200);

    const std::string rest = R"([{"id":2,"abc":"two","def":null}])";
    EXPECT_EQ(GetOnce("/example/test/dynamic", rest), rest);
    EXPECT_EQ(Delete("/example/test/dynamic/1"), 404);
}

TEST_F(Example, ADeleteOfTheCollectionTakesAllEntries) {
    ASSERT_EQ(Post("/example/test/dynamic", R"({"abc": "one"})"), 201);
    ASSERT_EQ(Post("/example/test/dynamic", R"({"def": "two"})"), 201);
    const std::string both = R"([{"id":1,"abc":"one","def":null},{"id":2,"abc":null,"def":"two"}])";
    ASSERT_EQ(GetOnce("/example/test/dynamic", both), both);

    EXPECT_EQ(Delete("/example/test/dynamic"), 200);

    EXPECT_EQ(GetOnce("/example/test/dynamic", "[]"), "[]");
}

TEST_F(Example, NoOtherSpellingOfItsNumberNamesAnEntry) {
    ASSERT_EQ(Post("/example/test/dynamic", R"({"abc": "one"})"), 201);
    const std::string created = R"([{"id":1,"abc":"one","def":null}])";
    ASSERT_EQ(GetOnce("/example/test/dynamic", created), created);

    for (const char* id : {"01", "-1", "99999999999999999999", "new"}) {
        const std::string target = std::string("/example/test/dynamic/") + id;
        EXPECT_EQ(Request("GET", target).status, 404) << id;
        EXPECT_EQ(Put(target, R"({"abc": "x"})"), 404) << id;
        EXPECT_EQ(Delete(target), 404) << id;
    }
    EXPECT_EQ(Get("/example/test/dynamic"), created);
}

TEST_F(Example, ARestartedDaemonNumbersFromOneAndWritesOverAnEntryFromBefore) {
    ASSERT_EQ(Post("/example/test/dynamic", R"({"abc": "old", "def": "kept"})"), 201);
    const std::string before = R"([{"id":1,"abc":"old","def":"kept"}])";
    ASSERT_EQ(GetOnce("/example/test/dynamic", before), before);

    RestartDaemon();
    EXPECT_EQ(Get("/example/test/dynamic"), before);
    EXPECT_EQ(Post("/example/test/dynamic", R"({"abc": "new"})"), 201);

    const std::string after = R"([{"id":1,"abc":"new","def":"kept"}])";
    EXPECT_EQ(GetOnce("/example/test/dynamic", after), after);
}

TEST_F(ExampleOverJsonRpc, ACreatedEntryAnswers201) {
    RpcClient client = m_unit.rpc();

    const JsonPtr answer =
        client.call("create", R"({"path": "/example/test/dynamic", "data": {"abc": "one"}})");

    EXPECT_EQ(Number(answer, {"result", "code"}), 201.0);
    const std::string expected = R"([{"id":1,"abc":"one","def":null}])";
    EXPECT_EQ(GetOnce("/example/test/dynamic", expected), expected);
}

TEST_F(ExampleOverJsonRpc, ARecursiveSubscriptionOnTheObjectHearsOfAllBelow) {
    RpcClient client = m_unit.rpc();
    Subscribe(client, "/example/test", R"({"recursive": true, "data_include": "NONE"})");

    ASSERT_EQ(Put("/example/test", R"({"a": "one"})"), 200);
    EXPECT_EQ(Told(client), "Updated /example/test -");
    ASSERT_EQ(Put("/example/test/static/x", R"({"abc": "one"})"), 200);
    EXPECT_EQ(Told(client), "Updated /example/test/static/x -");
    ASSERT_EQ(Post("/example/test/dynamic", R"({"abc": "one"})"), 201);
    EXPECT_EQ(Told(client), "Created /example/test/dynamic/1 -");
    EXPECT_EQ(Told(client), "Created /example/test/dynamic/new -");
    ASSERT_EQ(Put("/example/test/dynamic/1", R"({"abc": "two"})"), 200);
    EXPECT_EQ(Told(client), "Updated /example/test/dynamic/1 -");
    ASSERT_EQ(Delete("/example/test/dynamic"), 200);
    EXPECT_EQ(Told(client), "Deleted /example/test/dynamic/1 -");
}

TEST_F(ExampleOverJsonRpc, ASubscriptionOnTheObjectAloneHearsNothingOfWhatIsBelow) {
    RpcClient client = m_unit.rpc();
    Subscribe(client, "/example/test", R"({"data_include": "NONE"})");

    ASSERT_EQ(Put("/example/test/static/x", R"({"abc": "one"})"), 200);
    const std::string shown = R"({"id":"x","abc":"one","def":null})";
    ASSERT_EQ(GetOnce("/example/test/static/x", shown), shown);
    ASSERT_EQ(Put("/example/test", R"({"a": "one"})"), 200);

    EXPECT_EQ(Told(client), "Updated /example/test -");
}

TEST_F(ExampleOverJsonRpc, ASubscriptionOnNewHearsOfEveryEntryThatAppears) {
    RpcClient client = m_unit.rpc();
    Subscribe(client, "/example/test/dynamic/new", "null");

    ASSERT_EQ(Post("/example/test/dynamic", R"({"abc": "one"})"), 201);
    EXPECT_EQ(Told(client), R"(Created /example/test/dynamic/new {"id":1,"abc":"one","def":null})");
    ASSERT_EQ(Put("/example/test/dynamic/1", R"({"abc": "two"})"), 200);
    ASSERT_EQ(Post("/example/test/dynamic", R"({"def": "two"})"), 201);

    EXPECT_EQ(Told(client), R"(Created /example/test/dynamic/new {"id":2,"abc":null,"def":"two"})");
}

TEST_F(ExampleOverJsonRpc, ASubscriptionOnAnEntryThatIsNotThereIsRefused) {
    RpcClient client = m_unit.rpc();

    const JsonPtr answer =
        client.call("create", R"({"path": "/example/subscriptions/example/test/dynamic/1"})");

    EXPECT_EQ(Number(answer, {"error", "code"}), 404.0);
}

TEST_F(ExampleOverJsonRpc, TheNearestSubscriptionDecidesAndTellsOnce) {
    RpcClient client = m_unit.rpc();
    Subscribe(client, "/example/test", R"({"recursive": true})");
    Subscribe(client, "/example/test/static", R"({"data_include": "UPDATED"})");
    Subscribe(client, "/example/test/static/x", R"({"data_include": "NONE"})");

    ASSERT_EQ(Put("/example/test/static/x", R"({"abc": "one"})"), 200);
    EXPECT_EQ(Told(client), "Updated /example/test/static/x -");
    ASSERT_EQ(Put("/example/test/static/y", R"({"abc": "one"})"), 200);
    EXPECT_EQ(Told(client), R"(Updated /example/test/static/y {"abc":"one"})");
    ASSERT_EQ(Put("/example/test", R"({"a": "one"})"), 200);
    EXPECT_EQ(Told(client), R"(Updated /example/test {"a":"one","b":null,"c":null})");
}

TEST_F(ExampleOverJsonRpc, ANotificationCarriesWhatTheSubscriptionAskedFor) {
    ASSERT_EQ(Put("/example/test", R"({"b": "two"})"), 200);
    RpcClient all = m_unit.rpc();
    RpcClient updated = m_unit.rpc();
    RpcClient none = m_unit.rpc();
    Subscribe(all, "/example/test", R"({"data_include": "ALL"})");
    Subscribe(updated, "/example/test", R"({"data_include": "UPDATED"})");
    Subscribe(none, "/example/test", R"({"data_include": "NONE"})");

    ASSERT_EQ(Put("/example/test", R"({"a": "one", "b": "two", "c": 3})"), 200);

    EXPECT_EQ(Told(all), R"(Updated /example/test {"a":"one","b":"two","c":3})");
    EXPECT_EQ(Told(updated), R"(Updated /example/test {"a":"one","c":3})");
    EXPECT_EQ(Told(none), "Updated /example/test -");
}

TEST_F(ExampleOverJsonRpc, AnUpdateThatAltersNothingIsNotTold) {
    ASSERT_EQ(Put("/example/test", R"({"a": "one"})"), 200);
    RpcClient client = m_unit.rpc();
    Subscribe(client, "/example/test", R"({"data_include": "UPDATED"})");

    ASSERT_EQ(Put("/example/test", R"({"a": "one"})"), 200);
    ASSERT_EQ(Put("/example/test", R"({"c": 3})"), 200);

    EXPECT_EQ(Told(client), R"(Updated /example/test {"c":3})");
}

TEST_F(ExampleOverJsonRpc, WhatAnotherProgramDoesInTheDatabaseIsTold) {
    RpcClient client = m_unit.rpc();
    Subscribe(client, "/example/test/dynamic/new", R"({"data_include": "NONE"})");
    Subscribe(client, "/example/test/dynamic", R"({"data_include": "UPDATED"})");
    const OtherProgram other(m_unit);

    config_write_string("ram.system.test.dynamic.42.abc", "one");
    EXPECT_EQ(Told(client), R"(Created /example/test/dynamic/42 {"id":42,"abc":"one","def":null})");
    EXPECT_EQ(Told(client), "Created /example/test/dynamic/new -");
    config_write_string("ram.system.test.dynamic.42.def", "two");
    EXPECT_EQ(Told(client), R"(Updated /example/test/dynamic/42 {"def":"two"})");
    config_delete("ram.system.test.dynamic.42.abc");
    EXPECT_EQ(Told(client), R"(Updated /example/test/dynamic/42 {"abc":null})");
    config_delete("ram.system.test.dynamic.42.def");
    EXPECT_EQ(Told(client), "Deleted /example/test/dynamic/42 -");
}

}  // namespace
