#include "src/system/SystemApiController.h"

#include <gtest/gtest.h>

#include "SystemFixture.h"

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
