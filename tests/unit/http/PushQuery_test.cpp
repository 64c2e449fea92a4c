// SPDX-License-Identifier: MIT

#include "src/http/PushQuery.h"

#include <optional>

#include "HttpFixture.h"

namespace {

class PushQueryTest : public HttpFixture {
  protected:
    // Looks at the query of a request while it is being served.
    void Ask(const std::string& target, const std::function<void(const PushQuery&)>& look) {
        bool looked = false;
        onRequest = [&](evhttp_request* req) {
            look(PushQuery(req));
            looked = true;
            evhttp_send_reply(req, 200, "OK", nullptr);
        };
        connect().exchange("GET " + target + " HTTP/1.1\r\nHost: x\r\n\r\n");
        EXPECT_TRUE(looked);
    }
    unsigned long FromIdOf(const std::string& text) {
        unsigned long id = 99;
        Ask("/activity?channel=a&fromId=" + text, [&id](const PushQuery& query) { id = query.fromId(); });
        return id;
    }
};

}  // namespace

TEST_F(PushQueryTest, GivesThePartsOfTheAddress) {
    Ask("/activity?channel=a%20b&fromId=7", [](const PushQuery& query) {
        EXPECT_STREQ(query.path(), "/activity");
        EXPECT_STREQ(query.query(), "channel=a%20b&fromId=7");
        EXPECT_STREQ(query.channel(), "a b");
        EXPECT_STREQ(query.fromIdText(), "7");
        EXPECT_EQ(query.fromId(), 7U);
    });
}

TEST_F(PushQueryTest, TakesAnAbsentFromIdForZero) {
    Ask("/activity?channel=a", [](const PushQuery& query) {
        EXPECT_EQ(query.fromIdText(), nullptr);
        EXPECT_EQ(query.fromId(), 0U);
    });
}

TEST_F(PushQueryTest, HasNoQueryWithoutAQuestionMark) {
    Ask("/activity", [](const PushQuery& query) {
        EXPECT_EQ(query.query(), nullptr);
        EXPECT_EQ(query.channel(), nullptr);
    });
}

TEST_F(PushQueryTest, HasNoChannelInAQueryWithoutOne) {
    for (const char* target : {"/activity?", "/activity?fromId=1", "/activity?channel=", "/activity?channel",
                               "/activity?Channels=a", "/activity?=a&&&"}) {
        Ask(target, [target](const PushQuery& query) { EXPECT_EQ(query.channel(), nullptr) << target; });
    }
}

TEST_F(PushQueryTest, TakesRubbishInFromIdForZero) {
    EXPECT_EQ(FromIdOf("x"), 0U);
    EXPECT_EQ(FromIdOf(""), 0U);
}

TEST_F(PushQueryTest, TakesAnEndlessFromIdForTheLastNumber) {
    EXPECT_EQ(FromIdOf(std::string(400, '9')), ULONG_MAX);
}
