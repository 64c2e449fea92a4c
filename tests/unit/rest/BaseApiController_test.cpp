// SPDX-License-Identifier: MIT

#include "src/rest/BaseApiController.h"

#include <cstring>
#include <string>

#include "tests/support/RestFixture.h"

namespace {

// Answers every operation with 200 and its name.
class EchoNode : public BasePathHandler {
  public:
    void createOperation(HabRequest* request) override { request->reply(200, "create", nullptr); }
    void readOperation(HabRequest* request) override { request->reply(200, "read", nullptr); }
    void updateOperation(HabRequest* request) override { request->reply(200, "update", nullptr); }
    void deleteOperation(HabRequest* request) override { request->reply(200, "delete", nullptr); }
};

// The entry "e" exists and has the child "child".
class EchoCollection : public BaseCollection {
  public:
    EchoCollection() { m_child.addSubPathHandler("deep", new EchoNode); }
    bool isEntry(const char* entry) override { return std::strcmp(entry, "e") == 0; }
    BasePathHandler* findEntrySubPathHandler(const char* entry, const char* name) override {
        return isEntry(entry) && std::strcmp(name, "child") == 0 ? &m_child : nullptr;
    }
    void createOperation(HabRequest* request) override {
        request->reply(200, "create on collection", nullptr);
    }
    void readEntryOperation(const char* entry, HabRequest* request) override {
        echo("read ", entry, request);
    }
    void updateEntryOperation(const char* entry, HabRequest* request) override {
        echo("update ", entry, request);
    }
    void deleteEntryOperation(const char* entry, HabRequest* request) override {
        echo("delete ", entry, request);
    }

  private:
    static void echo(const std::string& operation, const char* entry, HabRequest* request) {
        request->reply(200, (operation + entry).c_str(), nullptr);
    }

    EchoNode m_child;
};

class ApiControllerTest : public RestFixture {
  protected:
    ApiControllerTest() {
        m_controller.addPathHandler("node", m_node);
        m_node->addSubPathHandler("below", new EchoNode);
        m_controller.addPathHandler("rules", m_rules);
    }

    static constexpr auto kNoOperation = static_cast<BaseApiController::CRUD>(9);

    EchoNode* m_node = new EchoNode;
    EchoCollection* m_rules = new EchoCollection;
};

using ApiControllerTree = ApiControllerTest;
using ApiControllerRouting = ApiControllerTest;
using ApiControllerSubscriptions = ApiControllerTest;

}  // namespace

TEST_F(ApiControllerTree, HasTheApiPathAsItsRoot) {
    EXPECT_STREQ(m_controller.getApiPath(), "/api");
    EXPECT_STREQ(m_node->getPath(), "/api/node");
}

TEST_F(ApiControllerTree, CopiesTheApiPath) {
    std::string path = "/other";
    EmptyController controller(nullptr, &m_notifications, nullptr, path.c_str());

    path.assign("/12345");

    EXPECT_STREQ(controller.getApiPath(), "/other");
}

TEST_F(ApiControllerTree, HandsItsServicesOut) {
    EXPECT_EQ(m_controller.getNotificationManager(), &m_notifications);
    EXPECT_EQ(m_controller.getCBusConnection(), nullptr);
    EXPECT_EQ(m_controller.getFdloop(), nullptr);
}

TEST_F(ApiControllerTree, LosesARemovedHandler) {
    m_controller.removePathHandler("node");

    EXPECT_EQ(get("/api/node").status, 404);
}

TEST_F(ApiControllerRouting, TurnsEachMethodIntoItsOperation) {
    EXPECT_EQ(get("/api/node").text, "read");
    EXPECT_EQ(post("/api/node").text, "create");
    EXPECT_EQ(put("/api/node").text, "update");
    EXPECT_EQ(remove("/api/node").text, "delete");
}

TEST_F(ApiControllerRouting, AnswersEveryRequestOnce) {
    EXPECT_EQ(get("/api/node").count, 1);
    EXPECT_EQ(get("/api/unknown").count, 1);
    EXPECT_EQ(get("/api/subscriptions/other").count, 1);
}

