// SPDX-License-Identifier: MIT

#include "src/rpc/NotificationManager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "src/rpc/RPCServer.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/RpcFakes.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class NotificationManagerTest : public ::testing::Test {
  protected:
    NotificationManagerTest() {
        BeginSession(first, "one", 1);
        BeginSession(second, "two", 2);
    }

    void BeginSession(RPCTransport& transport, const char* id, unsigned int number) {
        transport.setSessionId(id);
        transport.setSessionNumberId(number);
        manager.addTransport(&transport);
    }

    CapturedLog log;
    RPCServer server;
    RecordingTransport first{&server};
    RecordingTransport second{&server};
    NotificationManager manager;
    JsonPtr data = parse(R"({"a": [1, 2]})");
};

}  // namespace

TEST_F(NotificationManagerTest, SendsCreatedWithPathAndData) {
    manager.notifyCreated(1, "/system/info", data.get());

    EXPECT_THAT(
        first.messages(),
        ElementsAre(
            R"({"jsonrpc":"2.0","method":"Created","params":{"path":"/system/info","data":{"a":[1,2]}}})"));
}

TEST_F(NotificationManagerTest, SendsUpdatedWithPathAndData) {
    manager.notifyUpdated(1, "/system/info", data.get());

    EXPECT_THAT(
        first.messages(),
        ElementsAre(
            R"({"jsonrpc":"2.0","method":"Updated","params":{"path":"/system/info","data":{"a":[1,2]}}})"));
}

TEST_F(NotificationManagerTest, SendsDeletedWithThePathAlone) {
    manager.notifyDeleted(1, "/system/info");

    EXPECT_THAT(first.messages(),
                ElementsAre(R"({"jsonrpc":"2.0","method":"Deleted","params":{"path":"/system/info"}})"));
}

TEST_F(NotificationManagerTest, LeavesDataOutWhenThereIsNone) {
    manager.notifyUpdated(1, "/system/info", nullptr);

    EXPECT_THAT(first.messages(),
                ElementsAre(R"({"jsonrpc":"2.0","method":"Updated","params":{"path":"/system/info"}})"));
}

TEST_F(NotificationManagerTest, PrintsNotificationsFormatted) {
    manager.notifyDeleted(1, "/a");

    EXPECT_THAT(first.texts(),
                ElementsAre("{\n\t\"jsonrpc\":\t\"2.0\",\n\t\"method\":\t\"Deleted\",\n\t\"params\":\t{\n"
                            "\t\t\"path\":\t\"/a\"\n\t}\n}"));
}

TEST_F(NotificationManagerTest, LeavesTheDataWithTheCaller) {
    manager.notifyUpdated(1, "/system/info", data.get());
    manager.notifyUpdated(2, "/system/info", data.get());

    EXPECT_EQ(print_compact(data.get()), R"({"a":[1,2]})");
}

TEST_F(NotificationManagerTest, NotifiesNobodyButTheSubscribedSession) {
    manager.notifyDeleted(2, "/system/info");

    EXPECT_THAT(first.messages(), IsEmpty());
    EXPECT_EQ(second.messages().size(), 1U);
}

TEST_F(NotificationManagerTest, LogsASessionThatHasNoConnection) {
    manager.notifyUpdated(3, "/system/info", data.get());

    EXPECT_EQ(log.count("4 src/NotificationManager: Transport NOT found"), 1);
    EXPECT_THAT(first.messages(), IsEmpty());
}

TEST_F(NotificationManagerTest, LogsEachKindOfNotification) {
    manager.notifyCreated(1, "/a", nullptr);
    manager.notifyUpdated(1, "/a", nullptr);
    manager.notifyDeleted(1, "/a");

    EXPECT_EQ(log.count("7 src/NotificationManager: notifyCreated()"), 1);
    EXPECT_EQ(log.count("7 src/NotificationManager: notifyUpdated()"), 1);
    EXPECT_EQ(log.count("7 src/NotificationManager: notifyDeleted()"), 1);
}

TEST_F(NotificationManagerTest, SendsNothingToAConnectionThatHasGone) {
    manager.removeTransport(&first);

    manager.notifyDeleted(1, "/system/info");

    EXPECT_THAT(first.messages(), IsEmpty());
    EXPECT_EQ(log.count("4 src/NotificationManager: Transport NOT found"), 1);
}

TEST_F(NotificationManagerTest, ForgetsAConnectionUnderEveryNumberThatItHad) {
    first.setSessionNumberId(11);
    manager.addTransport(&first);

    manager.removeTransport(&first);
    manager.notifyDeleted(1, "/a");
    manager.notifyDeleted(11, "/a");

    EXPECT_THAT(first.messages(), IsEmpty());
}

TEST_F(NotificationManagerTest, KeepsTheConnectionThatANumberAlreadyHas) {
    second.setSessionNumberId(1);

    manager.addTransport(&second);
    manager.notifyDeleted(1, "/a");

    EXPECT_EQ(first.messages().size(), 1U);
    EXPECT_THAT(second.messages(), IsEmpty());
    EXPECT_EQ(log.count("7 src/NotificationManager: addTransport() MUST ADD"), 2);
}

TEST_F(NotificationManagerTest, IgnoresAConnectionWithoutSession) {
    RecordingTransport without(&server);

    manager.addTransport(&without);
    manager.removeTransport(&without);
    manager.notifyDeleted(0, "/a");

    EXPECT_THAT(without.messages(), IsEmpty());
    EXPECT_EQ(log.count("7 src/NotificationManager: removeTransport() sessionID: "), 0);
}

TEST_F(NotificationManagerTest, HoldsBackWhileARequestIsBeingHandled) {
    ScriptedMethod change([this](cJSON*, bool& isResult, RPCTransport*) {
        manager.notifyDeleted(1, "/a");
        isResult = true;
        return JsonPtr();
    });
    server.registerMethod("change", &change);

    first.dataReceived(parse(R"({"jsonrpc": "2.0", "method": "change", "id": 1})").get());

    EXPECT_THAT(first.messages(),
                ElementsAre(R"({"jsonrpc":"2.0","result":null,"id":1})",
                            R"({"jsonrpc":"2.0","method":"Deleted","params":{"path":"/a"}})"));
}
