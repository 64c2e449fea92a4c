// SPDX-License-Identifier: MIT

#include "gtest/gtest.h"

#include "RunningUnit.h"

namespace {

const std::vector<std::string> kAcceptJson{"Accept: application/json"};

class SystemOverHttp : public testing::Test {
  protected:
    void SetUp() override { m_unit.start(); }

    HttpResponse Get(const std::string& target) {
        return m_unit.http().request("GET", target, "", kAcceptJson);
    }
    HttpResponse Put(const std::string& target, const std::string& body) {
        return m_unit.http().request("PUT", target, body, kAcceptJson);
    }
    JsonPtr GetJson(const std::string& target) { return JsonPtr(cJSON_Parse(Get(target).body.c_str())); }

    static std::string Text(const JsonPtr& object, const char* member) {
        const char* text = cJSON_GetStringValue(cJSON_GetObjectItemCaseSensitive(object.get(), member));
        return text != nullptr ? text : "(no text)";
    }

    RunningUnit m_unit;
};

TEST_F(SystemOverHttp, InfoAnswersItsThirteenMembersInOrderFromTheDatabase) {
    const HttpResponse response = Get("/system/info");

    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.reason, "OK");
    EXPECT_EQ(response.header("Content-Type"), "application/json");
    const JsonPtr info(cJSON_Parse(response.body.c_str()));
    std::vector<std::string> members;
    const cJSON* member = nullptr;
    cJSON_ArrayForEach(member, info.get()) {
        EXPECT_TRUE(cJSON_IsString(member)) << member->string;
        members.emplace_back(member->string);
    }
    EXPECT_EQ(members, (std::vector<std::string>{"pcb_id", "pcb_revision", "serial_number", "unit_bom",
                                                 "software_version", "software_build_nr", "software_build_id",
                                                 "software_build_date", "model_number", "platform_id",
                                                 "product_id", "system_id", "antenna_id"}));
}

TEST_F(SystemOverHttp, StatusTellsTheRunStateAndTheClock) {
    const JsonPtr status = GetJson("/system/status");

    EXPECT_EQ(Text(status, "system_status"), "READY");
    EXPECT_EQ(Text(status, "reset_pressed"), "RESET_BUTTON_DEFAULT");
    EXPECT_GT(cJSON_GetNumberValue(cJSON_GetObjectItemCaseSensitive(status.get(), "time")), 1700000000.0);
    EXPECT_GT(cJSON_GetNumberValue(cJSON_GetObjectItemCaseSensitive(status.get(), "uptime")), 0.0);
}

TEST_F(SystemOverHttp, APutOnOemSnmpIsStoredAndShownByTheNextGet) {
    const HttpResponse put =
        Put("/system/info/oem-snmp", R"({"data": {"sys_name": "mast-1", "sys_services": 72}})");

    EXPECT_EQ(put.status, 200);
    const JsonPtr snmp = GetJson("/system/info/oem-snmp");
    EXPECT_EQ(Text(snmp, "sys_name"), "mast-1");
    EXPECT_EQ(cJSON_GetNumberValue(cJSON_GetObjectItemCaseSensitive(snmp.get(), "sys_services")), 72.0);
}

TEST_F(SystemOverHttp, AStoredValueOutlivesTheDaemon) {
    ASSERT_EQ(Put("/system/info/oem-snmp", R"({"data": {"sys_contact": "bridge"}})").status, 200);

    m_unit.daemon().signal(SIGTERM);
    ASSERT_TRUE(m_unit.daemon().awaitEnd().has_value());
    m_unit.startDaemon();

    EXPECT_EQ(Text(GetJson("/system/info/oem-snmp"), "sys_contact"), "bridge");
}

TEST_F(SystemOverHttp, AnOutOfRangeNumberIsRefusedAndNothingIsStored) {
    const HttpResponse put =
        Put("/system/info/oem-snmp", R"({"data": {"sys_name": "other", "sys_services": 128}})");

    EXPECT_EQ(put.status, 400);
    EXPECT_NE(Text(GetJson("/system/info/oem-snmp"), "sys_name"), "other");
}

TEST_F(SystemOverHttp, AMethodThatAResourceDoesNotHaveIsRefusedWith405) {
    EXPECT_EQ(Put("/system/info", R"({"data": {}})").status, 405);
    EXPECT_EQ(m_unit.http().request("DELETE", "/system/status").status, 405);
}

TEST_F(SystemOverHttp, ASubscriptionIsMadeReadAndRemovedInItsSession) {
    HttpClient client = m_unit.http();
    const HttpResponse made =
        client.request("POST", "/system/subscriptions/system/status", "{}", kAcceptJson);
    const std::string cookie = made.header("Set-Cookie");
    const std::vector<std::string> session{"Accept: application/json",
                                           "Cookie: " + cookie.substr(0, cookie.find(';'))};

    EXPECT_EQ(made.status, 201);
    EXPECT_EQ(client.request("GET", "/system/subscriptions/system/status", "", session).status, 200);
    EXPECT_EQ(client.request("DELETE", "/system/subscriptions", "", session).status, 200);
    EXPECT_EQ(client.request("GET", "/system/subscriptions/system/status", "", session).status, 404);
}

TEST_F(SystemOverHttp, TheLastKnownStatusIsAnsweredWhileTheDatabaseIsGone) {
    ASSERT_EQ(Get("/system/status").status, 200);

    m_unit.stopDatabase();
    const JsonPtr status = GetJson("/system/status");

    EXPECT_EQ(Text(status, "system_status"), "READY");
}

}  // namespace
