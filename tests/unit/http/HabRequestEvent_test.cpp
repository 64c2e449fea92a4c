// SPDX-License-Identifier: MIT

#include "src/http/HabRequestEvent.h"

#include <cstdlib>

#include <string>

#include <gmock/gmock.h>

#include "HabRequestEventFixture.h"
#include "tests/support/CapturedLog.h"

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

using HabRequestEventUri = HabRequestEventOverHttp;
using HabRequestEventMethod = HabRequestEventOverHttp;
using HabRequestEventPeer = HabRequestEventOverHttp;
using HabRequestEventBody = HabRequestEventOverHttp;
using HabRequestEventHeaders = HabRequestEventOverHttp;
using HabRequestEventCookies = HabRequestEventOverHttp;
using HabRequestEventServable = HabRequestEventOverHttp;
using HabRequestEventDeathTest = HabRequestEventOverHttp;

}  // namespace

TEST_F(HabRequestEventUri, IsDecodedAndItsSlashesCollapsed) {
    EXPECT_EQ(uriOf("/api//x%2Fy?a=1&b&c=%41"), "/api/x/y");
    EXPECT_EQ(uriOf("//a///b/"), "/a/b/");
    EXPECT_EQ(uriOf("///"), "/");
}

TEST_F(HabRequestEventUri, CollapsesADecodedSlashAsWell) {
    EXPECT_EQ(uriOf("/api/%2Fx"), "/api/x");
}

TEST_F(HabRequestEventUri, KeepsAPlusSign) {
    EXPECT_EQ(uriOf("/a+b%20c"), "/a+b c");
}

TEST_F(HabRequestEventUri, IsThePathOfAnAbsoluteTarget) {
    EXPECT_EQ(uriOf("http://unit/system/info"), "/system/info");
}

TEST_F(HabRequestEventUri, GivesItsQueryAsParameters) {
    std::string a;
    std::string c;
    bool hasB = true;

    get("/api//x%2Fy?a=1&b&c=%41", "", [&](HabRequestEvent& request) {
        a = request.getParameter("a");
        c = request.getParameter("c");
        hasB = request.getParameter("b") != nullptr;
    });

    EXPECT_EQ(a, "1");
    EXPECT_EQ(c, "%41");
    EXPECT_FALSE(hasB);
}

TEST_F(HabRequestEventUri, IsNullWhenItCannotBeParsed) {
    const CapturedLog log;
    bool isNull = false;
    std::string method;

    get("/a|b?c=1", "", [&](HabRequestEvent& request) {
        isNull = request.getURI() == nullptr && request.getParameter("c") == nullptr;
        method = request.getMethod();
    });

    EXPECT_TRUE(isNull);
    EXPECT_EQ(method, "GET");
    EXPECT_TRUE(log.has("3 src/HabRequestEvent: Could not parse URL '/a|b?c=1'"));
}

TEST_F(HabRequestEventUri, IsLoggedWithItsQuery) {
    const CapturedLog log;

    uriOf("/a?b=c");
    uriOf("/d");

    EXPECT_TRUE(log.has("7 src/HabRequestEvent: Request URI /a, query b=c"));
    EXPECT_TRUE(log.has("7 src/HabRequestEvent: Request URI /d, query (null)"));
}

TEST_F(HabRequestEventServable, NeedsAPath) {
    EXPECT_TRUE(isServable("/"));
    EXPECT_FALSE(isServable("?a=1"));
    EXPECT_FALSE(isServable("http://unit"));
}

TEST_F(HabRequestEventServable, NeedsAPathWithoutNul) {
    EXPECT_FALSE(isServable("/system%00/info"));
    EXPECT_FALSE(isServable("/system%00"));
    EXPECT_TRUE(isServable("/system%01"));
}

TEST_F(HabRequestEventServable, DoesNotNeedToBeParsed) {
    EXPECT_TRUE(isServable("/a|b"));
}

TEST_F(HabRequestEventDeathTest, AnEmptyPathStopsTheProcess) {
    onRequest = [](evhttp_request* req) {
        EXPECT_DEATH(HabRequestEvent{req}, "decodedUriLen > 0");
        evhttp_send_reply(req, 200, "OK", nullptr);
    };

    EXPECT_THAT(connect().exchange("GET ?a=1 HTTP/1.1\r\n\r\n"), StartsWith("HTTP/1.1 200"));
}

TEST_F(HabRequestEventMethod, IsOneOfFour) {
    EXPECT_EQ(methodOf("GET"), "GET 1");
    EXPECT_EQ(methodOf("PUT"), "PUT 2");
    EXPECT_EQ(methodOf("POST"), "POST 4");
    EXPECT_EQ(methodOf("DELETE"), "DELETE 8");
}

TEST_F(HabRequestEventMethod, IsEmptyForHead) {
    EXPECT_EQ(methodOf("HEAD"), " 0");
}

