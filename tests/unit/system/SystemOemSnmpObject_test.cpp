// SPDX-License-Identifier: MIT

#include "src/system/SystemOemSnmpObject.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "SystemFixture.h"
#include "tests/support/CapturedLog.h"

using testing::IsEmpty;

namespace {

constexpr const char* kUri = "/system/oem-snmp";
constexpr const char* kName = "ram.system.oemsnmp.sys_name";
constexpr const char* kServices = "ram.system.oemsnmp.sys_services";

class SystemOemSnmpObjectTest : public SystemFixture {
  protected:
    SystemOemSnmpObjectTest() { m_controller.addPathHandler("oem-snmp", new SystemOemSnmpObject); }

    // The payload goes under "data".
    int put(const std::string& payload) { return ask("PUT", kUri, R"({"data":)" + payload + "}").status; }
    std::string attribute(const char* name) { return member(kUri, name); }
    bool wasWritten() {
        waitForDatabase();
        for (const BusMessage& message : m_database.messages()) {
            if (message.name.starts_with("config.writev")) {
                return true;
            }
        }
        return false;
    }
};

}  // namespace

TEST_F(SystemOemSnmpObjectTest, HasSevenEmptyAttributesInOrderAtFirst) {
    const Answer answer = get(kUri);

    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.json,
              R"({"mib_root":"","sys_descr":"","sys_object_id":"","sys_contact":"","sys_name":"",)"
              R"("sys_location":"","sys_services":""})");
}

TEST_F(SystemOemSnmpObjectTest, ReadsTheStoredValuesAtTheFirstRequest) {
    m_database.setString("ram.system.oemsnmp.mib_root", "1.3.6");
    m_database.setString("ram.system.oemsnmp.sys_descr", "terminal");
    m_database.setString("ram.system.oemsnmp.sys_object_id", "1.3.6.1");
    m_database.setString("ram.system.oemsnmp.sys_contact", "me");
    m_database.setString(kName, "unit");
    m_database.setString("ram.system.oemsnmp.sys_location", "deck");
    m_database.setInt(kServices, 72);

    EXPECT_EQ(get(kUri).json,
              R"({"mib_root":"1.3.6","sys_descr":"terminal","sys_object_id":"1.3.6.1","sys_contact":"me",)"
              R"("sys_name":"unit","sys_location":"deck","sys_services":72})");
}

TEST_F(SystemOemSnmpObjectTest, AnswersWhenTheDatabaseIsOutOfReach) {
    m_database.answer(false);

    EXPECT_EQ(get(kUri).status, 200);
    EXPECT_EQ(attribute("sys_name"), R"("")");
}

TEST_F(SystemOemSnmpObjectTest, FollowsAChangedString) {
    get(kUri);
    m_database.setString(kName, "new");

    announceAndWait({kName});

    EXPECT_EQ(attribute("sys_name"), R"("new")");
}

TEST_F(SystemOemSnmpObjectTest, FollowsAChangedNumber) {
    m_database.setInt(kServices, 1);
    get(kUri);
    m_database.setInt(kServices, 2);

    announceAndWait({kServices});

    EXPECT_EQ(attribute("sys_services"), "2");
}

TEST_F(SystemOemSnmpObjectTest, TakesADeletedKeyAsTheEmptyString) {
    m_database.setString(kName, "unit");
    m_database.setInt(kServices, 5);
    get(kUri);
    m_database.erase(kName);
    m_database.erase(kServices);

    announceAndWait({kName, kServices});

    EXPECT_EQ(attribute("sys_name"), R"("")");
    EXPECT_EQ(attribute("sys_services"), R"("")");
}

TEST_F(SystemOemSnmpObjectTest, ReplacesOnlyWhatIsDifferent) {
    m_database.setString(kName, "unit");
    m_database.setInt(kServices, 5);
    get(kUri);
    const CapturedLog log;

    announceAndWait({kName, kServices});

    EXPECT_EQ(log.countOf("6 src/SystemOemSnmpObject: OemSnmp: updateFromConfig()"), 1);
    EXPECT_EQ(log.countOf("7 src/SystemOemSnmpObject: Replacing"), 0);
}

TEST_F(SystemOemSnmpObjectTest, ATextOfTheBusCannotMakeALogLineOfItsOwn) {
    get(kUri);
    m_database.setString(kName, "new\n3 text");
    const CapturedLog log;

    announceAndWait({kName});

    EXPECT_TRUE(
        log.has("6 src/SystemOemSnmpObject: OemSnmp: Received message "
                "ram.system.oemsnmp.sys_name new?3 text"));
}

TEST_F(SystemOemSnmpObjectTest, LogsWhatItReplaces) {
    get(kUri);
    m_database.setString(kName, "new");
    m_database.setInt(kServices, 5);
    const CapturedLog log;

    announceAndWait({kName, kServices});

    EXPECT_EQ(
        log.count("6 src/SystemOemSnmpObject: OemSnmp: Received message ram.system.oemsnmp.sys_name new"), 1);
    EXPECT_EQ(
        log.count("6 src/SystemOemSnmpObject: OemSnmp: Received message ram.system.oemsnmp.sys_services 5"),
        1);
    EXPECT_EQ(log.count("7 src/SystemOemSnmpObject: Replacing string attribute sys_name"), 1);
    EXPECT_EQ(log.count("7 src/SystemOemSnmpObject: Replacing int attribute sys_services"), 1);
}

