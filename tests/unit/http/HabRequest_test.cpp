// SPDX-License-Identifier: MIT

#include "src/http/HabRequest.h"

#include <cstring>

#include <algorithm>
#include <memory>
#include <string>

#include <cjson/cJSON.h>
#include <gtest/gtest.h>

#include "src/base/owners.h"
#include "src/http/HabSession.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/WebConfiguration.h"

namespace {

// A transport that adds nothing but a body, with a declared length of its own, and keeps the last answer.
class BareRequest : public HabRequest {
  public:
    explicit BareRequest(const char* methodText = "GET") { method = methodText; }

    int getContentLength() override { return declaredLength; }
    void storeContent(const char* content) override { body = content; }
    size_t getRequestContent(char* buf, size_t max) override {
        largestRead = std::max(largestRead, max);
        const size_t size = std::min(body.size(), max);
        std::memcpy(buf, body.data(), size);
        return size;
    }
    size_t getRequestContent(char**) override { return 0; }
    void replyAdd(const void*, size_t) override {}
    void replyPrintf(const char*, ...) override {}
    void reply(int, const char*, const char*) override {}
    using HabRequest::replyFinish;
    void replyFinish() override {}
    void replyFinish(int code, const char* reason) override { answer = std::to_string(code) + " " + reason; }
    void notFound(const char*) override {}
    void internalError() override {}
    void unauthorized(const char*) override {}
    int getContentType() override { return 0; }

    std::string body;
    int declaredLength = 0;
    size_t largestRead = 0;
    std::string answer;
};

// The body read as JSON and printed again; "null" when there is none.
std::string read_json(const std::string& body, int declaredLength) {
    BareRequest request;
    request.body = body;
    request.declaredLength = declaredLength;
    const JsonPtr document(request.readJSONBody());
    if (document == nullptr) {
        return "null";
    }
    return JsonText(cJSON_PrintUnformatted(document.get())).get();
}

std::string read_json(const std::string& body) {
    return read_json(body, static_cast<int>(body.size()));
}

}  // namespace

TEST(HabRequestMethod, IsABitOfTheMethodMask) {
    EXPECT_EQ(BareRequest("GET").getHttpMethod(), 1);
    EXPECT_EQ(BareRequest("PUT").getHttpMethod(), 2);
    EXPECT_EQ(BareRequest("POST").getHttpMethod(), 4);
    EXPECT_EQ(BareRequest("DELETE").getHttpMethod(), 8);
}

TEST(HabRequestMethod, HasNoBitWhenItIsAnother) {
    EXPECT_EQ(BareRequest("").getHttpMethod(), 0);
    EXPECT_EQ(BareRequest("get").getHttpMethod(), 0);
    EXPECT_EQ(BareRequest(nullptr).getHttpMethod(), 0);
}

TEST(HabRequestDefaults, FindNothing) {
    BareRequest request;

    EXPECT_EQ(request.getScriptName(), nullptr);
    EXPECT_EQ(request.getScriptFileName(), nullptr);
    EXPECT_EQ(request.getRemoteHost(), nullptr);
    EXPECT_EQ(request.getRemotePort(), 0);
    EXPECT_EQ(request.getHeader("Accept"), nullptr);
    EXPECT_EQ(request.getRequestCookie("DRHABSESSID"), nullptr);
    EXPECT_EQ(request.getURI(), nullptr);
    EXPECT_EQ(request.getSession(), nullptr);
    EXPECT_EQ(request.getHandler(), nullptr);
    EXPECT_EQ(request.getMatchEx(), nullptr);
    EXPECT_EQ(request.getChunkCtx(), nullptr);
}

TEST(HabRequestDefaults, DoNotDiscardTheRequest) {
    EXPECT_FALSE(BareRequest().isDiscarded());
}

TEST(HabRequestUri, IsCopied) {
    BareRequest request;
    char uri[] = "/system/info";

    request.setURI(uri);
    uri[1] = 'X';

    EXPECT_STREQ(request.getURI(), "/system/info");
}

