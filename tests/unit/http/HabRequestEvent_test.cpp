#include "src/http/HabRequestEvent.h"

#include <cstdlib>

#include <functional>
#include <string>
#include <utility>

#include <gmock/gmock.h>

#include "HttpFixture.h"
#include "tests/support/CapturedLog.h"

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

class HabRequestEventOverHttp : public HttpFixture {
  protected:
    using Handler = std::function<void(HabRequestEvent&)>;

    // What the client gets when the handler works on its request; the request is answered in any case.
    std::string exchange(const std::string& request, const Handler& handler) {
        handle(handler);
        return connect().exchange(request);
    }
    std::string get(const std::string& target, const std::string& headers, const Handler& handler) {
        return exchange("GET " + target + " HTTP/1.1\r\n" + headers + "\r\n", handler);
    }
    std::string get(const Handler& handler) { return get("/", "", handler); }
    static std::string postText(const std::string& body) {
        return "POST / HTTP/1.1\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
    }

    void handle(const Handler& handler) {
        onRequest = [handler](evhttp_request* req) {
            HabRequestEvent request(req);
            handler(request);
            request.replyFinish();
        };
    }

    // Whether the server may make a request object for the target.
    bool isServable(const std::string& target) {
        bool servable = false;
        onRequest = [&](evhttp_request* req) {
            servable = HabRequestEvent::isServable(req);
            evhttp_send_reply(req, 200, "OK", nullptr);
        };
        connect().exchange("GET " + target + " HTTP/1.1\r\n\r\n");
        return servable;
    }

    std::string uriOf(const std::string& target) {
        std::string uri;
        get(target, "", [&](HabRequestEvent& request) { uri = request.getURI(); });
        return uri;
    }

    std::string methodOf(const std::string& name) {
        std::string seen;
        exchange(name + " / HTTP/1.1\r\n\r\n", [&](HabRequestEvent& request) {
            seen = std::string(request.getMethod()) + " " + std::to_string(request.getHttpMethod());
        });
        return seen;
    }

    int acceptedTypeOf(const std::string& headers) {
        int type = -1;
        get("/", headers, [&](HabRequestEvent& request) { type = request.getContentType(); });
        return type;
    }

    // The library refuses such lengths itself, so the header is put in its place afterwards.
    int lengthDeclaredAs(const char* text) {
        int length = -1;
        onRequest = [&](evhttp_request* req) {
            evhttp_add_header(evhttp_request_get_input_headers(req), "Content-Length", text);
            HabRequestEvent request(req);
            length = request.getContentLength();
            request.replyFinish();
        };
        connect().exchange("GET / HTTP/1.1\r\n\r\n");
        return length;
    }

    std::string requestCookie(const std::string& header, const char* name) {
        std::string value;
        get("/", "Cookie: " + header + "\r\n", [&](HabRequestEvent& request) {
            const char* found = request.getRequestCookie(name);
            value = found == nullptr ? "(null)" : found;
        });
        return value;
    }
};

using HabRequestEventUri = HabRequestEventOverHttp;
using HabRequestEventMethod = HabRequestEventOverHttp;
using HabRequestEventPeer = HabRequestEventOverHttp;
using HabRequestEventBody = HabRequestEventOverHttp;
using HabRequestEventHeaders = HabRequestEventOverHttp;
using HabRequestEventCookies = HabRequestEventOverHttp;
using HabRequestEventReply = HabRequestEventOverHttp;
using HabRequestEventErrorPage = HabRequestEventOverHttp;
using HabRequestEventFirstAnswer = HabRequestEventOverHttp;
using HabRequestEventHeldAnswer = HabRequestEventOverHttp;
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

TEST_F(HabRequestEventReply, SendsATextAsJsonBody) {
    const std::string answer = get([](HabRequestEvent& request) { request.reply(201, "{\"a\":1}", "/x/1"); });

    EXPECT_THAT(answer, StartsWith("HTTP/1.1 201 Created\r\n"));
    EXPECT_THAT(answer, HasSubstr("\r\nContent-Type: application/json\r\n"));
    EXPECT_THAT(answer, EndsWith("\r\n\r\n{\"a\":1}"));
}

