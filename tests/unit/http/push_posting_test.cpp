// SPDX-License-Identifier: MIT

#include "src/http/push_posting.h"

#include <cstring>
#include <ctime>
#include <regex>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "src/base/json_helpers.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/FakeHttpServer.h"
#include "tests/support/WebConfiguration.h"

using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;

namespace {

// A server that doHTTPPost() posts to.
class DoHttpPost : public testing::Test {
  protected:
    int Post(const std::string& path, const std::string& body) {
        return doHTTPPost("127.0.0.1", m_server.port(), path.c_str(), body.c_str());
    }

    // The only request that the server got.
    FakeHttpServer::Request Posted() {
        const std::vector<FakeHttpServer::Request> requests = m_server.requests();
        EXPECT_EQ(requests.size(), 1U);
        return requests.empty() ? FakeHttpServer::Request{} : requests[0];
    }

    CapturedLog m_log;
    FakeHttpServer m_server;
};

// A configuration whose server the posting functions post to.
class PushPosting : public DoHttpPost {
  protected:
    explicit PushPosting(const std::string& settings = "")
        : m_config(R"({"hab.http.port": )" + std::to_string(m_server.port()) + settings + "}") {}

    // The body of the only request; the time in it, if it has the form of one, reads TIME.
    std::string PostedBody() {
        static const std::regex kTime(
            R"re("[A-Z][a-z][a-z] [A-Z][a-z][a-z] [ 1-3][0-9] \d\d:\d\d:\d\d \d{4}\\n")re");
        return std::regex_replace(Posted().body, kTime, "TIME");
    }

    WebConfiguration m_config;
};

class PushPostingElsewhere : public PushPosting {
  protected:
    PushPostingElsewhere()
        : PushPosting(R"(, "hab.push.location": "push/here", "hab.push.channel.id": "abc")") {}
};

class PushPostingWithALongPath : public PushPosting {
  protected:
    PushPostingWithALongPath()
        : PushPosting(R"(, "hab.push.channel.id": ")" + std::string(400, 'c') + "\"") {}
};

std::string LastModified(std::time_t time) {
    const std::string text = std::asctime(std::localtime(&time));
    return "\r\nLast-Modified: " + text.substr(0, 24) + "\r\n";
}

// More than the buffers of both sockets take.
std::string EndlessBody() {
    return std::string(std::size_t{64} << 20, 'b');
}

// What the header holds besides path and length: template, host, time and digest.
constexpr std::size_t kFixedHeaderBytes = 120 + std::char_traits<char>::length("127.0.0.1") + 24 + 32;

}  // namespace

TEST_F(DoHttpPost, SendsHeaderThenBody) {
    EXPECT_EQ(Post("/publish?channel=c", R"({"a":1})"), 0);

    const FakeHttpServer::Request posted = Posted();
    EXPECT_THAT(posted.header, MatchesRegex("POST /publish\\?channel=c HTTP/1\\.1\r\n"
                                            "Host: 127\\.0\\.0\\.1\r\n"
                                            "Content-Length: 7\r\n"
                                            "Connection: close\r\n"
                                            "Last-Modified: [^\r\n]+\r\n"
                                            "Etag: [0-9a-f]+\r\n"
                                            "Content-Type: application/json\r\n\r\n"));
    EXPECT_EQ(posted.body, R"({"a":1})");
}

TEST_F(DoHttpPost, TakesTheDigestOfTheBodyForItsEtag) {
    Post("/", "{}");

    EXPECT_THAT(Posted().header, HasSubstr("\r\nEtag: 99914b932bd37a50b983c5e7c90ae93b\r\n"));
    EXPECT_TRUE(m_log.has("7 src/habhelper: generated Etag: 99914b932bd37a50b983c5e7c90ae93b"));
}

TEST_F(DoHttpPost, GivesTheLocalTimeWithoutItsNewlineAsLastModified) {
    const std::time_t before = std::time(nullptr);
    Post("/", "{}");
    const std::time_t after = std::time(nullptr);

    const std::string header = Posted().header;
    bool isFound = false;
    for (std::time_t t = before; t <= after; ++t) {
        isFound = isFound || header.find(LastModified(t)) != std::string::npos;
    }
    EXPECT_TRUE(isFound) << header;
    EXPECT_EQ(m_log.countOf("7 src/habhelper: Last-Modified: "), 1);
}

TEST_F(DoHttpPost, SendsAnEmptyBody) {
    EXPECT_EQ(Post("/", ""), 0);

    EXPECT_THAT(Posted().header, HasSubstr("\r\nContent-Length: 0\r\n"));
}