TEST(HabRequestUri, StaysWhenSetToNull) {
    const CapturedLog log;
    BareRequest request;
    request.setURI("/system");

    request.setURI(nullptr);

    EXPECT_STREQ(request.getURI(), "/system");
    EXPECT_TRUE(log.has("7 src/HabRequest: setURI: uri==null"));
}

TEST(HabRequestQuery, StoresItsPiecesAsParameters) {
    BareRequest request;

    request.setQueryString("channel=fedefe&fromId=5");

    EXPECT_STREQ(request.getQueryString(), "channel=fedefe&fromId=5");
    EXPECT_STREQ(request.getParameter("channel"), "fedefe");
    EXPECT_STREQ(request.getParameter("fromId"), "5");
}

TEST(HabRequestQuery, IgnoresAPieceWithoutEqualSign) {
    BareRequest request;

    request.setQueryString("a=1&b&c=%41");

    EXPECT_EQ(request.getParameter("b"), nullptr);
    EXPECT_STREQ(request.getParameter("c"), "%41");
}

TEST(HabRequestQuery, CutsAPieceAtItsFirstEqualSign) {
    BareRequest request;

    request.setQueryString("filter=a=b&empty=");

    EXPECT_STREQ(request.getParameter("filter"), "a=b");
    EXPECT_STREQ(request.getParameter("empty"), "");
}

TEST(HabRequestQuery, TakesTheFirst127Pieces) {
    BareRequest request;
    std::string query;
    for (int i = 1; i <= 200; ++i) {
        query += "p" + std::to_string(i) + "=v&";
    }

    request.setQueryString(query.c_str());

    EXPECT_STREQ(request.getParameter("p127"), "v");
    EXPECT_EQ(request.getParameter("p128"), nullptr);
}

TEST(HabRequestQuery, MayHoldNoPieceAtAll) {
    BareRequest request;

    request.setQueryString("&&");

    EXPECT_STREQ(request.getQueryString(), "&&");
}

TEST(HabRequestQuery, StaysWhenSetToNull) {
    BareRequest request;
    request.setQueryString("a=1");

    request.setQueryString(nullptr);

    EXPECT_STREQ(request.getQueryString(), "a=1");
}

TEST(HabRequestParameter, IsCopied) {
    BareRequest request;
    char name[] = "main_res";
    char value[] = "info";

    request.setParameter(name, value);
    name[0] = value[0] = 'X';

    EXPECT_STREQ(request.getParameter("main_res"), "info");
}

TEST(HabRequestParameter, IsReplacedUnderTheSameName) {
    BareRequest request;
    request.setParameter("sub1", "old");

    request.setParameter("sub1", "new");

    EXPECT_STREQ(request.getParameter("sub1"), "new");
}

TEST(HabRequestParameter, IsGoneAfterRemoval) {
    BareRequest request;
    request.setQueryString("main_res=info&sub1=x");

    request.removeParameter("main_res");

    EXPECT_EQ(request.getParameter("main_res"), nullptr);
    EXPECT_STREQ(request.getParameter("sub1"), "x");
}

TEST(HabRequestParameter, NeedNotExistToBeRemoved) {
    BareRequest request;
    request.setParameter("a", "1");

    request.removeParameter("b");

    EXPECT_STREQ(request.getParameter("a"), "1");
}

TEST(HabRequestParameter, HoldsThePathInfo) {
    BareRequest request;
    request.setParameter("path_info", "/rest");

    EXPECT_STREQ(request.getPathInfo(), "/rest");
}

TEST(HabRequestParameter, NamesCanBeListedInTheLog) {
    const CapturedLog log;
    char name[] = "sub1";

    BareRequest().findParameters({name});

    EXPECT_TRUE(log.has("7 src/HabRequest:  - sub1"));
}

TEST(HabRequestDeathTest, PathInfoCannotBeSet) {
    BareRequest request;

    EXPECT_DEATH(request.setPathInfo(nullptr), "src/HabRequest.*true==false");
}