TEST_F(HabRequestEventReply, TakesATextAsReasonWhenThereIsABody) {
    const std::string answer = get([](HabRequestEvent& request) {
        request.replyPrintf("<p>%d</p>", 7);
        request.reply(400, "Bad value\r\nX: y", nullptr);
    });

    EXPECT_THAT(answer, StartsWith("HTTP/1.1 400 Bad valueX: y\r\n"));
    EXPECT_THAT(answer, EndsWith("\r\n\r\n<p>7</p>"));
}

TEST_F(HabRequestEventReply, NeedsNeitherTextNorBody) {
    const std::string answer = get([](HabRequestEvent& request) { request.reply(404, nullptr, nullptr); });

    EXPECT_THAT(answer, StartsWith("HTTP/1.1 404 Not Found\r\n"));
    EXPECT_THAT(answer, HasSubstr("\r\nContent-Length: 0\r\n"));
    EXPECT_THAT(answer, Not(HasSubstr("application/json")));
}

TEST_F(HabRequestEventReply, KeepsAContentTypeThatWasAddedBefore) {
    const std::string answer = get([](HabRequestEvent& request) {
        request.addHeader("Content-Type", "text/plain");
        request.reply(200, "text", nullptr);
    });

    EXPECT_THAT(answer, HasSubstr("\r\nContent-Type: text/plain\r\n"));
    EXPECT_THAT(answer, Not(HasSubstr("application/json")));
}