TEST_F(SystemOemSnmpObjectTest, SkipsKeysThatOnlyBeginLikeItsOwn) {
    const Answer before = get(kUri);
    m_database.setString("ram.system.oemsnmp.sys_name_2", "x");

    announceAndWait({"ram.system.oemsnmp.sys_name_2"});

    EXPECT_EQ(get(kUri), before);
}

TEST_F(SystemOemSnmpObjectTest, RefusesAValueOfAnotherType) {
    m_database.setString(kName, "unit");
    get(kUri);
    m_database.setBinary(kName, "1234");
    const CapturedLog log;

    announceAndWait({kName});

    EXPECT_EQ(attribute("sys_name"), R"("unit")");
    EXPECT_EQ(log.count("4 src/SystemOemSnmpObject: Unsupported config type : 16"), 1);
}

TEST_F(SystemOemSnmpObjectTest, NotifiesNobody) {
    get(kUri);
    subscribe(kUri, "ALL");
    m_database.setString(kName, "new");

    announceAndWait({kName});

    EXPECT_THAT(m_client.told(), IsEmpty());
}

TEST_F(SystemOemSnmpObjectTest, StoresAnUpdateAndShowsIt) {
    const int status = put(R"({"sys_name":"unit","sys_location":"deck","sys_services":127})");
    waitForDatabase();

    EXPECT_EQ(status, 200);
    EXPECT_EQ(m_database.text(kName), "unit");
    EXPECT_EQ(m_database.text("ram.system.oemsnmp.sys_location"), "deck");
    EXPECT_EQ(m_database.value(kServices),
              (FakeDatabase::Value{CONFIG_TYPE_INT, std::string("\x7f\0\0\0", 4)}));
    EXPECT_EQ(get(kUri).json,
              R"({"mib_root":"","sys_descr":"","sys_object_id":"","sys_contact":"","sys_name":"unit",)"
              R"("sys_location":"deck","sys_services":127})");
}

TEST_F(SystemOemSnmpObjectTest, StoresAllSixStrings) {
    const int status = put(R"({"mib_root":"a","sys_descr":"b","sys_object_id":"c","sys_contact":"d",)"
                           R"("sys_name":"e","sys_location":"f"})");

    EXPECT_EQ(status, 200);
    EXPECT_EQ(get(kUri).json,
              R"({"mib_root":"a","sys_descr":"b","sys_object_id":"c","sys_contact":"d","sys_name":"e",)"
              R"("sys_location":"f","sys_services":""})");
}

TEST_F(SystemOemSnmpObjectTest, AcceptsServicesFromZeroTo127) {
    EXPECT_EQ(put(R"({"sys_services":0})"), 200);
    EXPECT_EQ(put(R"({"sys_services":127})"), 200);
}

TEST_F(SystemOemSnmpObjectTest, RefusesServicesOutOfRangeOrOfAnotherType) {
    EXPECT_EQ(put(R"({"sys_services":128})"), 400);
    EXPECT_EQ(put(R"({"sys_services":-1})"), 400);
    EXPECT_EQ(put(R"({"sys_services":"72"})"), 400);
    EXPECT_FALSE(wasWritten());
}

TEST_F(SystemOemSnmpObjectTest, RefusesAWrongTypeEvenAmongValidAttributes) {
    EXPECT_EQ(put(R"({"mib_root":"1.3","sys_name":5,"sys_services":1})"), 400);
    EXPECT_FALSE(wasWritten());
}

TEST_F(SystemOemSnmpObjectTest, RefusesAnUpdateOfNothing) {
    EXPECT_EQ(put("{}"), 400);
    EXPECT_EQ(put(R"({"unknown":"x"})"), 400);
    EXPECT_EQ(put(R"({"SYS_NAME":"x"})"), 400);
    EXPECT_FALSE(wasWritten());
}

TEST_F(SystemOemSnmpObjectTest, RefusesABodyThatIsNoObject) {
    EXPECT_EQ(put("[]"), 400);
    EXPECT_EQ(put("\"sys_name\""), 400);
    EXPECT_EQ(put("null"), 400);
    EXPECT_EQ(ask("PUT", kUri).status, 400);
    EXPECT_EQ(ask("PUT", kUri, "{not json").status, 400);
    EXPECT_FALSE(wasWritten());
}

TEST_F(SystemOemSnmpObjectTest, AnswersServerErrorWhenTheWriteFails) {
    m_bus->client->close(m_bus.get());

    EXPECT_EQ(put(R"({"sys_name":"x"})"), 500);
    EXPECT_EQ(attribute("sys_name"), R"("")");
}

TEST_F(SystemOemSnmpObjectTest, HearsNothingMoreOnceItIsGone) {
    get(kUri);
    m_database.setString(kName, "new");
    const CapturedLog log;

    m_controller.removePathHandler("oem-snmp");
    announceAndWait({kName});

    EXPECT_EQ(log.countOf("6 src/SystemOemSnmpObject:"), 0);
}

TEST_F(SystemOemSnmpObjectTest, CanBeNeitherCreatedNorDeleted) {
    EXPECT_EQ(ask("POST", kUri, R"({"data":{"sys_name":"x"}})").status, 405);
    EXPECT_EQ(ask("DELETE", kUri).status, 405);
}
