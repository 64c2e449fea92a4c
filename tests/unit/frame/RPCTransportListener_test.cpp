// SPDX-License-Identifier: MIT

#include "src/frame/RPCTransportListener.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "src/rpc/RPCRequest.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/RestFixture.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class RPCTransportListenerTest : public RestFixture {
  protected:
    RPCTransportListenerTest() { m_controller.addPathHandler("node", m_node); }

    // The dispatcher's session of a connection.
    static unsigned int sessionOf(RPCTransport& transport) {
        RPCRequest request("GET", "/api/node", nullptr, &transport);
        return HabSessionImpl::sessionForRequest(&request)->getNumberId();
    }

    CapturedLog m_log;
    BasePathHandler* m_node = new BasePathHandler;
    RPCTransportListener m_listener{&m_notifications};
};

}  // namespace

TEST_F(RPCTransportListenerTest, LeavesANewConnectionUnknownToTheNotifications) {
    RecordingTransport transport(&m_server);
    transport.setSessionId("new");
    transport.setSessionNumberId(1000);

    m_listener.addTransport(&transport);
    m_notifications.notifyDeleted(1000, "/api/node");

    EXPECT_THAT(transport.texts(), IsEmpty());
    EXPECT_EQ(m_log.count("6 src/web_app: addTransport()"), 1);
}

TEST_F(RPCTransportListenerTest, StopsTheNotificationsOfAConnectionThatEnds) {
    m_listener.removeTransport(&m_first.transport());

    m_notifications.notifyDeleted(m_first.number(), "/api/node");
    m_notifications.notifyDeleted(m_second.number(), "/api/node");

    EXPECT_THAT(m_first.told(), IsEmpty());
    EXPECT_THAT(m_second.told(), ElementsAre("Deleted /api/node -"));
    EXPECT_EQ(m_log.count("6 src/web_app: removeTransport()"), 1);
}

TEST_F(RPCTransportListenerTest, DropsTheSubscriptionsOfAConnectionThatEnds) {
    subscribe(m_first, "/api/node");
    subscribe(m_second, "/api/node");

    m_listener.removeTransport(&m_first.transport());

    EXPECT_EQ(m_node->getSubscription(m_first.number()), nullptr);
    EXPECT_NE(m_node->getSubscription(m_second.number()), nullptr);
}

TEST_F(RPCTransportListenerTest, DropsTheSubscriptionsOfASessionThatHadExpiredBeforeTheConnectionEnds) {
    subscribe(m_first, "/api/node");
    m_first.transport().setSessionNumberId(1000);

    m_listener.removeTransport(&m_first.transport());

    EXPECT_EQ(m_node->getSubscription(m_first.number()), nullptr);
}

TEST_F(RPCTransportListenerTest, EndsTheSessionOfAConnectionThatEnds) {
    RecordingTransport transport(&m_server);
    const unsigned int session = sessionOf(transport);
    const unsigned int before = sessionOf(transport);

    m_listener.removeTransport(&transport);

    EXPECT_EQ(before, session);
    EXPECT_NE(sessionOf(transport), session);
}

TEST_F(RPCTransportListenerTest, EndsNothingForAConnectionWithoutSession) {
    RecordingTransport transport(&m_server);
    subscribe(m_first, "/api/node");

    m_listener.removeTransport(&transport);

    EXPECT_NE(m_node->getSubscription(m_first.number()), nullptr);
}
