// SPDX-License-Identifier: MIT

#include "src/system/SystemStatusObject.h"

#include <sys/sysinfo.h>

#include <cstdlib>
#include <ctime>
#include <limits>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "SystemFixture.h"
#include "tests/support/CapturedLog.h"

using testing::AllOf;
using testing::ElementsAre;
using testing::Ge;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Le;

namespace {

constexpr const char* kStatus = "ram.status.system";
constexpr const char* kPressed = "ram.status.system.reset_button.reset_pressed";
constexpr const char* kSeconds = "ram.status.system.reset_button.reset_pressed_seconds";

class SystemStatusObjectTest : public SystemFixture {
  protected:
    SystemStatusObjectTest() { setLocalZone("UTC"); }
    ~SystemStatusObjectTest() override { setLocalZone("UTC"); }

    void createObject() { m_controller.addPathHandler("status", new SystemStatusObject); }

    static void setLocalZone(const char* zone) {
        setenv("TZ", zone, 1);
        tzset();
    }
    std::string status(const char* name) { return member("/system/status", name); }
};

}  // namespace

TEST(SystemStatusString, NamesTheStatesWithTheirTraditionalSpelling) {
    static constexpr const char* kTexts[] = {"default",   "INITIALIZING", "SOFWTARE_UPDATE", "OPERATIONAL",
                                             "SKYSCAN",   "ACQUIRING",    "READY",           "ERROR",
                                             "REBOOTING", "SHUTDOWN"};
    for (int value = 0; value <= 9; ++value) {
        EXPECT_STREQ(SystemStatusObject::getSystemStatusString(value), kTexts[value]);
    }
}

TEST(SystemStatusString, TellsTheNumberOfAnUnknownState) {
    EXPECT_STREQ(SystemStatusObject::getSystemStatusString(10), "systemStatus = 10 unexpected");
    EXPECT_STREQ(SystemStatusObject::getSystemStatusString(-1), "systemStatus = -1 unexpected");
}

TEST(SystemStatusString, CutsTheTextOfALongNumberAtTwentyNineCharacters) {
    EXPECT_STREQ(SystemStatusObject::getSystemStatusString(std::numeric_limits<int>::min()),
                 "systemStatus = -2147483648 un");
}

TEST(SystemStatusButtonString, NamesTheStates) {
    EXPECT_STREQ(SystemStatusObject::getButtonStatusString(0), "RESET_BUTTON_DEFAULT");
    EXPECT_STREQ(SystemStatusObject::getButtonStatusString(1), "RESET_BUTTON_PRESSED");
    EXPECT_STREQ(SystemStatusObject::getButtonStatusString(2), "RESET_BUTTON_RELEASED");
}

TEST(SystemStatusButtonString, TellsTheNumberOfAnUnknownState) {
    EXPECT_STREQ(SystemStatusObject::getButtonStatusString(3), "buttonStatusVal = 3 unexpected");
    EXPECT_STREQ(SystemStatusObject::getButtonStatusString(-1), "buttonStatusVal = -1 unexpected");
}

TEST_F(SystemStatusObjectTest, AnswersItsFiveAttributesInOrder) {
    createObject();

    const Answer answer = get("/system/status");

    EXPECT_EQ(answer.status, 200);
    EXPECT_THAT(answer.json,
                testing::MatchesRegex("\\{\"system_status\":null,\"time\":[0-9]+,\"uptime\":[0-9]+,"
                                      "\"reset_pressed\":null,\"reset_pressed_seconds\":null\\}"));
}

TEST_F(SystemStatusObjectTest, ReadsTheStateAtEveryRequest) {
    createObject();
    get("/system/status");
    m_database.setInt(kStatus, 3);
    m_database.setInt(kPressed, 1);
    m_database.setInt(kSeconds, 12);

    EXPECT_EQ(status("system_status"), "\"OPERATIONAL\"");
    EXPECT_EQ(status("reset_pressed"), "\"RESET_BUTTON_PRESSED\"");
    EXPECT_EQ(status("reset_pressed_seconds"), "12");
}

