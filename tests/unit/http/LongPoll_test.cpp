// SPDX-License-Identifier: MIT

#include "src/http/LongPoll.h"

#include <netinet/tcp.h>

#include <cstring>
#include <filesystem>
#include <memory>

#include <event2/buffer.h>
#include <event2/bufferevent.h>
#include <event2/bufferevent_struct.h>

#include "HttpFixture.h"
#include "src/http/evhttp_hooks.h"

namespace {

long OpenDescriptors() {
    const std::filesystem::directory_iterator entries("/proc/self/fd");
    return std::distance(begin(entries), end(entries));
}

// Every request waits until it is answered by hand or its client leaves.
class LongPollTest : public HttpFixture {
  protected:
    LongPollTest() {
        // The server of the daemon is one with these hooks.
        evhttp_hooks_set_gone_cb(
            m_http.get(), [](evhttp_request*, void*) {}, nullptr);
        evhttp_set_timeout(m_http.get(), 60);
        onRequest = [this](evhttp_request* req) {
            m_waiting = req;
            m_poll = std::make_unique<LongPoll>(req, onClosed, this);
        };
    }
    ~LongPollTest() override { evhttp_hooks_free(m_http.release()); }

    static void onClosed(evhttp_connection* conn, void* arg) {
        auto* self = static_cast<LongPollTest*>(arg);
        EXPECT_EQ(conn, self->m_poll->connection());
        self->m_poll.reset();
        if (evhttp_request_get_connection(self->m_waiting) == nullptr) {
            evhttp_request_free(self->m_waiting);
        }
        self->m_waiting = nullptr;
        ++self->m_closed;
    }

    bool Waits() {
        return pump_until(m_base.get(), [this] { return m_poll != nullptr; });
    }
    bool SeesClient(int leave) {
        return pump_until(m_base.get(), [this, leave] { return m_closed == leave; });
    }
    std::size_t WaitingInput() { return evbuffer_get_length(bufferevent_get_input(Stream())); }
    bufferevent* Stream() { return evhttp_connection_get_bufferevent(m_poll->connection()); }

    void Answer(const char* text) {
        m_poll->resume();
        m_poll.reset();
        const BufferPtr body(evbuffer_new());
        evbuffer_add(body.get(), text, std::strlen(text));
        evhttp_send_reply(m_waiting, 200, "OK", body.get());
        m_waiting = nullptr;
    }

    // How often the loop wakes up while nothing happens.
    int WakeUps() {
        bool over = false;
        const timeval pause{0, 100000};
        event_base_once(
            m_base.get(), -1, EV_TIMEOUT,
            [](evutil_socket_t, short, void* flag) { *static_cast<bool*>(flag) = true; }, &over, &pause);
        int wakeUps = 0;
        while (!over) {
            event_base_loop(m_base.get(), EVLOOP_ONCE);
            ++wakeUps;
        }
        return wakeUps;
    }

    std::unique_ptr<LongPoll> m_poll;
    evhttp_request* m_waiting = nullptr;
    int m_closed = 0;
};

constexpr const char* kGet = "GET / HTTP/1.1\r\nHost: x\r\n\r\n";

}  // namespace

