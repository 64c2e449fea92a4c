// SPDX-License-Identifier: MIT

#include <optional>

#include "UnitFixture.h"

namespace {

class JsonRpcSubscriptions : public UnitFixture {
  protected:
    void SetUp() override {
        UnitFixture::SetUp();
        m_client.emplace(m_unit.rpc());
    }

    // Result or error of a call on the subscription of an example resource.
    std::string Answer(const std::string& method, const std::string& path,
                       const std::string& payload = "null") {
        const JsonPtr answer = m_client->call(
            method, R"({"path": "/example/subscriptions)" + path + R"(", "data": )" + payload + "}");
        const cJSON* const result = Member(answer, {"result"});
        return Compact(result != nullptr ? result : Member(answer, {"error"}));
    }
    // The rest of the life of a subscription that was made without a payload.
    void ExpectReadUpdateAndDelete(const std::string& path) {
        const std::string start = R"({"code":200,"data":{"api_path":")" + path + R"(",)";
        EXPECT_EQ(Answer("read", path), start + R"("recursive":false,"data_include":"ALL"}})");
        EXPECT_EQ(Answer("update", path, R"({"recursive": true, "data_include": "NONE"})"),
                  R"({"code":200})");
        EXPECT_EQ(Answer("read", path), start + R"("recursive":true,"data_include":"NONE"}})");
        EXPECT_EQ(Answer("delete", path), R"({"code":200})");
    }
    void ExpectNone(const std::string& path) {
        for (const char* method : {"read", "update", "delete"}) {
            EXPECT_EQ(Answer(method, path, R"({"recursive": true})"), kNotFound) << method;
        }
    }

