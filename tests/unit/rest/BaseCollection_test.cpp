// SPDX-License-Identifier: MIT

#include "src/rest/BaseCollection.h"

#include <cstring>
#include <string>

#include "tests/support/RestFixture.h"

namespace {

// Has entries that begin with "e", and below each a resource "child".
class Rules : public BaseCollection {
  public:
    bool isEntry(const char* entry) override { return entry[0] == 'e'; }
    BasePathHandler* findEntrySubPathHandler(const char* entry, const char* name) override {
        return isEntry(entry) && std::strcmp(name, "child") == 0 ? findSubPathHandler("e/child") : nullptr;
    }
    void initSubPathHandlers(ApiControllerInterface*) override {
        addSubPathHandler("e/child", new BasePathHandler);
    }
};

class CollectionTest : public RestFixture {
  protected:
    CollectionTest() { m_controller.addPathHandler("rules", m_rules); }

    // How the entry's subscription is listed.
    static std::string listed(const std::string& path) {
        return R"({"api_path":")" + path + R"(","recursive":false,"data_include":"ALL"})";
    }

    Rules* m_rules = new Rules;
    JsonPtr m_data = parse(R"({"x": 1, "y": 2})");
};

using CollectionEntry = CollectionTest;
using CollectionSubscription = CollectionTest;
using CollectionNotification = CollectionTest;

}  // namespace

TEST_F(CollectionEntry, HasAPathBelowTheCollectionsSlash) {
    EXPECT_STREQ(m_rules->getPath(), "/api/rules/");
}

TEST_F(CollectionEntry, RefusesOperationsThatItDoesNotSupport) {
    EXPECT_EQ(get("/api/rules/e").status, 405);
    EXPECT_EQ(put("/api/rules/e").status, 405);
    EXPECT_EQ(remove("/api/rules/e").status, 405);
}

TEST_F(CollectionEntry, IsNotFoundWhenItDoesNotExist) {
    EXPECT_EQ(get("/api/rules/f").status, 404);
    EXPECT_EQ(put("/api/rules/f").status, 404);
    EXPECT_EQ(remove("/api/rules/f").status, 404);
}

TEST_F(CollectionEntry, DoesNotExistUnlessASubclassSaysSo) {
    BaseCollection plain;

    EXPECT_FALSE(plain.isEntry("e"));
    EXPECT_EQ(plain.findEntrySubPathHandler("e", "child"), nullptr);
}

TEST_F(CollectionSubscription, OnAnEntryIsCreatedOncePerSession) {
    const Answer answer = post("/api/subscriptions/api/rules/e");

    EXPECT_EQ(answer.status, 201);
    EXPECT_EQ(answer.text, listed("/api/rules/e"));
    EXPECT_EQ(post("/api/subscriptions/api/rules/e").status, 409);
    EXPECT_EQ(send("POST", "/api/subscriptions/api/rules/e", nullptr, m_second.session()).status, 201);
}

TEST_F(CollectionSubscription, OnAnEntryIsNotCreatedFromAnInvalidPayload) {
    EXPECT_EQ(post("/api/subscriptions/api/rules/e", R"({"data_include": 1})").status, 400);

    EXPECT_EQ(m_rules->getEntrySubscriptionMap("e"), nullptr);
}

TEST_F(CollectionSubscription, OnAnEntryIsReadBack) {
    subscribe(m_first, "/api/rules/e");

    const Answer answer = get("/api/subscriptions/api/rules/e");

    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.text, listed("/api/rules/e"));
}

TEST_F(CollectionSubscription, OnAnEntryIsNotFoundBeforeItsCreation) {
    EXPECT_EQ(get("/api/subscriptions/api/rules/e").status, 404);
    EXPECT_EQ(put("/api/subscriptions/api/rules/e", "{}").status, 404);
    EXPECT_EQ(remove("/api/subscriptions/api/rules/e").status, 404);
}

TEST_F(CollectionSubscription, OnAnEntryIsUpdated) {
    subscribe(m_first, "/api/rules/e");

    EXPECT_EQ(put("/api/subscriptions/api/rules/e", R"({"data_include": "NONE"})").status, 200);

    EXPECT_EQ(m_rules->getEntrySubscription("e", m_first.number())->data_include,
              BasePathHandler::DataInclude::kNone);
}

