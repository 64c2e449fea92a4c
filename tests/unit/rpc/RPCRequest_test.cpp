// SPDX-License-Identifier: MIT

#include "src/rpc/RPCRequest.h"

#include <gtest/gtest.h>

#include "tests/support/CapturedLog.h"
#include "tests/support/RpcFakes.h"

namespace {

class RPCRequestTest : public ::testing::Test {
  protected:
    CapturedLog log;
    RecordingTransport transport{nullptr};
    JsonPtr params = parse(R"({"data": {"a": 1}})");
    RPCRequest request{"PUT", "/system/info", params.get(), &transport};
};

}  // namespace

TEST_F(RPCRequestTest, HasTheMethodAndPathOfItsCall) {
    EXPECT_STREQ(request.getMethod(), "PUT");
    EXPECT_EQ(request.getHttpMethod(), 2);
    EXPECT_STREQ(request.getURI(), "/system/info");
}

TEST_F(RPCRequestTest, HasAnsweredNothingAtFirst) {
    EXPECT_EQ(request.getResultCode(), 0);
    EXPECT_EQ(request.getReplyData(), "");
    EXPECT_EQ(request.getReplyPath(), "");
}

TEST_F(RPCRequestTest, StoresNoContent) {
    request.storeContent("text");

    EXPECT_EQ(log.count("7 src/RPCRequest: storeContent()!\n"), 1);
    EXPECT_EQ(request.getReplyData(), "");
}

TEST_F(RPCRequestTest, HasNoRawContent) {
    char bytes[4] = "abc";
    char* block = bytes;

    EXPECT_EQ(request.getRequestContent(bytes, sizeof bytes), 0U);
    EXPECT_EQ(request.getRequestContent(&block), 0U);
    EXPECT_STREQ(bytes, "abc");
    EXPECT_EQ(block, bytes);
    EXPECT_EQ(log.count("7 src/RPCRequest: getRequestContent()!\n"), 2);
}

TEST_F(RPCRequestTest, HasJsonAsContentType) {
    EXPECT_STREQ(request.getHeader("Content-Type"), "application/json");
    EXPECT_STREQ(request.getHeader("X-Content-Type-Options"), "application/json");
}

TEST_F(RPCRequestTest, HasNoOtherHeader) {
    EXPECT_EQ(request.getHeader("content-type"), nullptr);
    EXPECT_EQ(request.getHeader("Accept"), nullptr);
    EXPECT_EQ(request.getHeader(nullptr), nullptr);
}

TEST_F(RPCRequestTest, TakesJson) {
    EXPECT_EQ(request.getContentType(), 1);
}

TEST_F(RPCRequestTest, DoesNotKeepAddedBytes) {
    request.replyAdd("abc", 3);

    EXPECT_EQ(log.count("7 src/RPCRequest: replyAdd()\n"), 1);
    EXPECT_EQ(request.getReplyData(), "");
}

TEST_F(RPCRequestTest, AppendsPrintedText) {
    request.replyPrintf("%s-%d;", "a", 1);
    request.replyPrintf("%s-%d;", "b", 2);

    EXPECT_EQ(request.getReplyData(), "a-1;b-2;");
    EXPECT_EQ(log.count("7 src/RPCRequest: String: a-1;\n"), 1);
}

TEST_F(RPCRequestTest, PrintsTextOfAnyLength) {
    const std::string text(100000, 'x');

    request.replyPrintf("<%s>", text.c_str());

    EXPECT_EQ(request.getReplyData(), "<" + text + ">");
}

TEST_F(RPCRequestTest, KeepsStatusBodyAndPathOfAReply) {
    request.reply(201, "{}", "/system/info/new");

    EXPECT_EQ(request.getResultCode(), 201);
    EXPECT_EQ(request.getReplyData(), "{}");
    EXPECT_EQ(request.getReplyPath(), "/system/info/new");
}

TEST_F(RPCRequestTest, AppendsTheBodyOfAReplyToWhatWasPrinted) {
    request.replyPrintf("[1,");

    request.reply(200, "2]", nullptr);

    EXPECT_EQ(request.getReplyData(), "[1,2]");
    EXPECT_EQ(request.getReplyPath(), "");
}

TEST_F(RPCRequestTest, TakesAReplyWithoutBody) {
    request.reply(204, nullptr, nullptr);

    EXPECT_EQ(request.getResultCode(), 204);
    EXPECT_EQ(request.getReplyData(), "");
}

TEST_F(RPCRequestTest, KeepsTheStatusOfAFinishWithoutItsText) {
    request.replyFinish(409, "Conflict");

    EXPECT_EQ(request.getResultCode(), 409);
    EXPECT_EQ(request.getReplyData(), "");
    EXPECT_EQ(log.count("7 src/RPCRequest: replyFinish(409,\"Conflict\")\n"), 1);
}

TEST_F(RPCRequestTest, KeepsTheStatusOfAFinishByCode) {
    request.replyFinish(StatusCode::kAccepted);

    EXPECT_EQ(request.getResultCode(), 202);
    EXPECT_EQ(log.count("7 src/RPCRequest: replyFinish(202,\"Accepted\")\n"), 1);
}

TEST_F(RPCRequestTest, HasNoStatusAfterABareFinish) {
    request.replyFinish();

    EXPECT_EQ(request.getResultCode(), 0);
    EXPECT_EQ(log.count("7 src/RPCRequest: replyFinish()\n"), 1);
}

TEST_F(RPCRequestTest, KeepsTheStatusOfRefusals) {
    request.notFound("/a");
    const int not_found = request.getResultCode();
    request.internalError();
    const int internal = request.getResultCode();
    request.unauthorized("/a");

    EXPECT_EQ(not_found, 404);
    EXPECT_EQ(internal, 500);
    EXPECT_EQ(request.getResultCode(), 401);
}

TEST_F(RPCRequestTest, KeepsTheSessionCookieInItsTransport) {
    request.setResponseCookie("DRHABSESSID", "abc", "/");

    EXPECT_STREQ(transport.getSessionId(), "abc");
    EXPECT_STREQ(request.getRequestCookie("DRHABSESSID"), "abc");
}

TEST_F(RPCRequestTest, IgnoresOtherCookies) {
    transport.setSessionId("abc");

    request.setResponseCookie("XDRHABSESSID", "def", "/");

    EXPECT_STREQ(transport.getSessionId(), "abc");
    EXPECT_EQ(request.getRequestCookie("XDRHABSESSID"), nullptr);
}

TEST_F(RPCRequestTest, HasNoSessionCookieBeforeTheFirstCall) {
    EXPECT_EQ(request.getRequestCookie("DRHABSESSID"), nullptr);
}

TEST_F(RPCRequestTest, GivesACopyOfItsParamsAsBodyEachTime) {
    const JsonPtr first(request.readJSONBody());
    const JsonPtr second(request.readJSONBody());

    EXPECT_EQ(print_compact(first.get()), R"({"data":{"a":1}})");
    EXPECT_EQ(print_compact(second.get()), R"({"data":{"a":1}})");
    EXPECT_NE(first.get(), params.get());
}

TEST_F(RPCRequestTest, HasNoBodyWithoutParams) {
    RPCRequest without("GET", "/a", nullptr, &transport);

    EXPECT_EQ(without.readJSONBody(), nullptr);
}
