// SPDX-License-Identifier: MIT

#include <fstream>
#include <iterator>

#include "gtest/gtest.h"

#include "RunningUnit.h"

namespace {

const std::vector<std::string> kAcceptJson{"Accept: application/json"};

std::string text_of(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

// The example in a document that stands below this heading: its indented lines.
std::string example_below(const std::string& heading) {
    std::ifstream document(ACCESS_MAP_DOCUMENT);
    std::string line;
    while (std::getline(document, line) && line != heading) {
    }
    std::string example;
    while (std::getline(document, line) && (example.empty() || line.starts_with("    "))) {
        example += line.starts_with("    ") ? line + "\n" : "";
    }
    return example;
}

class MappedUnit : public testing::Test {
  protected:
    void StartWith(const std::string& map) {
        ASSERT_NE(map, "");
        m_unit.writeAccessMap(map);
        m_unit.start();
    }

    int Status(const std::string& method, const std::string& target, const std::string& body = "") {
        return m_unit.http().request(method, target, body, kAcceptJson).status;
    }

    // 0 when the call succeeds.
    int RpcError(const std::string& method, const std::string& params) {
        const JsonPtr answer = m_unit.rpc().call(method, params);
        const cJSON* error = cJSON_GetObjectItemCaseSensitive(answer.get(), "error");
        return error == nullptr ? 0 : cJSON_GetObjectItemCaseSensitive(error, "code")->valueint;
    }

    RunningUnit m_unit;
};

class ShippedAccessMap : public MappedUnit {
  protected:
    void SetUp() override { StartWith(text_of(SHIPPED_CONFIGURATION "/accessmap.json")); }

    const std::vector<std::string> m_resources{"/system/info",
                                               "/system/info/oem-snmp",
                                               "/system/status",
                                               "/system/user-events/oem-warning",
                                               "/system/debug",
                                               "/system/user-events/alerts",
                                               "/system/debug/post",
                                               "/system/user-events/log",
                                               "/system/subscriptions",
                                               "/system/debug/syslog-rules",
                                               "/system/oem/privileged-cmds"};
};

TEST_F(ShippedAccessMap, OpensEveryResourceBelowSystemForReading) {
    for (const std::string& resource : m_resources) {
        EXPECT_EQ(Status("GET", resource), 200) << resource;
    }
}

TEST_F(ShippedAccessMap, RefusesEveryWrite) {
    for (const std::string& resource : m_resources) {
        for (const char* method : {"PUT", "POST", "DELETE"}) {
            EXPECT_EQ(Status(method, resource, R"({"data": {"sys_name": "intruder"}})"), 401)
                << method << " " << resource;
        }
    }
}

TEST_F(ShippedAccessMap, OpensNothingOutsideOfSystem) {
    EXPECT_EQ(Status("GET", "/example/test"), 401);
    EXPECT_EQ(Status("GET", "/systematic"), 404);
}

TEST_F(ShippedAccessMap, HoldsForLocalProgramsToo) {
    EXPECT_EQ(RpcError("read", R"json({"path": "/system/info"})json"), 0);
    EXPECT_EQ(RpcError("update", R"json({"path": "/system/info/oem-snmp", "data": {"sys_name": "me"}})json"),
              404);
    EXPECT_EQ(RpcError("create", R"json({"path": "/system/subscriptions/system/status"})json"), 404);
}

TEST(AccessMapDocument, ShowsTheMapThatIsShipped) {
    const JsonPtr shown(cJSON_Parse(example_below("## As installed").c_str()));
    const JsonPtr shipped(cJSON_Parse(text_of(SHIPPED_CONFIGURATION "/accessmap.json").c_str()));

    ASSERT_NE(shipped, nullptr);
    EXPECT_TRUE(cJSON_Compare(shown.get(), shipped.get(), true));
}

class SampleAccessMap : public MappedUnit {
  protected:
    void SetUp() override { StartWith(example_below("## A sample that opens more")); }
};

TEST_F(SampleAccessMap, OpensTheWritesThatItNames) {
    EXPECT_EQ(Status("PUT", "/system/info/oem-snmp", R"({"data": {"sys_name": "mast-1"}})"), 200);
    EXPECT_EQ(Status("PUT", "/system/user-events/oem-warning", R"({"data": {"state": "ON", "info": 5}})"),
              200);
    EXPECT_EQ(RpcError("create", R"json({"path": "/system/subscriptions/system/status"})json"), 0);
}

TEST_F(SampleAccessMap, NarrowsWhatAnotherRuleOpens) {
    EXPECT_EQ(Status("GET", "/system/info"), 200);
    EXPECT_EQ(Status("GET", "/system/debug"), 401);
    EXPECT_EQ(Status("GET", "/system/debug/syslog-rules"), 401);
    EXPECT_EQ(Status("GET", "/system/oem/privileged-cmds"), 401);
}

TEST_F(SampleAccessMap, ClosesTheSubscriptionsThatWouldTellWhatItCloses) {
    for (const std::string path :
         {"", "/", "/debug", "/debug/syslog-rules", "/oem", "/oem/", "/oem/privileged-cmds"}) {
        EXPECT_EQ(RpcError("create", R"({"path": "/system/subscriptions/system)" + path +
                                         R"(", "data": {"recursive": true}})"),
                  404)
            << path;
    }
}

TEST_F(SampleAccessMap, RefusesTheOtherWrites) {
    EXPECT_EQ(Status("PUT", "/system/debug", R"({"data": {"request": "DIAG_REPORT"}})"), 401);
    EXPECT_EQ(Status("POST", "/system/oem/privileged-cmds", R"({"data": {"command": "id"}})"), 401);
    EXPECT_EQ(Status("DELETE", "/system/debug/syslog-rules"), 401);
}

}  // namespace
