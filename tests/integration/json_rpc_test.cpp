// SPDX-License-Identifier: MIT

#include "UnitFixture.h"

namespace {

using JsonRpc = UnitFixture;

TEST_F(JsonRpc, ReadsTheSameResourceAsHttp) {
    RpcClient client = m_unit.rpc();

    const JsonPtr answer = client.call("read", R"({"path": "/system/info"})", 7);

    EXPECT_EQ(Number(answer, {"id"}), 7.0);
    EXPECT_EQ(Number(answer, {"result", "code"}), 200.0);
    const HttpResponse http = m_unit.http().request("GET", "/system/info");
    const JsonPtr over_http(cJSON_Parse(http.body.c_str()));
    EXPECT_TRUE(cJSON_Compare(Member(answer, {"result", "data"}), over_http.get(), 1));
}

TEST_F(JsonRpc, AnUnknownPathIsAnErrorWithItsPhrase) {
    RpcClient client = m_unit.rpc();

    const JsonPtr answer = client.call("Read", R"({"path": "/nowhere"})");

    EXPECT_EQ(Number(answer, {"error", "code"}), 404.0);
    EXPECT_EQ(Text(answer, {"error", "message"}), "Not Found");
}

TEST_F(JsonRpc, AMethodInCapitalsIsNotFound) {
    RpcClient client = m_unit.rpc();

    const JsonPtr answer = client.call("READ", R"({"path": "/system/info"})");

    EXPECT_EQ(Number(answer, {"error", "code"}), -32601.0);
}

TEST_F(JsonRpc, AnUpdateIsSeenOverHttp) {
    RpcClient client = m_unit.rpc();

    const JsonPtr answer =
        client.call("update", R"({"path": "/system/info/oem-snmp", "data": {"sys_location": "mast"}})");

    EXPECT_EQ(Number(answer, {"result", "code"}), 200.0);
    const JsonPtr snmp(cJSON_Parse(m_unit.http().request("GET", "/system/info/oem-snmp").body.c_str()));
    EXPECT_EQ(Text(snmp, {"sys_location"}), "mast");
}

TEST_F(JsonRpc, ASubscriptionBelongsToItsConnection) {
    RpcClient one = m_unit.rpc();
    RpcClient other = m_unit.rpc();
    const std::string params = R"({"path": "/system/subscriptions/system/status"})";

    EXPECT_EQ(Number(one.call("create", params), {"result", "code"}), 201.0);
    EXPECT_EQ(Number(one.call("create", params), {"error", "code"}), 409.0);
    EXPECT_EQ(Number(other.call("read", params), {"error", "code"}), 404.0);
}

TEST_F(JsonRpc, AChangeInTheDatabaseIsNotifiedToItsSubscriber) {
    RpcClient client = m_unit.rpc();
    const JsonPtr subscribed = client.call(
        "create", R"({"path": "/system/subscriptions/system/status", "data": {"data_include": "UPDATED"}})");
    ASSERT_EQ(Number(subscribed, {"result", "code"}), 201.0);
    const OtherProgram other(m_unit);

    config_write_int("ram.status.system", 4);
    const JsonPtr notification = client.receive();

    EXPECT_EQ(Text(notification, {"method"}), "Updated");
    EXPECT_EQ(Text(notification, {"params", "path"}), "/system/status");
    EXPECT_EQ(Text(notification, {"params", "data", "system_status"}), "SKYSCAN");
    EXPECT_EQ(Member(notification, {"params", "data", "uptime"}), nullptr);
}

TEST_F(JsonRpc, BytesThatAreNoJsonLeaveTheConnectionServing) {
    RpcClient client = m_unit.rpc();
    client.send("{no json}");
    // Clients do not send a message before the last one has been taken.
    AwaitTaken();

    const JsonPtr answer = client.call("read", R"({"path": "/system/info"})");

    EXPECT_EQ(Number(answer, {"result", "code"}), 200.0);
}

}  // namespace