TEST_F(HabRequestEventPeer, IsTheOtherEndOfTheConnection) {
    std::string host;
    int port = 0;
    handle([&](HabRequestEvent& request) {
        host = request.getRemoteHost();
        port = request.getRemotePort();
    });
    RawHttpClient client = connect();

    client.exchange("GET / HTTP/1.1\r\n\r\n");

    EXPECT_EQ(host, "127.0.0.1");
    EXPECT_EQ(port, client.port());
}

TEST(HabRequestEventUnbound, FindsNothing) {
    HabRequestEvent request(nullptr);
    char buffer[4];
    char* body = nullptr;

    EXPECT_EQ(request.getRemoteHost(), nullptr);
    EXPECT_EQ(request.getRemotePort(), -1);
    EXPECT_EQ(request.getContentLength(), 0);
    EXPECT_EQ(request.getContentType(), 0);
    EXPECT_EQ(request.getResponseCode(), -1);
    EXPECT_EQ(request.getHeader("Accept"), nullptr);
    EXPECT_EQ(request.getRequestCookie("a"), nullptr);
    EXPECT_EQ(request.getResponseCookie("a"), nullptr);
    EXPECT_EQ(request.getRequestContent(buffer, sizeof(buffer)), 0U);
    EXPECT_EQ(request.getRequestContent(&body), 0U);
}

TEST(HabRequestEventUnbound, AnswersNobody) {
    HabRequestEvent request(nullptr);

    request.addHeader("X-Name", "value");
    request.setResponseCookie("a", "1", "/");
    request.replyAdd("body", 4);
    request.replyPrintf("%d", 1);
    request.reply(200, "text", nullptr);
    request.replyFinish();
    request.notFound("/");

    EXPECT_FALSE(request.isAnswered());
}

TEST_F(HabRequestEventBody, IsMovedInPieces) {
    std::string pieces;

    exchange(postText("abcde"), [&](HabRequestEvent& request) {
        char buffer[3];
        while (const size_t size = request.getRequestContent(buffer, sizeof(buffer))) {
            pieces += std::string(buffer, size) + "|";
        }
    });

    EXPECT_EQ(pieces, "abc|de|");
}

TEST_F(HabRequestEventBody, IsMovedAsAWhole) {
    const std::string body("a\0b", 3);
    std::string moved;
    size_t left = 1;

    exchange(postText(body), [&](HabRequestEvent& request) {
        char* buffer = nullptr;
        const size_t size = request.getRequestContent(&buffer);
        const Malloced<char> owned(buffer);
        moved.assign(buffer, size);
        left = request.getRequestContent(&buffer);
    });

    EXPECT_EQ(moved, body);
    EXPECT_EQ(left, 0U);
}

TEST_F(HabRequestEventBody, IsNotMovedToANullBuffer) {
    size_t moved = 1;
    size_t left = 0;

    exchange(postText("abc"), [&](HabRequestEvent& request) {
        char buffer[8];
        moved = request.getRequestContent(nullptr, 8);
        left = request.getRequestContent(buffer, sizeof(buffer));
    });

    EXPECT_EQ(moved, 0U);
    EXPECT_EQ(left, 3U);
}

TEST_F(HabRequestEventDeathTest, TheWholeBodyNeedsAPlaceForItsBlock) {
    HabRequestEvent request(nullptr);

    EXPECT_DEATH(request.getRequestContent(nullptr), "buffer != __null");
}

TEST_F(HabRequestEventBody, HasItsDeclaredLength) {
    int length = 0;

    exchange(postText("abc"), [&](HabRequestEvent& request) { length = request.getContentLength(); });

    EXPECT_EQ(length, 3);
}

TEST_F(HabRequestEventBody, HasNoLengthWhenNoneIsDeclared) {
    int length = -1;

    get([&](HabRequestEvent& request) { length = request.getContentLength(); });

    EXPECT_EQ(length, 0);
}

TEST_F(HabRequestEventBody, HasALengthInRangeWhateverIsDeclared) {
    EXPECT_EQ(lengthDeclaredAs("99999999999999999999"), 2147483647);
    EXPECT_EQ(lengthDeclaredAs("-5"), 0);
    EXPECT_EQ(lengthDeclaredAs("x"), 0);
}

TEST_F(HabRequestEventBody, IsReadAsJson) {
    int value = 0;

    exchange(postText("{\"a\":42}"), [&](HabRequestEvent& request) {
        const JsonPtr document(request.readJSONBody());
        value = cJSON_GetObjectItemCaseSensitive(document.get(), "a")->valueint;
    });

    EXPECT_EQ(value, 42);
}

TEST_F(HabRequestEventBody, IsNoJsonWhenItComesInChunks) {
    bool isNull = false;

    exchange("POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n2\r\n{}\r\n0\r\n\r\n",
             [&](HabRequestEvent& request) { isNull = JsonPtr(request.readJSONBody()) == nullptr; });

    EXPECT_TRUE(isNull);
}