TEST_F(SystemStatusObjectTest, ReadsAnUnknownStateAsItsNumber) {
    createObject();
    m_database.setInt(kStatus, 10);
    m_database.setInt(kPressed, 3);

    EXPECT_EQ(status("system_status"), "\"systemStatus = 10 unexpected\"");
    EXPECT_EQ(status("reset_pressed"), "\"buttonStatusVal = 3 unexpected\"");
}

TEST_F(SystemStatusObjectTest, KeepsTheLastKnownValuesWhenReadsFail) {
    createObject();
    m_database.setInt(kStatus, 6);
    m_database.setInt(kPressed, 2);
    m_database.setInt(kSeconds, 5);
    get("/system/status");
    m_database.answer(false);

    EXPECT_EQ(get("/system/status").status, 200);
    EXPECT_EQ(status("system_status"), "\"READY\"");
    EXPECT_EQ(status("reset_pressed"), "\"RESET_BUTTON_RELEASED\"");
    EXPECT_EQ(status("reset_pressed_seconds"), "5");
}

TEST_F(SystemStatusObjectTest, LogsReadsThatFail) {
    createObject();
    const CapturedLog log;

    get("/system/status");

    EXPECT_EQ(log.count("4 src/SystemStatusObject: SystemStatusObject::replaceSystemStatus "
                        "dbKey=ram.status.system returned NULL"),
              1);
    EXPECT_EQ(log.count("3 src/SystemStatusObject: SystemStatusObject::replaceButtonStatus config_read_int, "
                        "dbKey=ram.status.system.reset_button.reset_pressed returned NULL"),
              1);
    EXPECT_EQ(log.count("3 src/SystemStatusObject: SystemStatusObject::replaceButtonSeconds config_read_int, "
                        "dbKey=ram.status.system.reset_button.reset_pressed_seconds returned NULL"),
              1);
}

TEST_F(SystemStatusObjectTest, TellsTheTimeSinceTheEpochWhereTheLocalZoneIsUtc) {
    createObject();
    const long before = std::time(nullptr);

    const long answered = std::stol(status("time"));

    EXPECT_THAT(answered, AllOf(Ge(before), Le(before + 5)));
}

TEST_F(SystemStatusObjectTest, TellsTheTimeShiftedByTheLocalZone) {
    setLocalZone("EST5");
    createObject();
    const long before = std::time(nullptr) + 5 * 3600;

    const long answered = std::stol(status("time"));

    EXPECT_THAT(answered, AllOf(Ge(before), Le(before + 5)));
}

TEST_F(SystemStatusObjectTest, TellsTheSecondsSinceBoot) {
    createObject();
    struct sysinfo info = {};
    sysinfo(&info);

    const long answered = std::stol(status("uptime"));

    EXPECT_THAT(answered, AllOf(Ge(info.uptime), Le(info.uptime + 5)));
}

TEST_F(SystemStatusObjectTest, NotifiesTheAttributesThatChanged) {
    createObject();
    subscribe("/system/status", "UPDATED");
    m_database.setInt(kStatus, 7);
    m_database.setInt(kSeconds, 30);

    announceAndWait({kStatus, "ram.status.system.other", kSeconds});

    EXPECT_THAT(
        m_client.told(),
        ElementsAre(R"(Updated /system/status {"system_status":"ERROR","reset_pressed_seconds":30})"));
}

TEST_F(SystemStatusObjectTest, NotifiesAPressOfTheResetButton) {
    createObject();
    subscribe("/system/status", "UPDATED");
    m_database.setInt(kPressed, 1);

    announceAndWait({kPressed});

    EXPECT_THAT(m_client.told(),
                ElementsAre(R"(Updated /system/status {"reset_pressed":"RESET_BUTTON_PRESSED"})"));
}

TEST_F(SystemStatusObjectTest, KnowsNoStateBeforeTheFirstReadOrChangeOfIt) {
    m_database.setInt(kStatus, 3);
    m_database.setInt(kPressed, 1);
    createObject();
    subscribe("/system/status", "ALL");

    announceAndWait({kPressed});

    EXPECT_THAT(m_client.told(), ElementsAre(HasSubstr(R"("system_status":null)")));
}