TEST_F(DoHttpPost, SucceedsWhateverTheStatusIs) {
    m_server.Answer("HTTP/1.1 503 Internal Server Error\r\n\r\n");

    EXPECT_EQ(Post("/", "{}"), 0);

    EXPECT_TRUE(m_log.has("7 src/habhelper: HTTP statuscode: 503"));
}

TEST_F(DoHttpPost, SucceedsWithAnAnswerThatIsNoHttp) {
    m_server.Answer(std::string("\0\xff%s%n 99999999999999999999", 27));

    EXPECT_EQ(Post("/", "{}"), 0);

    EXPECT_TRUE(m_log.has("7 src/habhelper: HTTP statuscode: 0"));
}

TEST_F(DoHttpPost, SucceedsWithoutAnAnswer) {
    m_server.Answer("");

    EXPECT_EQ(Post("/", "{}"), 0);

    EXPECT_TRUE(m_log.has("7 src/habhelper: HTTP statuscode: 0"));
}

TEST_F(DoHttpPost, ReadsNoMoreThanTheBeginningOfALongAnswer) {
    m_server.Answer("HTTP/1.1 200 " + std::string(100000, 'k'));

    EXPECT_EQ(Post("/", "{}"), 0);

    EXPECT_TRUE(m_log.has("7 src/habhelper: HTTP statuscode: 200"));
}

TEST_F(DoHttpPost, SendsTheLongestHeaderThatFits) {
    const std::string path(299 - kFixedHeaderBytes - std::strlen("2"), 'p');

    EXPECT_EQ(Post(path, "{}"), 0);

    EXPECT_EQ(Posted().header.size(), 299U);
    EXPECT_THAT(Posted().header, StartsWith("POST " + path + " HTTP/1.1\r\n"));
}

TEST_F(DoHttpPost, SendsNothingWhenTheHeaderDoesNotFit) {
    const std::string path(300 - kFixedHeaderBytes - std::strlen("2"), 'p');

    EXPECT_EQ(Post(path, "{}"), -1);

    EXPECT_TRUE(m_log.has("3 src/habhelper: Header of 300 bytes does not fit, not posting to " + path));
    EXPECT_EQ(Post("/", "{}"), 0);  // connections come one after the other: the first has left no trace
    EXPECT_THAT(Posted().header, StartsWith("POST / "));
}

TEST_F(DoHttpPost, SendsNothingToAPathOfTwoLines) {
    EXPECT_EQ(Post("/publish?channel=a HTTP/1.1\r\nX: b", "{}"), -1);
    EXPECT_EQ(Post("/publish\nchannel", "{}"), -1);

    EXPECT_EQ(Post("/", "{}"), 0);
    EXPECT_THAT(Posted().header, StartsWith("POST / "));
}

TEST_F(DoHttpPost, FailsWhenNobodyListens) {
    const UnusedPort port;

    EXPECT_EQ(doHTTPPost("127.0.0.1", port.number(), "/", "{}"), -1);

    EXPECT_EQ(m_log.countOf("3 src/habhelper: No connection to 127.0.0.1:" + std::to_string(port.number())),
              1);
}

TEST_F(DoHttpPost, FailsForAHostThatIsNoAddress) {
    EXPECT_EQ(doHTTPPost("localhost", m_server.port(), "/", "{}"), -1);

    EXPECT_EQ(m_log.countOf("3 src/habhelper: No address to post to: localhost:"), 1);
}

TEST_F(DoHttpPost, FailsForANumberThatIsNoPort) {
    EXPECT_EQ(doHTTPPost("127.0.0.1", -1, "/", "{}"), -1);
    EXPECT_EQ(doHTTPPost("127.0.0.1", 0, "/", "{}"), -1);
    EXPECT_EQ(doHTTPPost("127.0.0.1", 65536 + m_server.port(), "/", "{}"), -1);

    EXPECT_THAT(m_server.requests(), IsEmpty());
}

TEST(DoHttpPostToADyingServer, FailsWhenTheServerGoesDuringTheBody) {
    const CapturedLog log;
    FakeHttpServer server(FakeHttpServer::Reading::kOnlyTheHeader);

    EXPECT_EQ(doHTTPPost("127.0.0.1", server.port(), "/", EndlessBody().c_str()), -1);

    EXPECT_EQ(log.countOf("3 src/habhelper: Sent "), 1);
}

// Sending to a connection that is closed already raises SIGPIPE, unless that is asked not to be.
TEST(DoHttpPostToADyingServer, FailsWhenTheServerHasGoneBeforeTheHeader) {
    const CapturedLog log;
    FakeHttpServer server(FakeHttpServer::Reading::kNothing);

    EXPECT_EQ(doHTTPPost("127.0.0.1", server.port(), "/", EndlessBody().c_str()), -1);

    EXPECT_EQ(log.countOf("3 src/habhelper: Sent "), 1);
}

