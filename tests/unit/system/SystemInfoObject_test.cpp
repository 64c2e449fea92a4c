// SPDX-License-Identifier: MIT

#include "src/system/SystemInfoObject.h"

#include <string>

#include <gtest/gtest.h>

#include "SystemFixture.h"
#include "tests/support/CapturedLog.h"

namespace {

class SystemInfoObjectTest : public SystemFixture {
  protected:
    SystemInfoObjectTest() { m_controller.addPathHandler("info", new SystemInfoObject); }

    void fillDatabase() {
        m_database.setString("cfg.sysconf.pcb_id", "a");
        m_database.setString("cfg.sysconf.pcb_revision", "b");
        m_database.setString("cfg.sysconf.serial_number", "c");
        m_database.setString("cfg.sysconf.unit_bom", "d");
        m_database.setString("ram.software_version.release.version", "e");
        m_database.setString("ram.software_version.release.buildnr", "f");
        m_database.setString("ram.software_version.release.buildid", "g");
        m_database.setString("ram.software_version.release.builddate", "h");
        m_database.setString("ram.platform.model_number", "i");
        m_database.setString("ram.platform.id", "j");
        m_database.setString("ram.platform.product_id", "k");
        m_database.setString("ram.platform.system_id", "l");
        m_database.setString("ram.platform.antenna", "m");
    }
};

}  // namespace

TEST_F(SystemInfoObjectTest, AnswersItsThirteenValuesInOrder) {
    fillDatabase();

    const Answer answer = get("/system/info");

    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.json,
              R"({"pcb_id":"a","pcb_revision":"b","serial_number":"c","unit_bom":"d",)"
              R"("software_version":"e","software_build_nr":"f","software_build_id":"g",)"
              R"("software_build_date":"h","model_number":"i","platform_id":"j","product_id":"k",)"
              R"("system_id":"l","antenna_id":"m"})");
}

TEST_F(SystemInfoObjectTest, AnswersInTheFormattedPrint) {
    RecordingRequest request("GET", "/system/info", m_client.session());

    m_controller.handleRequest(&request);

    EXPECT_EQ(request.text().substr(0, 12), "{\n\t\"pcb_id\":");
    EXPECT_EQ(request.finishCount(), 1);
}

TEST_F(SystemInfoObjectTest, GivesNullForAKeyThatCannotBeRead) {
    fillDatabase();
    m_database.erase("cfg.sysconf.unit_bom");
    const CapturedLog log;

    EXPECT_EQ(member("/system/info", "unit_bom"), "null");
    EXPECT_EQ(
        log.count("4 src/SystemInfoObject:  initJsonFromConfigDb dbKey=cfg.sysconf.unit_bom returned NULL"),
        1);
}

TEST_F(SystemInfoObjectTest, AnswersNullsWhenTheDatabaseIsOutOfReach) {
    m_database.answer(false);

    EXPECT_EQ(get("/system/info").status, 200);
    EXPECT_EQ(member("/system/info", "antenna_id"), "null");
}

TEST_F(SystemInfoObjectTest, KeepsItsFirstValuesWhenTheDatabaseChanges) {
    fillDatabase();
    const Answer first = get("/system/info");
    m_database.setString("cfg.sysconf.serial_number", "changed");

    const Answer second = get("/system/info");

    EXPECT_EQ(second, first);
}

TEST_F(SystemInfoObjectTest, ReadsAtTheFirstRequestAndNotBefore) {
    fillDatabase();
    m_database.setString("cfg.sysconf.serial_number", "set late");

    EXPECT_EQ(member("/system/info", "serial_number"), "\"set late\"");
}

TEST_F(SystemInfoObjectTest, CutsAValueAtOneHundredTwentySevenCharacters) {
    m_database.setString("ram.platform.id", std::string(200, 'x'));

    EXPECT_EQ(member("/system/info", "platform_id"), '"' + std::string(127, 'x') + '"');
}

TEST_F(SystemInfoObjectTest, IsReadOnly) {
    EXPECT_EQ(ask("PUT", "/system/info", R"({"data":{"pcb_id":"x"}})").status, 405);
    EXPECT_EQ(ask("POST", "/system/info", R"({"data":{"pcb_id":"x"}})").status, 405);
    EXPECT_EQ(ask("DELETE", "/system/info").status, 405);
}

TEST_F(SystemInfoObjectTest, HasTheSnmpIdentityBelowIt) {
    EXPECT_EQ(get("/system/info/oem-snmp").status, 200);
}