TEST_F(LongPollTest, NoticesThatTheClientClosesItsConnection) {
    const long before = OpenDescriptors();
    RawHttpClient client = connect();
    client.send(kGet);
    ASSERT_TRUE(Waits());

    client.close();

    EXPECT_TRUE(SeesClient(1));
    WakeUps();
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(LongPollTest, NoticesThatTheClientResetsItsConnection) {
    const long before = OpenDescriptors();
    RawHttpClient client = connect();
    client.send(kGet);
    ASSERT_TRUE(Waits());

    client.reset();

    EXPECT_TRUE(SeesClient(1));
    WakeUps();
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(LongPollTest, NoticesThatTheClientEndsItsSideOfTheConnection) {
    RawHttpClient client = connect();
    client.send(kGet);
    ASSERT_TRUE(Waits());

    client.endSending();

    EXPECT_TRUE(SeesClient(1));
    EXPECT_TRUE(client.isClosedByServer());
}

TEST_F(LongPollTest, NoticesThatAClientWithFurtherBytesLeaves) {
    RawHttpClient client = connect();
    client.send(kGet);
    ASSERT_TRUE(Waits());
    client.send("x");
    ASSERT_TRUE(pump_until(m_base.get(), [this] { return WaitingInput() == 1; }));

    client.close();

    EXPECT_TRUE(SeesClient(1));
}

TEST_F(LongPollTest, TakesAClientThatSendsWithoutEndForOneThatLeft) {
    RawHttpClient client = connect();
    client.send(kGet);
    ASSERT_TRUE(Waits());

    client.send(std::string(4L * 1024 * 1024, 'x'));

    EXPECT_TRUE(SeesClient(1));
    EXPECT_TRUE(client.isClosedByServer());
}

TEST_F(LongPollTest, NoticesAFloodThatBeganBeforeTheWait) {
    RawHttpClient client = connect();

    client.send(kGet + std::string(4L * 1024 * 1024, 'x'));

    EXPECT_TRUE(SeesClient(1));
}

TEST_F(LongPollTest, ClosesOnceForAFloodAndAClose) {
    RawHttpClient client = connect();
    client.send(kGet);
    ASSERT_TRUE(Waits());

    client.send(std::string(4L * 1024 * 1024, 'x'));
    client.reset();

    EXPECT_TRUE(SeesClient(1));
    WakeUps();
    EXPECT_EQ(m_closed, 1);
}

TEST_F(LongPollTest, LetsTheLoopSleepWhileAClientWaits) {
    RawHttpClient client = connect();
    client.send(kGet);
    ASSERT_TRUE(Waits());
    client.send("x");
    ASSERT_TRUE(pump_until(m_base.get(), [this] { return WaitingInput() == 1; }));

    EXPECT_LE(WakeUps(), 2);
}

TEST_F(LongPollTest, LetsTheLoopSleepAfterAClientHasLeft) {
    RawHttpClient client = connect();
    client.send(kGet);
    ASSERT_TRUE(Waits());
    client.reset();
    ASSERT_TRUE(SeesClient(1));

    EXPECT_LE(WakeUps(), 3);
}

TEST_F(LongPollTest, HasNoTimeLimit) {
    evhttp_set_timeout(m_http.get(), 1);
    RawHttpClient client = connect();
    client.send(kGet);
    ASSERT_TRUE(Waits());

    EXPECT_FALSE(timerisset(&Stream()->timeout_read));
}

TEST_F(LongPollTest, HasTheKernelProbeAQuietClient) {
    RawHttpClient client = connect();
    client.send(kGet);
    ASSERT_TRUE(Waits());
    int probes = 0;
    socklen_t size = sizeof probes;

    getsockopt(bufferevent_getfd(Stream()), SOL_SOCKET, SO_KEEPALIVE, &probes, &size);

    EXPECT_EQ(probes, 1);
}

TEST_F(LongPollTest, LeavesTheTimeLimitOfTheAnswer) {
    RawHttpClient client = connect();
    client.send(kGet);
    ASSERT_TRUE(Waits());

    m_poll->resume();

    EXPECT_EQ(Stream()->timeout_write.tv_sec, 60);
}

TEST_F(LongPollTest, AnswersTheRequestAndServesTheConnectionOn) {
    RawHttpClient client = connect();
    client.send(kGet);
    ASSERT_TRUE(Waits());
    Answer("first");
    EXPECT_NE(client.receive().find("first"), std::string::npos);

    client.send(kGet);
    ASSERT_TRUE(Waits());
    Answer("second");

    EXPECT_NE(client.receive().find("second"), std::string::npos);
}

TEST_F(LongPollTest, ServesAPipelinedRequestAfterTheAnswer) {
    RawHttpClient client = connect();
    client.send(std::string(kGet) + kGet);
    ASSERT_TRUE(Waits());
    client.send("GET /third HTTP/1.1\r\nHost: x\r\n\r\n");
    for (const char* text : {"first", "second", "third"}) {
        ASSERT_TRUE(Waits());
        Answer(text);
        EXPECT_NE(client.receive().find(text), std::string::npos);
    }
}

TEST_F(LongPollTest, IsSilentWhenTheClientLeavesAfterItsAnswer) {
    RawHttpClient client = connect();
    client.send(kGet);
    ASSERT_TRUE(Waits());
    Answer("x");
    client.receive();

    client.close();
    WakeUps();

    EXPECT_EQ(m_closed, 0);
}

TEST_F(LongPollTest, AnswersAClientThatHasJustLeft) {
    RawHttpClient client = connect();
    client.send(kGet);
    ASSERT_TRUE(Waits());
    client.reset();

    Answer("x");
    WakeUps();

    EXPECT_EQ(m_closed, 0);
}

TEST_F(LongPollTest, EndsWithItsServer) {
    RawHttpClient client = connect();
    client.send(kGet);
    ASSERT_TRUE(Waits());

    evhttp_hooks_free(m_http.release());

    EXPECT_EQ(m_closed, 1);
}