TEST(HabRequestFinish, LooksTheReasonUp) {
    BareRequest request;

    request.replyFinish(StatusCode::kConflict);

    EXPECT_EQ(request.answer, "409 Conflict");
}

TEST(HabRequestFinish, GivesADashForACodeWithoutReason) {
    BareRequest request;

    request.replyFinish(static_cast<StatusCode::Value>(418));

    EXPECT_EQ(request.answer, "418 -");
}

TEST(HabRequestJsonBody, IsParsed) {
    EXPECT_EQ(read_json(R"({"data": {"a": [1, 2]}})"), R"({"data":{"a":[1,2]}})");
}

TEST(HabRequestJsonBody, IsNullWithoutContent) {
    const CapturedLog log;

    EXPECT_EQ(read_json(""), "null");

    EXPECT_TRUE(log.has("7 src/HabRequest: HabRequest::readJSONBody(). Content-Type: (null)"));
    EXPECT_TRUE(log.has("7 src/HabRequest: Got no content?"));
}

TEST(HabRequestJsonBody, IsNullWithoutADeclaredLength) {
    EXPECT_EQ(read_json("{}", 0), "null");
}

TEST(HabRequestJsonBody, EndsAtTheDeclaredLength) {
    EXPECT_EQ(read_json("[1]garbage", 3), "[1]");
}

TEST(HabRequestJsonBody, MayBeShorterThanDeclared) {
    EXPECT_EQ(read_json("[1]", 4000), "[1]");
}

TEST(HabRequestJsonBody, IsNullForANegativeLength) {
    EXPECT_EQ(read_json("[1]", -1), "null");
}

TEST(HabRequestJsonBody, IsNotGivenMoreMemoryThanABodyMayHave) {
    BareRequest request;
    request.body = "[1]";
    request.declaredLength = 2147483647;

    const JsonPtr document(request.readJSONBody());

    EXPECT_NE(document, nullptr);
    EXPECT_EQ(request.largestRead, size_t{16} * 1024 * 1024);
}

TEST(HabRequestJsonBody, IsNullWithMoreThan200000Values) {
    std::string many = "[0";
    for (int i = 0; i < 200000; ++i) {
        many += ",0";
    }

    EXPECT_EQ(read_json(many + "]"), "null");
}

TEST(HabRequestJsonBody, IsNullAndLoggedWhenItIsNoJson) {
    const CapturedLog log;

    EXPECT_EQ(read_json(R"({"a":nothing})"), "null");

    EXPECT_TRUE(log.has("3 src/HabRequest: Error parsing JSON from request body: nothing}"));
}

TEST(HabRequestJsonBody, CannotMakeALogLineOfItsOwn) {
    const CapturedLog log;

    read_json("{\"a\":no\nForged: line}");

    EXPECT_TRUE(log.has("3 src/HabRequest: Error parsing JSON from request body: no?Forged: line}"));
}

TEST(HabRequestJsonBody, IsNullWithTextBehindTheValue) {
    EXPECT_EQ(read_json("{} {}"), "null");
}

TEST(HabRequestJsonBody, IsNullWithANulByteInside) {
    EXPECT_EQ(read_json(std::string("[1]\0[2]", 7)), "null");
}

TEST(HabRequestJsonBody, IsNullWhenItNestsTooDeep) {
    EXPECT_EQ(read_json(std::string(100000, '[')), "null");
}

TEST(HabRequestSession, LivesAsLongAsARequestIsBoundToIt) {
    const WebConfiguration configuration("{}");
    auto session = std::make_shared<HabSessionImpl>("0123");
    BareRequest request;

    request.setSession(session.get());
    session.reset();

    EXPECT_STREQ(request.getSession()->sessionId(), "0123");
}

TEST(HabRequestSession, IsLetGoWhenAnotherIsBound) {
    const WebConfiguration configuration("{}");
    const auto session = std::make_shared<HabSessionImpl>("0123");
    BareRequest request;
    request.setSession(session.get());

    request.setSession(nullptr);

    EXPECT_EQ(request.getSession(), nullptr);
    EXPECT_EQ(session.use_count(), 1);
}
