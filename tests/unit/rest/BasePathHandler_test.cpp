// SPDX-License-Identifier: MIT

#include "src/rest/BasePathHandler.h"

#include <string>

#include "tests/support/RestFixture.h"

namespace {

class Node : public BasePathHandler {
  public:
    explicit Node(int* destroyed = nullptr) : m_destroyed(destroyed) {}
    ~Node() override {
        if (m_destroyed != nullptr) {
            ++*m_destroyed;
        }
    }

    using BasePathHandler::getCBusConnection;

  private:
    int* m_destroyed;
};

class LazyNode : public BasePathHandler {
  public:
    void initSubPathHandlers(ApiControllerInterface*) override {
        ++builds;
        addSubPathHandler("child", new Node);
    }

    int builds = 0;
};

// "/api/a" with "/api/a/b" below it.
class PathHandlerTest : public RestFixture {
  protected:
    PathHandlerTest() {
        m_controller.addPathHandler("a", m_a);
        m_a->addSubPathHandler("b", m_b);
    }

    BasePathHandler* m_a = new Node;
    BasePathHandler* m_b = new Node;
    JsonPtr m_data = parse(R"({"x": 1, "y": 2})");
};

using PathHandlerOperations = PathHandlerTest;
using PathHandlerTree = PathHandlerTest;
using PathHandlerSubscription = PathHandlerTest;
using PathHandlerNotification = PathHandlerTest;

}  // namespace

TEST_F(PathHandlerOperations, AreAllRefusedByAContainer) {
    EXPECT_EQ(get("/api/a").status, 405);
    EXPECT_EQ(put("/api/a").status, 405);
    EXPECT_EQ(post("/api/a").status, 405);
    EXPECT_EQ(remove("/api/a").status, 405);
}

TEST_F(PathHandlerTree, GivesAChildThePathOfItsParentAndItsName) {
    EXPECT_STREQ(m_b->getPath(), "/api/a/b");
}

TEST_F(PathHandlerTree, GivesAChildNoPathUntilItsParentHasOne) {
    auto* const parent = new Node;
    auto* const child = new Node;
    parent->addSubPathHandler("child", child);
    EXPECT_EQ(child->getPath(), nullptr);

    m_a->addSubPathHandler("parent", parent);

    EXPECT_STREQ(child->getPath(), "/api/a/parent/child");
}

TEST_F(PathHandlerTree, TakesThePathsAwayWithThatOfTheParent) {
    Node without_path;
    const auto moved = std::make_unique<Node>();
    moved->updatePath(m_a, "moved");
    auto* const child = new Node;
    moved->addSubPathHandler("child", child);

    moved->updatePath(&without_path, "moved");

    EXPECT_EQ(moved->getPath(), nullptr);
    EXPECT_EQ(child->getPath(), nullptr);
}

TEST_F(PathHandlerTree, LeavesANodeWhosePathIsThatOfItsNewParent) {
    Node twin;
    twin.test_setApiAndPath(&m_controller, "/api/a");

    twin.updatePath(m_a, "twin");

    EXPECT_STREQ(twin.getPath(), "/api/a");
}

TEST_F(PathHandlerTree, MovesANodeToItsNewName) {
    Node node;
    node.updatePath(m_a, "old");

    node.updatePath(m_a, "new");

    EXPECT_STREQ(node.getPath(), "/api/a/new");
}

TEST_F(PathHandlerTree, FindsAChildByItsExactName) {
    EXPECT_EQ(m_a->findSubPathHandler("b"), m_b);
    EXPECT_EQ(m_a->findSubPathHandler("B"), nullptr);
}

TEST_F(PathHandlerTree, FindsNothingBelowALeaf) {
    EXPECT_EQ(m_b->findSubPathHandler("c"), nullptr);
}

TEST_F(PathHandlerTree, BuildsChildrenOnceOnFirstUse) {
    auto* const lazy = new LazyNode;
    m_a->addSubPathHandler("lazy", lazy);

    EXPECT_NE(lazy->findSubPathHandler("child"), nullptr);
    EXPECT_EQ(lazy->findSubPathHandler("other"), nullptr);

    EXPECT_EQ(lazy->builds, 1);
}