TEST_F(HabRequestEventHeaders, AreFoundInAnyCase) {
    std::string value;
    bool hasOther = true;

    get("/", "X-Name: value\r\n", [&](HabRequestEvent& request) {
        value = request.getHeader("x-NAME");
        hasOther = request.getHeader("X-Other") != nullptr || request.getHeader(nullptr) != nullptr;
    });

    EXPECT_EQ(value, "value");
    EXPECT_FALSE(hasOther);
}

TEST_F(HabRequestEventHeaders, AreAddedToTheAnswerAndLogged) {
    const CapturedLog log;

    const std::string answer = get([](HabRequestEvent& request) { request.addHeader("X-Name", "value"); });

    EXPECT_THAT(answer, HasSubstr("\r\nX-Name: value\r\n"));
    EXPECT_TRUE(log.has("7 src/HabRequestEvent: addHeader - name: X-Name, value: value"));
}

TEST_F(HabRequestEventHeaders, TellWhatTheClientTakes) {
    EXPECT_EQ(acceptedTypeOf("Accept: application/json\r\n"), 1);
    EXPECT_EQ(acceptedTypeOf("Accept: text/html\r\n"), 2);
    EXPECT_EQ(acceptedTypeOf("Accept: */*\r\n"), 0);
    EXPECT_EQ(acceptedTypeOf(""), 0);
}

TEST_F(HabRequestEventHeaders, PreferHtmlWhenTheClientTakesBoth) {
    EXPECT_EQ(acceptedTypeOf("Accept: text/html, application/json\r\n"), 2);
    EXPECT_EQ(acceptedTypeOf("Accept: application/json, text/html\r\n"), 2);
}

TEST_F(HabRequestEventCookies, EndAtASemicolonOrTheEnd) {
    EXPECT_EQ(requestCookie("a=1; DRHABSESSID=abc; b=2", "DRHABSESSID"), "abc");
    EXPECT_EQ(requestCookie("DRHABSESSID=abc", "DRHABSESSID"), "abc");
    EXPECT_EQ(requestCookie("DRHABSESSID=", "DRHABSESSID"), "");
}

TEST_F(HabRequestEventCookies, AreFoundByTheEndOfALongerName) {
    EXPECT_EQ(requestCookie("XDRHABSESSID=1; DRHABSESSID=2", "DRHABSESSID"), "1");
}

TEST_F(HabRequestEventCookies, AreNullWhenNotFound) {
    EXPECT_EQ(requestCookie("a=1", "DRHABSESSID"), "(null)");
    EXPECT_EQ(requestCookie("DRHABSESSID", "DRHABSESSID"), "(null)");
    EXPECT_EQ(requestCookie("a=1", nullptr), "(null)");
}

TEST_F(HabRequestEventCookies, AreLookedUpByACutNameWhenItIsTooLong) {
    const std::string name(400, 'n');

    EXPECT_EQ(requestCookie(name + "=1", name.c_str()), std::string(145, 'n') + "=1");
}

TEST_F(HabRequestEventCookies, AreSetForTheWholeSite) {
    const CapturedLog log;

    const std::string answer =
        get([](HabRequestEvent& request) { request.setResponseCookie("DRHABSESSID", "abc", "/other"); });

    EXPECT_THAT(answer, HasSubstr("\r\nSet-Cookie: DRHABSESSID=abc; Path=/\r\n"));
    EXPECT_TRUE(log.has("7 src/HabRequestEvent: setCookie() : 'DRHABSESSID=abc; Path=/'"));
}

TEST_F(HabRequestEventCookies, AreNotSetWithoutNameOrValue) {
    const std::string answer = get([](HabRequestEvent& request) {
        request.setResponseCookie(nullptr, "abc", nullptr);
        request.setResponseCookie("DRHABSESSID", nullptr, nullptr);
    });

    EXPECT_THAT(answer, Not(HasSubstr("Set-Cookie")));
}

TEST_F(HabRequestEventCookies, OfTheAnswerAreFoundInItsFirstCookieHeaderOnly) {
    std::string first;
    bool hasSecond = true;

    get([&](HabRequestEvent& request) {
        request.setResponseCookie("a", "1", nullptr);
        request.setResponseCookie("b", "2", nullptr);
        first = request.getResponseCookie("a");
        hasSecond = request.getResponseCookie("b") != nullptr;
    });

    EXPECT_EQ(first, "1");
    EXPECT_FALSE(hasSecond);
}

TEST_F(HabRequestEventCookies, OfTheAnswerNeedAName) {
    const CapturedLog log;
    bool found = true;

    get([&](HabRequestEvent& request) {
        request.setResponseCookie("a", "1", nullptr);
        found = request.getResponseCookie("") != nullptr || request.getResponseCookie(nullptr) != nullptr;
    });

    EXPECT_FALSE(found);
    EXPECT_TRUE(log.has("7 src/HabRequestEvent: getResponseCookie() Missing name!"));
}
