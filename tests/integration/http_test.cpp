// SPDX-License-Identifier: MIT

#include "gtest/gtest.h"

#include "RunningUnit.h"

namespace {

const std::vector<std::string> kAcceptJson{"Accept: application/json"};

class HttpServer : public testing::Test {
  protected:
    void SetUp() override { m_unit.start(); }

    // Whether the daemon still serves, on a connection of its own.
    bool StillServes() { return m_unit.http().request("GET", "/system/info").status == 200; }

    HttpResponse SendRaw(const std::string& bytes) {
        HttpClient client = m_unit.http();
        client.send(bytes);
        return client.receive();
    }

    RunningUnit m_unit;
};

TEST_F(HttpServer, AnUnknownPathGetsTheErrorPageWithSessionAndInstance) {
    const HttpResponse response = m_unit.http().request("GET", "/nowhere");

    EXPECT_EQ(response.status, 404);
    EXPECT_EQ(response.reason, "Not Found");
    EXPECT_NE(response.body.find("<TITLE>404 Not Found</TITLE>"), std::string::npos);
    EXPECT_EQ(response.header("X-Server-instance").rfind("0x", 0), 0U);
    EXPECT_EQ(response.header("Set-Cookie").rfind("DRHABSESSID=", 0), 0U);
}

TEST_F(HttpServer, AnErrorLeavesAKeepAliveConnectionOpen) {
    HttpClient client = m_unit.http();

    EXPECT_EQ(client.request("GET", "/nowhere").status, 404);
    EXPECT_EQ(client.request("POST", "/nowhere", R"({"data": {}})").status, 404);
    EXPECT_EQ(client.request("GET", "/system/info").status, 200);
}

TEST_F(HttpServer, ARefusedPostIsAnsweredOnceAndOnlyAfterItsBody) {
    HttpClient client = m_unit.http();
    client.send("POST /nowhere HTTP/1.1\r\nHost: h\r\nContent-Length: 10\r\n\r\n12345");
    client.send("67890GET /system/info HTTP/1.1\r\nHost: h\r\n\r\n");

    EXPECT_EQ(client.receive().status, 404);
    EXPECT_EQ(client.receive().status, 200);
}

TEST_F(HttpServer, ARefusedPostMakesOneSession) {
    const HttpResponse response = m_unit.http().request("POST", "/nowhere", "{}");

    EXPECT_EQ(response.headers.count("Set-Cookie"), 1U);
}

TEST_F(HttpServer, PipelinedRequestsAreAnsweredInOrder) {
    HttpClient client = m_unit.http();
    client.send("GET /system/info HTTP/1.1\r\nHost: h\r\n\r\nGET /nowhere HTTP/1.1\r\nHost: h\r\n\r\n");

    EXPECT_EQ(client.receive().status, 200);
    EXPECT_EQ(client.receive().status, 404);
}

TEST_F(HttpServer, ACookieKeepsItsSession) {
    const std::string cookie = m_unit.http().request("GET", "/system/info").header("Set-Cookie");

    const HttpResponse again =
        m_unit.http().request("GET", "/system/info", "", {"Cookie: " + cookie.substr(0, cookie.find(';'))});

    EXPECT_EQ(again.headers.count("Set-Cookie"), 0U);
}

TEST_F(HttpServer, AnUnknownSessionIdIsReplacedByANewOne) {
    const std::string invented = "0123456789abcdef0123456789abcdef";

    const HttpResponse response =
        m_unit.http().request("GET", "/system/info", "", {"Cookie: DRHABSESSID=" + invented});

    EXPECT_EQ(response.headers.count("Set-Cookie"), 1U);
    EXPECT_EQ(response.header("Set-Cookie").find(invented), std::string::npos);
}

TEST_F(HttpServer, AnEmptyPathIsRefusedWith400) {
    EXPECT_EQ(SendRaw("GET ?x=1 HTTP/1.1\r\nHost: h\r\n\r\n").status, 400);
    EXPECT_EQ(SendRaw("GET http://localhost HTTP/1.1\r\nHost: h\r\n\r\n").status, 400);
    EXPECT_EQ(SendRaw("POST ?x=1 HTTP/1.1\r\nHost: h\r\nContent-Length: 2\r\n\r\n{}").status, 400);
    EXPECT_TRUE(StillServes());
}

TEST_F(HttpServer, APathWithANulIsRefusedWith400) {
    EXPECT_EQ(SendRaw("GET /system/info%00 HTTP/1.1\r\nHost: h\r\n\r\n").status, 400);
    EXPECT_TRUE(StillServes());
}

TEST_F(HttpServer, WhatIsNoRequestIsRefusedOrCut) {
    const HttpResponse response = SendRaw("\x01\x02\x03 nonsense\r\n\r\n");

    EXPECT_TRUE(response.status == 0 || (response.status >= 400 && response.status < 500)) << response.status;
    EXPECT_TRUE(StillServes());
}

TEST_F(HttpServer, HeadersOver64KiBAreRefused) {
    const HttpResponse response =
        SendRaw("GET /system/info HTTP/1.1\r\nHost: h\r\nX: " + std::string(70000, 'x') + "\r\n\r\n");

    EXPECT_TRUE(response.status == 0 || response.status == 400) << response.status;
    EXPECT_TRUE(StillServes());
}

TEST_F(HttpServer, ABodyOver16MiBIsRefused) {
    const HttpResponse response =
        SendRaw("PUT /system/info/oem-snmp HTTP/1.1\r\nHost: h\r\nContent-Length: 16777217\r\n\r\n");

    EXPECT_EQ(response.status, 413);
    EXPECT_TRUE(StillServes());
}

TEST_F(HttpServer, AClientThatLeavesInTheMiddleOfItsBodyIsForgotten) {
    for (int i = 0; i < 50; ++i) {
        HttpClient client = m_unit.http();
        client.send("POST /system/info HTTP/1.1\r\nHost: h\r\nContent-Length: 100\r\n\r\npart");
    }

    EXPECT_TRUE(StillServes());
    EXPECT_TRUE(m_unit.daemon().isRunning());
}

TEST_F(HttpServer, ABodyThatIsNoJsonIsRefusedWith400) {
    const HttpResponse response =
        m_unit.http().request("PUT", "/system/info/oem-snmp", "{\"data\": ", kAcceptJson);

    EXPECT_EQ(response.status, 400);
}

TEST_F(HttpServer, AHeadRequestFindsNoHandler) {
    EXPECT_EQ(m_unit.http().request("HEAD", "/system/info").status, 404);
}

TEST_F(HttpServer, TheReasonOfTheStatusLineIsOneLine) {
    const HttpResponse response = m_unit.http().request("GET", "/system/info", "", kAcceptJson);

    EXPECT_EQ(response.reason, "OK");
    EXPECT_EQ(response.body.front(), '{');
}

}  // namespace