TEST_F(CollectionSubscription, OnAnEntryIsNotUpdatedWithoutABody) {
    subscribe(m_first, "/api/rules/e");

    EXPECT_EQ(put("/api/subscriptions/api/rules/e").status, 400);
}

TEST_F(CollectionSubscription, OnAnEntryIsGoneAfterItsDeletionAndLeavesTheEntrysMap) {
    subscribe(m_first, "/api/rules/e");

    EXPECT_EQ(remove("/api/subscriptions/api/rules/e").status, 200);

    EXPECT_EQ(m_rules->getEntrySubscription("e", m_first.number()), nullptr);
    EXPECT_NE(m_rules->getEntrySubscriptionMap("e"), nullptr);
}

TEST_F(CollectionSubscription, OnManyEntriesTakesTheMapsAwayInWhichNobodyIsLeft) {
    for (int i = 0; i < 150; ++i) {
        const std::string entry = "/api/rules/e" + std::to_string(i);
        subscribe(m_first, entry);
        remove(("/api/subscriptions" + entry).c_str());
    }

    EXPECT_EQ(m_rules->getEntrySubscriptionMap("e0"), nullptr);
    EXPECT_NE(m_rules->getEntrySubscriptionMap("e149"), nullptr);
}

TEST_F(CollectionSubscription, OnManyEntriesLeavesTheOnesThatAreLeft) {
    subscribe(m_second, "/api/rules/e");
    for (int i = 0; i < 150; ++i) {
        subscribe(m_first, "/api/rules/e" + std::to_string(i));
    }

    EXPECT_NE(m_rules->getEntrySubscription("e", m_second.number()), nullptr);
    EXPECT_NE(m_rules->getEntrySubscription("e0", m_first.number()), nullptr);
}

TEST_F(CollectionSubscription, OnAnEntryIsRefusedWithoutASession) {
    EXPECT_EQ(send("POST", "/api/subscriptions/api/rules/e", nullptr, nullptr).status, 401);
}

TEST_F(CollectionSubscription, KeepsTheEntrysNameAfterTheRequest) {
    std::string name = "temporary";
    RecordingRequest request("POST", "/api/rules/temporary", m_first.session());

    m_rules->createEntrySubscription(name.c_str(), &request);
    name.assign("overwritten");

    EXPECT_NE(m_rules->getEntrySubscription("temporary", m_first.number()), nullptr);
}

TEST_F(CollectionSubscription, PathOfAnEntryIsCutAt199Characters) {
    const std::string name(300, 'n');
    const BasePathHandler::subscription record;

    const JsonPtr json = m_rules->createEntrySubscriptionJson(name.c_str(), &record);

    const char* const path = cJSON_GetStringValue(cJSON_GetObjectItemCaseSensitive(json.get(), "api_path"));
    EXPECT_EQ(path, "/api/rules/" + std::string(188, 'n'));
}

TEST_F(CollectionSubscription, ListsTheCollectionBeforeItsEntriesInNameOrder) {
    subscribe(m_first, "/api/rules/new");
    subscribe(m_first, "/api/rules/e");
    subscribe(m_first, "/api/rules");
    subscribe(m_second, "/api/rules/e");

    EXPECT_EQ(get("/api/subscriptions").text, "[" + listed("/api/rules/") + "," + listed("/api/rules/e") +
                                                  "," + listed("/api/rules/new") + "]");
}

TEST_F(CollectionSubscription, OfOneSessionAreClearedOnEveryEntry) {
    subscribe(m_first, "/api/rules/e");
    subscribe(m_first, "/api/rules");
    subscribe(m_second, "/api/rules/e");

    m_rules->deleteAllSubscriptionsBelow(m_first.number());

    EXPECT_EQ(m_rules->getEntrySubscription("e", m_first.number()), nullptr);
    EXPECT_EQ(m_rules->getSubscription(m_first.number()), nullptr);
    EXPECT_NE(m_rules->getEntrySubscription("e", m_second.number()), nullptr);
}