TEST_F(ApiControllerRouting, AnswersAnotherMethodWith400) {
    EXPECT_EQ(send("PATCH", "/api/node", nullptr, m_first.session()).status, 400);
}

TEST_F(ApiControllerRouting, FindsNothingAtTheApiPathAlone) {
    EXPECT_EQ(get("/api").status, 404);
}

TEST_F(ApiControllerRouting, FindsNothingUnderAnUnknownName) {
    EXPECT_EQ(get("/api/unknown").status, 404);
    EXPECT_EQ(get("/api/node/unknown").status, 404);
    EXPECT_EQ(get("/api/node/below/unknown").status, 404);
}

TEST_F(ApiControllerRouting, ReachesANodeBelowANode) {
    EXPECT_EQ(put("/api/node/below").text, "update");
}

TEST_F(ApiControllerRouting, ReachesTheEighthLevelAndIgnoresTheRest) {
    BasePathHandler* node = m_node;
    for (const char* name : {"1", "2", "3", "4", "5", "6", "7"}) {
        auto* const child = new EchoNode;
        node->addSubPathHandler(name, child);
        node = child;
    }

    EXPECT_EQ(get("/api/node/1/2/3/4/5/6/7").text, "read");
    EXPECT_EQ(get("/api/node/1/2/3/4/5/6/7/8").text, "read");
}

TEST_F(ApiControllerRouting, ReachesAnEntryWhetherItExistsOrNot) {
    EXPECT_EQ(get("/api/rules/e").text, "read e");
    EXPECT_EQ(get("/api/rules/missing").text, "read missing");
    EXPECT_EQ(put("/api/rules/e").text, "update e");
    EXPECT_EQ(remove("/api/rules/e").text, "delete e");
}

TEST_F(ApiControllerRouting, CreatesOnTheCollectionAndNotOnAnEntry) {
    EXPECT_EQ(post("/api/rules").text, "create on collection");
    EXPECT_EQ(post("/api/rules/e").status, 400);
}

TEST_F(ApiControllerRouting, GoesOnBelowAnEntry) {
    EXPECT_EQ(get("/api/rules/e/child").text, "read");
    EXPECT_EQ(get("/api/rules/e/child/deep").text, "read");
    EXPECT_EQ(get("/api/rules/e/unknown").status, 404);
    EXPECT_EQ(get("/api/rules/e/child/unknown").status, 404);
}

TEST_F(ApiControllerRouting, AnswersAnOperationThatDoesNotExistWith400) {
    for (const char* uri : {"/api/node", "/api/rules/e", "/api/subscriptions", "/api/subscriptions/api/node",
                            "/api/subscriptions/api/rules/e"}) {
        RecordingRequest request("GET", uri, m_first.session());

        m_controller.handleCrudOperation(kNoOperation, &request);

        EXPECT_EQ(request.status(), 400) << uri;
    }
}

TEST_F(ApiControllerSubscriptions, AreAnEmptyListAtFirst) {
    const Answer answer = get("/api/subscriptions");

    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.text, "[]");
}