TEST_F(PathHandlerTree, DestroysADeletedChild) {
    int destroyed = 0;
    m_a->addSubPathHandler("c", new Node(&destroyed));

    m_a->deleteSubPathHandler("c");

    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(m_a->findSubPathHandler("c"), nullptr);
}

TEST_F(PathHandlerTree, IgnoresTheDeletionOfAnUnknownChild) {
    m_a->deleteSubPathHandler("unknown");
    m_b->deleteSubPathHandler("unknown");

    EXPECT_EQ(m_a->findSubPathHandler("b"), m_b);
}

TEST_F(PathHandlerTree, KeepsAReplacedChildAliveUntilItsOwnEnd) {
    int destroyed = 0;
    auto parent = std::make_unique<Node>();
    auto* const second = new Node(&destroyed);
    parent->addSubPathHandler("c", new Node(&destroyed));

    parent->addSubPathHandler("c", second);

    EXPECT_EQ(parent->findSubPathHandler("c"), second);
    EXPECT_EQ(destroyed, 0);
    parent.reset();
    EXPECT_EQ(destroyed, 2);
}

TEST_F(PathHandlerTree, TakesTheSameChildTwice) {
    int destroyed = 0;
    auto parent = std::make_unique<Node>();
    auto* const child = new Node(&destroyed);
    parent->addSubPathHandler("c", child);

    parent->addSubPathHandler("c", child);

    parent.reset();
    EXPECT_EQ(destroyed, 1);
}

TEST_F(PathHandlerTree, HasNoBusConnectionOutsideOfATree) {
    Node alone;

    EXPECT_EQ(alone.getCBusConnection(), nullptr);
}

TEST_F(PathHandlerSubscription, IsCreatedWithDefaultsWithoutABody) {
    const Answer answer = post("/api/subscriptions/api/a");

    EXPECT_EQ(answer.status, 201);
    EXPECT_EQ(answer.text, R"({"api_path":"/api/a","recursive":false,"data_include":"ALL"})");
    EXPECT_EQ(answer.count, 1);
}

TEST_F(PathHandlerSubscription, IsCreatedOncePerSession) {
    post("/api/subscriptions/api/a");

    EXPECT_EQ(post("/api/subscriptions/api/a").status, 409);
    EXPECT_EQ(send("POST", "/api/subscriptions/api/a", nullptr, m_second.session()).status, 201);
}

TEST_F(PathHandlerSubscription, IsNotCreatedFromAnUnknownKindOfData) {
    EXPECT_EQ(post("/api/subscriptions/api/a", R"({"data_include": "X"})").status, 400);

    EXPECT_EQ(get("/api/subscriptions/api/a").status, 404);
}

TEST_F(PathHandlerSubscription, IsNotCreatedFromARecursiveThatIsNoBoolean) {
    EXPECT_EQ(post("/api/subscriptions/api/a", R"({"recursive": "yes"})").status, 400);
}

TEST_F(PathHandlerSubscription, IsMadeByDefaultFromJsonNull) {
    EXPECT_EQ(post("/api/subscriptions/api/a", "null").status, 201);
}

TEST_F(PathHandlerSubscription, IsRefusedWithoutASession) {
    EXPECT_EQ(send("POST", "/api/subscriptions/api/a", nullptr, nullptr).status, 401);
    EXPECT_EQ(send("GET", "/api/subscriptions/api/a", nullptr, nullptr).status, 401);
    EXPECT_EQ(send("PUT", "/api/subscriptions/api/a", "{}", nullptr).status, 401);
    EXPECT_EQ(send("DELETE", "/api/subscriptions/api/a", nullptr, nullptr).status, 401);
}

TEST_F(PathHandlerSubscription, IsReadBack) {
    subscribe(m_first, "/api/a", R"({"recursive": true})");

    const Answer answer = get("/api/subscriptions/api/a");

    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.text, R"({"api_path":"/api/a","recursive":true,"data_include":"ALL"})");
}

TEST_F(PathHandlerSubscription, BelongsToOneSession) {
    subscribe(m_second, "/api/a");

    EXPECT_EQ(get("/api/subscriptions/api/a").status, 404);
    EXPECT_EQ(put("/api/subscriptions/api/a", "{}").status, 404);
    EXPECT_EQ(remove("/api/subscriptions/api/a").status, 404);
}

