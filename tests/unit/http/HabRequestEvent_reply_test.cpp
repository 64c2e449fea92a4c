// SPDX-License-Identifier: MIT

#include "src/http/HabRequestEvent.h"

#include <string>

#include <gmock/gmock.h>

#include "HabRequestEventFixture.h"

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

using HabRequestEventReply = HabRequestEventOverHttp;
using HabRequestEventErrorPage = HabRequestEventOverHttp;
using HabRequestEventFirstAnswer = HabRequestEventOverHttp;
using HabRequestEventHeldAnswer = HabRequestEventOverHttp;

}  // namespace

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
    EXPECT_THAT(second, StartsWith("HTTP/1.1 404 Not Found\r\n"));
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