TEST_F(HabRequestEventReply, FinishesWithWhatWasAdded) {
    const std::string answer = get([](HabRequestEvent& request) {
        request.replyAdd("a\0b", 3);
        request.replyFinish();
    });

    EXPECT_THAT(answer, StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(answer, EndsWith(std::string("\r\n\r\na\0b", 7)));
}

TEST_F(HabRequestEventReply, FinishesWithCodeAndReason) {
    const std::string answer = get([](HabRequestEvent& request) { request.replyFinish(503, "Busy"); });

    EXPECT_THAT(answer, StartsWith("HTTP/1.1 503 Busy\r\n"));
}

TEST_F(HabRequestEventReply, FinishesWithADashForACodeWithoutReason) {
    const std::string answer =
        get([](HabRequestEvent& request) { request.replyFinish(static_cast<StatusCode::Value>(418)); });

    EXPECT_THAT(answer, StartsWith("HTTP/1.1 418 -\r\n"));
}

TEST_F(HabRequestEventReply, TellsItsCodeOnceGiven) {
    int before = -1;
    int after = -1;

    get([&](HabRequestEvent& request) {
        before = request.getResponseCode();
        request.reply(409, nullptr, nullptr);
        after = request.getResponseCode();
    });

    EXPECT_EQ(before, 0);
    EXPECT_EQ(after, 409);
}

TEST_F(HabRequestEventErrorPage, HasStatusAndReason) {
    EXPECT_THAT(
        get([](HabRequestEvent& request) { request.notFound("/x"); }),
        EndsWith("<TITLE>404 Not Found</TITLE>\n</HEAD><BODY>\n<H1>Not Found</H1>\n</BODY></HTML>\n"));
    EXPECT_THAT(get([](HabRequestEvent& request) { request.unauthorized("/x"); }),
                StartsWith("HTTP/1.1 401 Unauthorized\r\n"));
    EXPECT_THAT(get([](HabRequestEvent& request) { request.internalError(); }),
                StartsWith("HTTP/1.1 500 Internal Server Error\r\n"));
}

TEST_F(HabRequestEventErrorPage, DiscardsWhatWasAdded) {
    const std::string answer = get([](HabRequestEvent& request) {
        request.replyPrintf("half an answer");
        request.internalError();
    });

    EXPECT_THAT(answer, Not(HasSubstr("half an answer")));
}

TEST_F(HabRequestEventErrorPage, KeepsCookiesAndHeaders) {
    const std::string answer = get([](HabRequestEvent& request) {
        request.setResponseCookie("DRHABSESSID", "abc", "/");
        request.unauthorized("/x");
    });

    EXPECT_THAT(answer, HasSubstr("\r\nSet-Cookie: DRHABSESSID=abc; Path=/\r\n"));
}

TEST_F(HabRequestEventErrorPage, LeavesTheConnectionOpenForTheNextRequest) {
    handle([](HabRequestEvent& request) { request.notFound("/x"); });
    RawHttpClient client = connect();

    const std::string first = client.exchange(postText("[1]"));
    const std::string second = client.exchange(postText("[1]"));

    EXPECT_THAT(first, StartsWith("HTTP/1.1 404 Not Found\r\n"));
    EXPECT_EQ(second, first);
}

TEST_F(HabRequestEventFirstAnswer, IsTheOnlyOneSent) {
    handle([](HabRequestEvent& request) {
        request.unauthorized("/x");
        request.notFound("/x");
        request.replyPrintf("more");
        request.reply(200, "text", nullptr);
        request.replyFinish();
    });
    RawHttpClient client = connect();

    const std::string answer = client.exchange("GET / HTTP/1.1\r\n\r\n");

    EXPECT_THAT(answer, StartsWith("HTTP/1.1 401 Unauthorized\r\n"));
    EXPECT_EQ(client.pending(), "");
}

TEST_F(HabRequestEventFirstAnswer, LeavesTheObjectUsable) {
    bool isAnswered = false;
    bool hasHeader = true;

    get("/", "X-Name: value\r\n", [&](HabRequestEvent& request) {
        request.replyFinish();
        isAnswered = request.isAnswered();
        hasHeader = request.getHeader("X-Name") != nullptr || request.getRemoteHost() != nullptr;
        request.addHeader("X-Late", "1");
    });

    EXPECT_TRUE(isAnswered);
    EXPECT_FALSE(hasHeader);
}

TEST_F(HabRequestEventFirstAnswer, MayComeWhenTheClientIsGone) {
    HabRequestEvent waiting(requestOfGoneClient());

    EXPECT_EQ(waiting.getRemoteHost(), nullptr);
    EXPECT_EQ(waiting.getRemotePort(), -1);
    waiting.notFound("/");
    waiting.notFound("/");

    EXPECT_EQ(waiting.getResponseCode(), 404);
}

TEST_F(HabRequestEventHeldAnswer, IsNotSentBeforeItIsReleased) {
    std::unique_ptr<HabRequestEvent> held;
    onRequest = [&](evhttp_request* req) {
        held = std::make_unique<HabRequestEvent>(req);
        held->holdAnswers();
        held->unauthorized("/");
    };
    RawHttpClient client = connect();

    client.send("GET / HTTP/1.1\r\n\r\n");
    ASSERT_TRUE(pump_until(m_base.get(), [&] { return held != nullptr; }));

    EXPECT_EQ(client.pending(), "");
    EXPECT_TRUE(held->isAnswered());
    EXPECT_EQ(held->getResponseCode(), 401);
    EXPECT_TRUE(held->releaseAnswer());
    EXPECT_THAT(client.receive(), StartsWith("HTTP/1.1 401 Unauthorized\r\n"));
}

TEST_F(HabRequestEventHeldAnswer, WinsOverLaterOnes) {
    const std::string answer = get([](HabRequestEvent& request) {
        request.holdAnswers();
        request.reply(201, "first", nullptr);
        request.replyAdd("second", 6);
        request.notFound("/");
        request.releaseAnswer();
    });

    EXPECT_THAT(answer, StartsWith("HTTP/1.1 201 Created\r\n"));
    EXPECT_THAT(answer, EndsWith("\r\n\r\nfirst"));
}

TEST_F(HabRequestEventHeldAnswer, TakesHeadersUntilItIsReleased) {
    const std::string answer = get([](HabRequestEvent& request) {
        request.holdAnswers();
        request.notFound("/");
        request.addHeader("X-Server-instance", "0x1");
        request.releaseAnswer();
    });

    EXPECT_THAT(answer, HasSubstr("\r\nX-Server-instance: 0x1\r\n"));
}

TEST_F(HabRequestEventHeldAnswer, IsNotThereWhenNoneWasGiven) {
    bool released = true;

    const std::string answer = get([&](HabRequestEvent& request) {
        request.holdAnswers();
        released = request.releaseAnswer();
        request.reply(202, nullptr, nullptr);
    });

    EXPECT_FALSE(released);
    EXPECT_THAT(answer, StartsWith("HTTP/1.1 202 Accepted\r\n"));
}

TEST_F(HabRequestEventHeldAnswer, IsReleasedOnce) {
    bool second = true;

    get([&](HabRequestEvent& request) {
        request.holdAnswers();
        request.notFound("/");
        request.releaseAnswer();
        second = request.releaseAnswer();
    });

    EXPECT_FALSE(second);
}