TEST_F(PushPosting, PostsToTheDefaultLocationAndChannel) {
    publishUpdate("key", "value");

    EXPECT_THAT(Posted().header, StartsWith("POST /publish?channel=fedefe HTTP/1.1\r\n"));
}

TEST_F(PushPostingElsewhere, PostsToTheConfiguredLocationAndChannel) {
    publishUpdate("key", "value");

    EXPECT_THAT(Posted().header, StartsWith("POST /push/here?channel=abc HTTP/1.1\r\n"));
}

TEST_F(PushPostingWithALongPath, PostsNothing) {
    publish("key", cJSON_CreateTrue());

    EXPECT_THAT(m_server.requests(), IsEmpty());
    EXPECT_EQ(m_log.countOf("3 src/habhelper: Header of "), 1);
}

TEST_F(PushPosting, SetValuePostsATextWithTheTime) {
    char value[] = "on \"air\"";

    setValue("state", value);

    EXPECT_EQ(PostedBody(), R"({"settings-update":{"system.time":TIME,"state":"on \"air\""}})");
}

TEST_F(PushPosting, SetValuePostsAJsonValueWithTheTime) {
    setValue("levels", json_parse("[1,2]").release());

    EXPECT_EQ(PostedBody(), R"({"settings-update":{"system.time":TIME,"levels":[1,2]}})");
}

TEST_F(PushPosting, SetValuePostsNothingWithoutAValue) {
    setValue("state", static_cast<char*>(nullptr));
    setValue("state", static_cast<cJSON*>(nullptr));

    EXPECT_THAT(m_server.requests(), IsEmpty());
}

TEST_F(PushPosting, PublishUpdatePostsAText) {
    publishUpdate("state", "idle");

    EXPECT_EQ(PostedBody(), R"({"state":"idle"})");
}

TEST_F(PushPosting, PublishUpdatePostsNothingWithoutAValue) {
    publishUpdate("state", nullptr);

    EXPECT_THAT(m_server.requests(), IsEmpty());
}

TEST_F(PushPosting, PublishPostsAJsonValue) {
    publish("state", json_parse(R"({"a":null})").release());

    EXPECT_EQ(PostedBody(), R"({"state":{"a":null}})");
}

TEST_F(PushPosting, ShowFlashMessagePostsMessageAndType) {
    showFlashMessage("unused", "warning", "Hot");

    EXPECT_EQ(PostedBody(), R"({"flash-message":{"message":"Hot","type":"warning"}})");
}

TEST_F(PushPosting, ShowFlashMessageHasATypeOfItsOwn) {
    showFlashMessage(nullptr, nullptr, "Hot");

    EXPECT_EQ(PostedBody(), R"({"flash-message":{"message":"Hot","type":"message"}})");
}

TEST_F(PushPosting, ShowFlashMessagePostsNothingWithoutAMessage) {
    showFlashMessage("unused", "warning", nullptr);

    EXPECT_THAT(m_server.requests(), IsEmpty());
}

TEST_F(PushPosting, NavigationNotificationPostsWhatItIsGiven) {
    navigationNotification("unused", "reboot", "Wait", "/end", "/temp", 30);

    EXPECT_EQ(PostedBody(), R"({"notification":{"message":"Wait","type":"reboot","waitPeriod":30,)"
                            R"("tempPage":"/temp","endPage":"/end"}})");
}

TEST_F(PushPosting, NavigationNotificationLeavesOutWhatItIsNotGiven) {
    navigationNotification(nullptr, nullptr, "Wait", nullptr, nullptr, 0);

    EXPECT_EQ(PostedBody(), R"({"notification":{"message":"Wait","type":"notification"}})");
}

TEST_F(PushPosting, NavigationNotificationHasNoNegativePeriod) {
    navigationNotification(nullptr, nullptr, "Wait", "/end", nullptr, -5);

    EXPECT_EQ(PostedBody(), R"({"notification":{"message":"Wait","type":"notification","endPage":"/end"}})");
}

TEST_F(PushPosting, NavigationNotificationPostsNothingWithoutAMessage) {
    navigationNotification("unused", "reboot", nullptr, "/end", "/temp", 30);

    EXPECT_THAT(m_server.requests(), IsEmpty());
}

TEST(PushLocalTimeText, EndsWithANewline) {
    EXPECT_THAT(push_local_time_text(), MatchesRegex("[A-Z][a-z]+ [A-Z][a-z]+ [ 1-3][0-9] [0-9:]+ [0-9]+\n"));
}