TEST_F(CollectionNotification, TellsTheSubscribersOfTheEntry) {
    subscribe(m_first, "/api/rules/e");

    m_rules->notifyEntryCreated("e", m_data.get());
    m_rules->notifyEntryDeleted("e");

    EXPECT_EQ(m_first.told(), (Lines{R"(Created /api/rules/e {"x":1,"y":2})", "Deleted /api/rules/e -"}));
}

TEST_F(CollectionNotification, OfAnotherEntryIsNotTold) {
    subscribe(m_first, "/api/rules/e");

    m_rules->notifyEntryDeleted("f");

    EXPECT_EQ(m_first.told(), Lines{});
}

TEST_F(CollectionNotification, ReachesANonRecursiveSubscriptionOfTheCollection) {
    subscribe(m_first, "/api/rules");

    m_rules->notifyEntryDeleted("e");
    m_rules->notifyEntryDeleted("f");

    EXPECT_EQ(m_first.told(), (Lines{"Deleted /api/rules/e -", "Deleted /api/rules/f -"}));
}

TEST_F(CollectionNotification, ReachesOnlyRecursiveSubscriptionsAboveTheCollection) {
    subscribe(m_first, "/api");
    subscribe(m_second, "/api", R"({"recursive": true})");

    m_rules->notifyEntryDeleted("e");

    EXPECT_EQ(m_first.told(), Lines{});
    EXPECT_EQ(m_second.told(), Lines{"Deleted /api/rules/e -"});
}

TEST_F(CollectionNotification, IsGovernedByTheEntryBeforeTheCollection) {
    subscribe(m_first, "/api/rules");
    subscribe(m_first, "/api/rules/e", R"({"data_include": "NONE"})");

    m_rules->notifyEntryCreated("e", m_data.get());

    EXPECT_EQ(m_first.told(), Lines{"Created /api/rules/e -"});
}

TEST_F(CollectionNotification, OfANewEntryGoesToThePathNew) {
    subscribe(m_first, "/api/rules/new");

    m_rules->notifyEntryCreatedOnNewPath(m_data.get());

    EXPECT_EQ(m_first.told(), Lines{R"(Created /api/rules/new {"x":1,"y":2})"});
}

TEST_F(CollectionNotification, GivesNamedOrMappedChanges) {
    subscribe(m_first, "/api/rules/e", R"({"data_include": "UPDATED"})");
    const char* names[] = {"y"};
    const JsonPtr value = parse("7");
    BasePathHandler::AttributeMap changed{{"x", value.get()}};

    m_rules->notifyEntryUpdated("e", m_data.get(), 1, names);
    m_rules->notifyEntryUpdated("e", m_data.get(), &changed);

    EXPECT_EQ(m_first.told(), (Lines{R"(Updated /api/rules/e {"y":2})", R"(Updated /api/rules/e {"x":7})"}));
}

TEST_F(CollectionNotification, OfANodeBelowAnEntryReachesItsRecursiveSubscription) {
    subscribe(m_first, "/api/rules/e", R"({"recursive": true})");
    subscribe(m_second, "/api/rules/e");

    m_rules->findEntrySubPathHandler("e", "child")->notifyDeleted();

    EXPECT_EQ(m_first.told().size(), 1U);
    EXPECT_EQ(m_second.told(), Lines{});
}

TEST_F(CollectionNotification, OfANodeBelowAnEntryReachesTheCollectionOnlyRecursively) {
    subscribe(m_first, "/api/rules", R"({"recursive": true})");
    subscribe(m_second, "/api/rules");

    m_rules->findEntrySubPathHandler("e", "child")->notifyDeleted();

    EXPECT_EQ(m_first.told().size(), 1U);
    EXPECT_EQ(m_second.told(), Lines{});
}

TEST_F(CollectionNotification, OfANodeOutsideOfTheCollectionsPathGoesNoFurther) {
    subscribe(m_first, "/api/rules", R"({"recursive": true})");
    BasePathHandler* const child = m_rules->findEntrySubPathHandler("e", "child");
    child->test_setApiAndPath(&m_controller, "/elsewhere/e/child");

    child->notifyDeleted();

    EXPECT_EQ(m_first.told(), Lines{});
}
