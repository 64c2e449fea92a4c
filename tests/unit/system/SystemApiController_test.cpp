// SPDX-License-Identifier: MIT

#include "src/system/SystemApiController.h"

#include <gtest/gtest.h>

#include "SystemFixture.h"
#include "tests/support/EventFixture.h"

namespace {

class SystemApiControllerTest : public SystemFixture {
  protected:
    SystemApiControllerTest() { m_controller.init(); }
};

}  // namespace

TEST_F(SystemApiControllerTest, ServesInfoStatusAndSnmpIdentity) {
    EXPECT_EQ(get("/system/info").status, 200);
    EXPECT_EQ(get("/system/status").status, 200);
    EXPECT_EQ(get("/system/info/oem-snmp").status, 200);
}

TEST_F(SystemApiControllerTest, ServesEveryOtherResourceOfTheTree) {
    for (const char* uri : {"/system/debug", "/system/debug/syslog-rules", "/system/debug/post",
                            "/system/user-events/oem-warning", "/system/user-events/log",
                            "/system/user-events/alerts", "/system/oem/privileged-cmds"}) {
        EXPECT_EQ(get(uri).status, 200) << uri;
    }
}

TEST_F(SystemApiControllerTest, AnswersForItsContainersWithoutDataOfTheirOwn) {
    EXPECT_EQ(get("/system/user-events"), (Answer{405, ""}));
    EXPECT_EQ(get("/system/oem"), (Answer{405, ""}));
}

TEST_F(SystemApiControllerTest, HasTheSnmpIdentityBelowInfoOnly) {
    EXPECT_EQ(get("/system/oem-snmp").status, 404);
    EXPECT_EQ(get("/system/status/oem-snmp").status, 404);
}

TEST_F(SystemApiControllerTest, AnswersNotFoundForItselfAndForUnknownResources) {
    EXPECT_EQ(get("/system").status, 404);
    EXPECT_EQ(get("/system/nothing").status, 404);
}

TEST_F(SystemApiControllerTest, NamesItsResourcesByTheirFullPath) {
    subscribe("/system/info/oem-snmp", "ALL");

    EXPECT_EQ(get("/system/subscriptions").json,
              R"([{"api_path":"/system/info/oem-snmp","recursive":false,"data_include":"ALL"}])");
}

TEST_F(SystemApiControllerTest, HandsItsConnectionsToTheResources) {
    EXPECT_EQ(m_controller.getCBusConnection(), m_bus.get());
    EXPECT_EQ(m_controller.getNotificationManager(), &m_notifications);
    EXPECT_EQ(m_controller.getFdloop(), m_loop.get());
}

TEST_F(SystemFixture, HasTheAlertsOfTheStoreBeforeTheFirstRequest) {
    m_database.setBinary(StoreKey(0), ValueOf(Event(10, kEventStateOn, kEventSeverityWarning)));
    m_events.store().restore();

    m_controller.init();

    EXPECT_EQ(get("/system/user-events/alerts/10").status, 200);
    EXPECT_EQ(get("/system/user-events/log/0").status, 200);
}

TEST_F(SystemFixture, AnnouncesItsEventsWhileItBuildsTheTree) {
    m_controller.init();

    EXPECT_EQ(m_database.text("txt.evh.stxt.66128"), "EV_AP_OEM_WARNING");
    EXPECT_EQ(m_database.text("txt.evh.stxt.67993"), "EV_AP_TEST       ");
}