TEST_F(SystemStatusObjectTest, NotifiesNobodyOfUnknownKeys) {
    createObject();
    subscribe("/system/status", "ALL");
    m_database.setInt("ram.status.system.other", 1);

    announceAndWait({"ram.status.system.other"});

    EXPECT_THAT(m_client.told(), IsEmpty());
}

TEST_F(SystemStatusObjectTest, RefusesAStateThatIsAString) {
    createObject();
    subscribe("/system/status", "ALL");
    m_database.setString(kStatus, "READY");
    const CapturedLog log;

    announceAndWait({kStatus});

    EXPECT_THAT(m_client.told(), IsEmpty());
    EXPECT_EQ(log.count("3 src/SystemStatusObject: SystemStatus Replacing string:READY unexpected"), 1);
}

TEST_F(SystemStatusObjectTest, KeysAndTextsOfTheBusCannotMakeLogLinesOfTheirOwn) {
    createObject();
    const std::string key = std::string(kStatus) + "\n3 key";
    m_database.setString(kStatus, "READY\n3 text");
    m_database.setBinary(key, "1234");
    const CapturedLog log;

    announceAndWait({kStatus, key});

    const std::string module = " src/SystemStatusObject: SystemStatus";
    EXPECT_TRUE(log.has("3" + module + " Replacing string:READY?3 text unexpected"));
    EXPECT_TRUE(log.has("6" + module + ": Received message String data=READY?3 text"));
    EXPECT_TRUE(log.has("6" + module + ": Received message Name = ram.status.system?3 key, Type = 16"));
    EXPECT_TRUE(
        log.has("4" + module + ": Received message data unexpected, Name=ram.status.system?3 key, Type=16"));
}

TEST_F(SystemStatusObjectTest, RefusesAStateOfAnotherType) {
    createObject();
    subscribe("/system/status", "ALL");
    m_database.setBinary(kStatus, "1234");
    const CapturedLog log;

    announceAndWait({kStatus});

    EXPECT_THAT(m_client.told(), IsEmpty());
    EXPECT_EQ(log.count("4 src/SystemStatusObject: SystemStatus: Received message data unexpected, "
                        "Name=ram.status.system, Type=16"),
              1);
    EXPECT_EQ(log.count("3 src/SystemStatusObject: SystemStatus: Unsupported config type : 16"), 1);
}

TEST_F(SystemStatusObjectTest, KeepsTheStateOfADeletedKey) {
    createObject();
    m_database.setInt(kStatus, 3);
    get("/system/status");
    m_database.erase(kStatus);

    announceAndWait({kStatus});

    EXPECT_EQ(status("system_status"), "\"OPERATIONAL\"");
}

TEST_F(SystemStatusObjectTest, LogsTheChangesThatItHearsOf) {
    createObject();
    m_database.setInt(kStatus, 3);
    const CapturedLog log;

    announceAndWait({kStatus});

    EXPECT_EQ(
        log.count(
            "6 src/SystemStatusObject: SystemStatus: Received message Name = ram.status.system, Type = 3"),
        1);
    EXPECT_EQ(log.count("6 src/SystemStatusObject: SystemStatus: Received message INT data=3"), 1);
    EXPECT_EQ(log.count("7 src/SystemStatusObject: SystemStatus: Replacing int=3"), 1);
    EXPECT_EQ(log.count("7 src/SystemStatusObject: SystemStatus notify Updated, attr update count 1"), 1);
}

TEST_F(SystemStatusObjectTest, HearsNothingMoreOnceItIsGone) {
    createObject();
    subscribe("/system/status", "ALL");
    m_database.setInt(kStatus, 3);

    m_controller.removePathHandler("status");
    announceAndWait({kStatus});

    EXPECT_THAT(m_client.told(), IsEmpty());
}

TEST_F(SystemStatusObjectTest, HasNoChildrenAndIsReadOnly) {
    createObject();

    EXPECT_EQ(get("/system/status/system_status").status, 404);
    EXPECT_EQ(ask("PUT", "/system/status", R"({"data":{"system_status":"READY"}})").status, 405);
}
