// SPDX-License-Identifier: MIT

#include <sys/eventfd.h>

#include <string>
#include <vector>

#include "FakeBus.h"
#include "cbus/cbus.h"

namespace {

std::vector<std::string> g_names;

int Record(_cbus_conn_t*, const char* name, const void*, uint32_t) {
    g_names.emplace_back(name);
    return 0;
}

// Asks another client before it answers; the bus has put the reply to that (sequence number 0) behind the request.
int AnswerAfterAsking(_cbus_conn_t* connection, const char*, const void*, uint32_t) {
    const int cookie = cbus_send_request(connection, "nested", nullptr, 0);
    void* data = nullptr;
    const int length = cbus_get_reply(connection, cookie, &data);
    const MallocedText reply(static_cast<char*>(data));
    return cbus_send_reply(connection, reply.get(), static_cast<uint32_t>(length));
}

class BusReply : public FakeBus {
  protected:
    BusReply() {
        g_names.clear();
        cbus_conn_set_rx_cb(connection(), Record, Record, Record);
    }

    // A watch, once: asks the bus, which has answered already.
    static int WaitForAReply(int fd, void* self, void*) {
        auto* test = static_cast<BusReply*>(self);
        fdloop_fd_unregister(test->m_loop.get(), fd);
        test->Ask("");
        return 0;
    }

    // Asks the bus, which sends `bytes` back, and waits for the reply.
    int Ask(const std::string& bytes) {
        const int cookie = cbus_send_request(connection(), "ask", nullptr, 0);
        m_bus.Send(bytes);
        void* data = nullptr;
        const int length = cbus_get_reply(connection(), cookie, &data);
        m_data.reset(static_cast<char*>(data));
        return length;
    }
    std::string Reply(int seqn, const std::string& data) { return Bytes({3, 0, seqn, 0, "ask", data}); }

    MallocedText m_data;
};

using Strings = std::vector<std::string>;

}  // namespace

TEST_F(BusReply, HandsOverTheData) {
    ASSERT_EQ(Ask(Reply(0, "answer")), 6);

    EXPECT_EQ(std::string(m_data.get(), 6), "answer");
}

TEST_F(BusReply, ZerosFollowTheData) {
    ASSERT_EQ(Ask(Reply(0, "full")), 4);

    EXPECT_STREQ(m_data.get(), "full");
}

TEST_F(BusReply, AnEmptyReplyHasLengthZeroAndABuffer) {
    EXPECT_EQ(Ask(Reply(0, "")), 0);
    EXPECT_NE(m_data, nullptr);
}

TEST_F(BusReply, OtherMessagesWaitUntilTheLoopRuns) {
    Ask(Bytes({1, 0, 0, 0, "signal", ""}) + Bytes({2, 0, 0, 0, "request", ""}) + Reply(0, "x"));

    EXPECT_EQ(g_names, Strings{});
    EXPECT_EQ(connection()->pending_count, 2u);
}

TEST_F(BusReply, WaitingMessagesAreDispatchedInOrderBeforeTheSocketIsRead) {
    Ask(Bytes({1, 0, 0, 0, "signal", ""}) + Bytes({2, 0, 0, 0, "request", ""}) + Reply(0, "x") +
        Bytes({1, 0, 0, 0, "later", ""}));

    Turn();

    EXPECT_EQ(g_names, (Strings{"signal", "request", "later"}));
    EXPECT_EQ(connection()->pending_count, 0u);
}

TEST_F(BusReply, AReadEventWithMessagesWaitingDispatchesThemAndDoesNotRead) {
    // One pass finds both descriptors readable and serves first the one that was readable first.
    const UniqueFd other(eventfd(1, EFD_CLOEXEC));
    fdloop_fd_register(m_loop.get(), other.get(), WaitForAReply, this);
    m_bus.Send(Bytes({1, 0, 0, 0, "signal", ""}) + Bytes({2, 0, 0, 0, "request", ""}) + Reply(0, "x") +
               Bytes({1, 0, 0, 0, "later", ""}));

    Turn();

    ASSERT_EQ(g_names, (Strings{"signal", "request"}));
    Turn();
    EXPECT_EQ(g_names, (Strings{"signal", "request", "later"}));
}

TEST_F(BusReply, ALostBusEndsTheWaitAndClosesTheConnection) {
    const int cookie = cbus_send_request(connection(), "ask", nullptr, 0);
    m_bus.Hang();
    void* data = nullptr;

    EXPECT_EQ(cbus_get_reply(connection(), cookie, &data), -1);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(connection()->socket, -1);
}

TEST_F(BusReply, MessagesThatWaitedOutliveTheBus) {
    const int cookie = cbus_send_request(connection(), "ask", nullptr, 0);
    m_bus.Send(WireMessage{1, 0, 0, 0, "last words", ""});
    m_bus.Hang();
    void* data = nullptr;
    cbus_get_reply(connection(), cookie, &data);

    const ConnectionPtr other(cbus_conn_create(m_loop.get(), "CBUS_CONNECTION"));
    const BusPeer other_bus{UniqueFd(socket_create_server_client(m_listener.get()))};
    fdloop_timer_add(
        m_loop.get(), 0, [](void*, int, _fdloop_timer_t*) {}, nullptr);
    Turn();

    EXPECT_EQ(g_names, Strings{"last words"});
}

TEST_F(BusReply, TheCookieOfAFailedSendEndsTheWaitAtOnce) {
    void* data = nullptr;

    EXPECT_EQ(cbus_get_reply(connection(), -1, &data), -1);
}

TEST_F(BusReply, AnotherCookieIsFatal) {
    EXPECT_DEATH(Ask(Reply(9, "x")), "Cookie mismatch \\(0/9\\)");
}

TEST_F(BusReply, TheRequestBeingDispatchedIsStillAnsweredAfterANestedWait) {
    cbus_conn_set_rx_cb(connection(), Record, AnswerAfterAsking, Record);
    m_bus.Send(Bytes({2, 77, 4711, 12, "outer", "question"}) + Reply(0, "nested answer"));

    Turn();

    EXPECT_EQ(m_bus.Receive().name, "nested");
    EXPECT_EQ(m_bus.Receive(), (WireMessage{3, 77, 4711, 12, "outer", "nested answer"}));
}

TEST_F(BusReply, AMessageThatWaitedMayWaitForAReplyItself) {
    Ask(Bytes({2, 77, 4711, 12, "outer", ""}) + Reply(0, "x") + Reply(1, "nested answer"));
    cbus_conn_set_rx_cb(connection(), Record, AnswerAfterAsking, Record);
    m_bus.Receive();
    m_bus.Send(WireMessage{1, 0, 0, 0, "wakes the loop", ""});

    Turn();

    EXPECT_EQ(m_bus.Receive().name, "nested");
    EXPECT_EQ(m_bus.Receive(), (WireMessage{3, 77, 4711, 12, "outer", "nested answer"}));
}

TEST_F(BusReply, ManyWaitingMessagesGoWithTheConnection) {
    std::string flood;
    for (int i = 0; i < 1000; ++i) {
        flood += Bytes({1, 0, 0, 0, "s", ""});
    }
    Ask(flood + Reply(0, "x"));

    m_connection.reset();

    EXPECT_EQ(g_names, Strings{});
}
