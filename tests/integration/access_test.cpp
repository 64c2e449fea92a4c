// SPDX-License-Identifier: MIT

#include <sys/resource.h>

#include "gtest/gtest.h"

#include "RunningUnit.h"

namespace {

const std::vector<std::string> kAcceptJson{"Accept: application/json"};

// Reading is open, writing needs a level that no session has.
class AccessOverHttp : public testing::Test {
  protected:
    void SetUp() override {
        m_unit.writeAccessMap(
            R"json({"/system(/|$)": {"GET": 0, "PUT": 2}, "/open": {"GET": 0, "PUT": 0}})json");
        m_unit.start();
    }

    int Put(const std::string& target) {
        return m_unit.http()
            .request("PUT", target, R"({"data": {"sys_name": "intruder"}})", kAcceptJson)
            .status;
    }

    RunningUnit m_unit;
};

TEST_F(AccessOverHttp, AMethodAboveTheSessionsLevelIsRefusedWith401) {
    EXPECT_EQ(m_unit.http().request("GET", "/system/info").status, 200);
    EXPECT_EQ(Put("/system/info/oem-snmp"), 401);
}

TEST_F(AccessOverHttp, AFirstRequestThatTakesTheLastDescriptorFindsTheMap) {
    const rlimit few{static_cast<rlim_t>(m_unit.daemon().settledDescriptors() + 1), 20000};
    ASSERT_EQ(prlimit(m_unit.daemon().pid(), RLIMIT_NOFILE, &few, nullptr), 0);

    EXPECT_EQ(m_unit.http().request("GET", "/system/status").status, 200);
}

TEST_F(AccessOverHttp, AMethodThatNoRuleNamesIsRefusedWith401) {
    EXPECT_EQ(m_unit.http().request("DELETE", "/system/info").status, 401);
}

TEST_F(AccessOverHttp, AnOpenPrefixInFrontOpensNothing) {
    EXPECT_EQ(Put("/open/system/info/oem-snmp"), 401);
}

TEST_F(AccessOverHttp, AnOpenRootInFrontDoesNotOpenTheOtherOne) {
    EXPECT_EQ(m_unit.http().request("GET", "/system/example/test").status, 401);
}

TEST_F(AccessOverHttp, NoSpellingOfThePathIsALaxerOne) {
    for (const char* target :
         {"//system//info//oem-snmp", "/system/info/oem-snmp/", "/%73ystem/info/oem-snmp",
          "/system%2Finfo%2Foem-snmp", "/open/..//system/info/oem-snmp", "/open%2Fsystem/info/oem-snmp",
          "/system/info/oem-snmp?main_res=status", "http://localhost/system/info/oem-snmp"}) {
        EXPECT_EQ(Put(target), 401) << target;
    }
}

TEST_F(AccessOverHttp, TheQueryNeverNamesAResource) {
    const HttpResponse response = m_unit.http().request("GET", "/system?main_res=info", "", kAcceptJson);

    EXPECT_EQ(response.status, 404);
}

TEST_F(AccessOverHttp, ARefusalKeepsTheSessionCookieAndTheInstanceHeader) {
    const HttpResponse refused = m_unit.http().request("PUT", "/system/info/oem-snmp", "{}");

    EXPECT_EQ(refused.status, 401);
    EXPECT_EQ(refused.header("Set-Cookie").rfind("DRHABSESSID=", 0), 0U);
    EXPECT_EQ(refused.header("X-Server-instance").rfind("0x", 0), 0U);
}

TEST_F(AccessOverHttp, TheSameMapHoldsForJsonRpc) {
    RpcClient client = m_unit.rpc();

    const JsonPtr answer = client.call(
        "update", R"json({"path": "/system/info/oem-snmp", "data": {"sys_name": "intruder"}})json");

    const cJSON* error = cJSON_GetObjectItemCaseSensitive(answer.get(), "error");
    EXPECT_EQ(cJSON_GetNumberValue(cJSON_GetObjectItemCaseSensitive(error, "code")), 404.0);
}

// A notification is not held against the map: only the path on which it was subscribed to is.
TEST(AccessToASubscription, IsThatOfItsOwnPathAndTellsWhatIsClosedToReading) {
    RunningUnit unit;
    unit.writeAccessMap(
        R"json({"/example/subscriptions(/|$)": {"POST": 0}, "/example/test$": {"PUT": 0}})json");
    unit.start();
    RpcClient client = unit.rpc();
    ASSERT_EQ(unit.http().request("GET", "/example/test").status, 401);

    const JsonPtr created =
        client.call("create", R"json({"path": "/example/subscriptions/example/test"})json");
    ASSERT_NE(cJSON_GetObjectItemCaseSensitive(created.get(), "result"), nullptr);
    ASSERT_EQ(unit.http().request("PUT", "/example/test", R"({"data": {"a": "secret"}})", kAcceptJson).status,
              200);

    const JsonPtr told = client.receive();
    const cJSON* params = cJSON_GetObjectItemCaseSensitive(told.get(), "params");
    const cJSON* data = cJSON_GetObjectItemCaseSensitive(params, "data");
    EXPECT_STREQ(cJSON_GetStringValue(cJSON_GetObjectItemCaseSensitive(data, "a")), "secret");
}

TEST(AccessMapFile, AMissingOneClosesEverything) {
    RunningUnit unit;
    std::filesystem::remove(unit.directory() / "accessmap.json");
    unit.start();

    EXPECT_EQ(unit.http().request("GET", "/system/info").status, 401);
}

}  // namespace