TEST_F(PathHandlerSubscription, ChangesTheNamedFieldOnlyOnUpdate) {
    subscribe(m_first, "/api/a", R"({"recursive": true})");

    const Answer answer = put("/api/subscriptions/api/a", R"({"data_include": "NONE"})");

    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.text, "");
    EXPECT_EQ(get("/api/subscriptions/api/a").text,
              R"({"api_path":"/api/a","recursive":true,"data_include":"NONE"})");
}

TEST_F(PathHandlerSubscription, IsNotUpdatedWithoutABody) {
    subscribe(m_first, "/api/a");

    EXPECT_EQ(put("/api/subscriptions/api/a").status, 400);
}

TEST_F(PathHandlerSubscription, IsGoneAfterItsDeletion) {
    subscribe(m_first, "/api/a");

    EXPECT_EQ(remove("/api/subscriptions/api/a").status, 200);

    EXPECT_EQ(get("/api/subscriptions/api/a").status, 404);
}

TEST_F(PathHandlerNotification, GoesToNobodyWithoutSubscriptions) {
    m_a->notifyCreated(m_data.get());

    EXPECT_EQ(m_first.told(), Lines{});
    EXPECT_EQ(m_a->buildNotifyToSubscriptionMap(false, nullptr), nullptr);
}

TEST_F(PathHandlerNotification, TellsOfACreationWithTheData) {
    subscribe(m_first, "/api/a");

    m_a->notifyCreated(m_data.get());

    EXPECT_EQ(m_first.told(), Lines{R"(Created /api/a {"x":1,"y":2})"});
}

TEST_F(PathHandlerNotification, TellsOfADeletionWithoutData) {
    subscribe(m_first, "/api/a");

    m_a->notifyDeleted();

    EXPECT_EQ(m_first.told(), Lines{"Deleted /api/a -"});
}

TEST_F(PathHandlerNotification, TellsOfNamedChangesInTheOrderOfTheNames) {
    subscribe(m_first, "/api/a", R"({"data_include": "UPDATED"})");
    const char* names[] = {"y", "missing", "x"};

    m_a->notifyUpdated(m_data.get(), 3, names);

    EXPECT_EQ(m_first.told(), Lines{R"(Updated /api/a {"y":2,"x":1})"});
}

TEST_F(PathHandlerNotification, TellsOfMappedChangesInTheOrderOfTheMap) {
    subscribe(m_first, "/api/a", R"({"data_include": "UPDATED"})");
    const JsonPtr value = parse("5");
    BasePathHandler::AttributeMap changed{{"y", value.get()}, {"b", value.get()}};

    m_a->notifyUpdated(m_data.get(), &changed);

    EXPECT_EQ(m_first.told(), Lines{R"(Updated /api/a {"b":5,"y":5})"});
}

TEST_F(PathHandlerNotification, StaysAwayFromANonRecursiveSubscriptionAbove) {
    subscribe(m_first, "/api/a");

    m_b->notifyDeleted();

    EXPECT_EQ(m_first.told(), Lines{});
}

TEST_F(PathHandlerNotification, ReachesARecursiveSubscriptionAboveWithThePathOfTheChange) {
    subscribe(m_first, "/api/a", R"({"recursive": true})");

    m_b->notifyDeleted();

    EXPECT_EQ(m_first.told(), Lines{"Deleted /api/a/b -"});
}

TEST_F(PathHandlerNotification, ComesOnceGovernedByTheNearestSubscription) {
    subscribe(m_first, "/api/a", R"({"recursive": true})");
    subscribe(m_first, "/api/a/b", R"({"data_include": "NONE"})");

    m_b->notifyCreated(m_data.get());

    EXPECT_EQ(m_first.told(), Lines{"Created /api/a/b -"});
}

TEST_F(PathHandlerNotification, DoesNotReachSubscriptionsBelow) {
    subscribe(m_first, "/api/a/b", R"({"recursive": true})");

    m_a->notifyDeleted();

    EXPECT_EQ(m_first.told(), Lines{});
}