TEST_F(ApiControllerSubscriptions, AreListedForTheirSessionDepthFirstInNameOrder) {
    subscribe(m_first, "/api/rules/e");
    subscribe(m_first, "/api/node/below");
    subscribe(m_first, "/api/node");
    subscribe(m_first, "/api");
    subscribe(m_second, "/api/rules");

    const Answer answer = get("/api/subscriptions");

    const std::string rest = R"(","recursive":false,"data_include":"ALL"})";
    EXPECT_EQ(answer.text, R"([{"api_path":"/api)" + rest + R"(,{"api_path":"/api/node)" + rest +
                               R"(,{"api_path":"/api/node/below)" + rest + R"(,{"api_path":"/api/rules/e)" +
                               rest + "]");
}

TEST_F(ApiControllerSubscriptions, OfOneSessionAreClearedTogether) {
    subscribe(m_first, "/api/node/below");
    subscribe(m_first, "/api/rules/e");
    subscribe(m_second, "/api/node");

    const Answer answer = remove("/api/subscriptions");

    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(get("/api/subscriptions").text, "[]");
    EXPECT_EQ(send("GET", "/api/subscriptions/api/node", nullptr, m_second.session()).status, 200);
}

TEST_F(ApiControllerSubscriptions, AreNeitherCreatedNorUpdatedAsAWhole) {
    EXPECT_EQ(post("/api/subscriptions").status, 400);
    EXPECT_EQ(put("/api/subscriptions").status, 400);
}

TEST_F(ApiControllerSubscriptions, AreRefusedWithoutASession) {
    EXPECT_EQ(send("GET", "/api/subscriptions", nullptr, nullptr).status, 401);
    EXPECT_EQ(send("DELETE", "/api/subscriptions", nullptr, nullptr).status, 401);
}

TEST_F(ApiControllerSubscriptions, AreNotFoundUnderAnotherApi) {
    EXPECT_EQ(get("/api/subscriptions/other/node").status, 404);
}

TEST_F(ApiControllerSubscriptions, AreNotFoundOnAMissingHandler) {
    EXPECT_EQ(post("/api/subscriptions/api/unknown").status, 404);
    EXPECT_EQ(post("/api/subscriptions/api/node/unknown").status, 404);
}

TEST_F(ApiControllerSubscriptions, AreNotFoundOnAnEntryThatDoesNotExist) {
    EXPECT_EQ(post("/api/subscriptions/api/rules/missing").status, 404);
    EXPECT_EQ(post("/api/subscriptions/api/rules/News").status, 404);
}

TEST_F(ApiControllerSubscriptions, AreAcceptedOnTheEntryNameNew) {
    const Answer answer = post("/api/subscriptions/api/rules/new");

    EXPECT_EQ(answer.status, 201);
    EXPECT_EQ(answer.text, R"({"api_path":"/api/rules/new","recursive":false,"data_include":"ALL"})");
}

TEST_F(ApiControllerSubscriptions, ReachANodeBelowAnEntry) {
    EXPECT_EQ(post("/api/subscriptions/api/rules/e/child/deep").status, 201);
    EXPECT_EQ(post("/api/subscriptions/api/rules/e/unknown").status, 404);
    EXPECT_EQ(post("/api/subscriptions/api/rules/missing/child").status, 404);
}

TEST_F(ApiControllerSubscriptions, AreShadowedByAResourceOfThatName) {
    m_controller.addPathHandler("subscriptions", new EchoNode);

    EXPECT_EQ(get("/api/subscriptions").text, "read");
}

TEST_F(ApiControllerSubscriptions, OfAnEndedSessionGoFromEveryController) {
    EmptyController other(nullptr, &m_notifications, nullptr, "/other");
    auto* const other_node = new EchoNode;
    other.addPathHandler("node", other_node);
    RecordingRequest request("POST", "/other/subscriptions/other/node", m_first.session());
    other.handleRequest(&request);
    ASSERT_EQ(request.status(), 201);
    subscribe(m_first, "/api/rules/e");
    subscribe(m_second, "/api/node");

    BaseApiController::sessionEnded(m_first.number());

    EXPECT_EQ(other_node->getSubscription(m_first.number()), nullptr);
    EXPECT_EQ(get("/api/subscriptions").text, "[]");
    EXPECT_NE(m_node->getSubscription(m_second.number()), nullptr);
}

TEST_F(ApiControllerSubscriptions, OfAnEndedSessionAreNotLookedForInAControllerThatIsGone) {
    { EmptyController gone(nullptr, &m_notifications, nullptr, "/gone"); }
    subscribe(m_first, "/api/node");

    BaseApiController::sessionEnded(m_first.number());

    EXPECT_EQ(m_node->getSubscription(m_first.number()), nullptr);
}