    static constexpr const char* kNotFound = R"({"code":404,"message":"Not Found"})";
    std::optional<RpcClient> m_client;
};

constexpr const char* kX = "/example/test/static/x";
constexpr const char* kNewStatic = "/example/test/static/new";
constexpr const char* kNewDynamic = "/example/test/dynamic/new";

TEST_F(JsonRpcSubscriptions, AnEntryCanBeSubscribed) {
    EXPECT_EQ(Answer("create", kX),
              R"({"code":201,"path":"/example/subscriptions/example/test/static/x","data":)"
              R"({"api_path":"/example/test/static/x","recursive":false,"data_include":"ALL"}})");
}

TEST_F(JsonRpcSubscriptions, NewOfTheStaticCollectionCanBeSubscribed) {
    EXPECT_EQ(Answer("create", kNewStatic),
              R"({"code":201,"path":"/example/subscriptions/example/test/static/new","data":)"
              R"({"api_path":"/example/test/static/new","recursive":false,"data_include":"ALL"}})");
}

TEST_F(JsonRpcSubscriptions, NoOtherEntryThatIsNotThereCanBeSubscribed) {
    for (const char* path : {"/example/test/static/w", "/example/test/static/New",
                             "/example/test/static/news", "/example/test/static/X", "/example/test/dynamic/1",
                             "/example/test/dynamic/0", "/example/test/new"}) {
        EXPECT_EQ(Answer("create", path), kNotFound) << path;
    }
}

TEST_F(JsonRpcSubscriptions, NothingBelowAnEntryCanBeSubscribed) {
    EXPECT_EQ(Answer("create", "/example/test/static/x/abc"), kNotFound);
    EXPECT_EQ(Answer("create", "/example/test/static/new/new"), kNotFound);
}

TEST_F(JsonRpcSubscriptions, NothingOfAnotherTreeCanBeSubscribed) {
    EXPECT_EQ(Answer("create", "/system/status"), kNotFound);
}

TEST_F(JsonRpcSubscriptions, ASubscriptionOnAnEntryIsReadUpdatedAndDeleted) {
    Answer("create", kX);

    ExpectReadUpdateAndDelete(kX);
    ExpectNone(kX);
}

TEST_F(JsonRpcSubscriptions, ASubscriptionOnNewIsReadUpdatedAndDeleted) {
    Answer("create", kNewStatic);
    ExpectReadUpdateAndDelete(kNewStatic);
    ExpectNone(kNewStatic);

    Answer("create", kNewDynamic);
    ExpectReadUpdateAndDelete(kNewDynamic);
    ExpectNone(kNewDynamic);
}

TEST_F(JsonRpcSubscriptions, WithoutASubscriptionOnAnEntryThereIsNoneToReadUpdateOrDelete) {
    ExpectNone(kX);
    ExpectNone(kNewStatic);
    ExpectNone("/example/test/static/w");
}

TEST_F(JsonRpcSubscriptions, ASecondSubscriptionOfAConnectionOnAnEntryConflicts) {
    Answer("create", kX);
    Answer("create", kNewStatic);

    EXPECT_EQ(Answer("create", kX), R"({"code":409,"message":"Conflict"})");
    EXPECT_EQ(Answer("create", kNewStatic), R"({"code":409,"message":"Conflict"})");
}

TEST_F(JsonRpcSubscriptions, AWrongPayloadForAnEntryIsRefusedAndChangesNothing) {
    const std::string refused = R"({"code":400,"message":"Bad Request"})";

    for (const char* payload : {"[]", "7", R"({"recursive": 1})", R"({"data_include": "SOME"})"}) {
        EXPECT_EQ(Answer("create", kX, payload), refused) << payload;
    }
    ExpectNone(kX);
    Answer("create", kX);
    for (const char* payload : {"null", "[]", R"({"recursive": "true", "data_include": "NONE"})"}) {
        EXPECT_EQ(Answer("update", kX, payload), refused) << payload;
    }
    ExpectReadUpdateAndDelete(kX);
}

TEST_F(JsonRpcSubscriptions, AnUpdatedSubscriptionDecidesWhatTheNextNotificationCarries) {
    Answer("create", kX);
    ASSERT_EQ(Put(kX, R"({"abc": "one"})"), 200);
    EXPECT_EQ(Told(*m_client), R"(Updated /example/test/static/x {"id":"x","abc":"one","def":null})");

    Answer("update", kX, R"({"data_include": "UPDATED"})");
    ASSERT_EQ(Put(kX, R"({"def": "two"})"), 200);
    EXPECT_EQ(Told(*m_client), R"(Updated /example/test/static/x {"def":"two"})");

    Answer("update", kX, R"({"data_include": "NONE"})");
    ASSERT_EQ(Put(kX, R"({"def": "three"})"), 200);
    EXPECT_EQ(Told(*m_client), "Updated /example/test/static/x -");
}

TEST_F(JsonRpcSubscriptions, ADeletedSubscriptionOnAnEntryTellsNothingAnyMore) {
    Answer("create", kX);
    Answer("create", "/example/test/static/y");
    Answer("delete", kX);

    ASSERT_EQ(Put(kX, R"({"abc": "one"})"), 200);
    ASSERT_EQ(Put("/example/test/static/y", R"({"abc": "two"})"), 200);

    EXPECT_EQ(Told(*m_client), R"(Updated /example/test/static/y {"id":"y","abc":"two","def":null})");
}

TEST_F(JsonRpcSubscriptions, ADeletedSubscriptionOnNewTellsNothingAnyMore) {
    Answer("create", kNewDynamic);
    Answer("create", kX);
    Answer("delete", kNewDynamic);

    ASSERT_EQ(Post("/example/test/dynamic", R"({"abc": "one"})"), 201);
    const std::string created = R"([{"id":1,"abc":"one","def":null}])";
    ASSERT_EQ(GetOnce("/example/test/dynamic", created), created);
    ASSERT_EQ(Put(kX, R"({"abc": "two"})"), 200);

    EXPECT_EQ(Told(*m_client), R"(Updated /example/test/static/x {"id":"x","abc":"two","def":null})");
}

TEST_F(JsonRpcSubscriptions, AnEntryCanBeSubscribedFromItsCreationOn) {
    Answer("create", kNewDynamic);
    ASSERT_EQ(Post("/example/test/dynamic", R"({"abc": "one"})"), 201);
    EXPECT_EQ(Told(*m_client), R"(Created /example/test/dynamic/new {"id":1,"abc":"one","def":null})");

    EXPECT_EQ(Answer("create", "/example/test/dynamic/1", R"({"data_include": "UPDATED"})"),
              R"({"code":201,"path":"/example/subscriptions/example/test/dynamic/1","data":)"
              R"({"api_path":"/example/test/dynamic/1","recursive":false,"data_include":"UPDATED"}})");

    ASSERT_EQ(Put("/example/test/dynamic/1", R"({"def": "two"})"), 200);
    EXPECT_EQ(Told(*m_client), R"(Updated /example/test/dynamic/1 {"def":"two"})");
    ASSERT_EQ(Delete("/example/test/dynamic/1"), 200);
    EXPECT_EQ(Told(*m_client), "Deleted /example/test/dynamic/1 -");
}

TEST_F(JsonRpcSubscriptions, AllOfAConnectionAreListedAndDeletedTogether) {
    Answer("create", kX);
    Answer("create", kNewStatic, R"({"data_include": "NONE"})");
    Answer("create", "/example", R"({"recursive": true})");

    EXPECT_EQ(Answer("read", ""),
              R"({"code":200,"data":[{"api_path":"/example","recursive":true,"data_include":"ALL"},)"
              R"({"api_path":"/example/test/static/new","recursive":false,"data_include":"NONE"},)"
              R"({"api_path":"/example/test/static/x","recursive":false,"data_include":"ALL"}]})");
    EXPECT_EQ(Answer("delete", ""), R"({"code":200})");
    EXPECT_EQ(Answer("read", ""), R"({"code":200,"data":[]})");
}

}  // namespace
