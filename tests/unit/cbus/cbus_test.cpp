// SPDX-License-Identifier: MIT

#include "cbus/cbus.h"

#include <fcntl.h>

#include <string>
#include <vector>

#include "FakeBus.h"
#include "tests/support/FakeSyslog.h"

namespace {

// What the receive callbacks were called with, in order, and what the request callback does besides.
std::vector<std::string> g_calls;
void (*g_on_request)(_cbus_conn_t*) = nullptr;

void Record(const char* kind, const char* name, const void* data, uint32_t length) {
    g_calls.push_back(std::string(kind) + " " + name + " " +
                      std::string(static_cast<const char*>(data), length));
}

int OnSignal(_cbus_conn_t*, const char* name, const void* data, uint32_t length) {
    Record("signal", name, data, length);
    return 0;
}

int OnRequest(_cbus_conn_t* connection, const char* name, const void* data, uint32_t length) {
    Record("request", name, data, length);
    if (g_on_request != nullptr) {
        g_on_request(connection);
    }
    return 0;
}

int OnReply(_cbus_conn_t*, const char* name, const void* data, uint32_t length) {
    Record("reply", name, data, length);
    return 0;
}

class BusConnection : public FakeBus {
  protected:
    BusConnection() {
        g_calls.clear();
        g_on_request = nullptr;
        cbus_conn_set_rx_cb(connection(), OnSignal, OnRequest, OnReply);
    }

    // Has the client handle a request in which it does `action`.
    void HandleRequest(const WireMessage& request, void (*action)(_cbus_conn_t*)) {
        g_on_request = action;
        m_bus.Send(request);
        Turn();
    }
};

cbus_sender_ctx_t* g_context = nullptr;
void KeepSender(_cbus_conn_t* connection) {
    g_context = cbus_store_sender_ctx(connection);
}
void ReplyDone(_cbus_conn_t* connection) {
    cbus_send_reply(connection, "done", 4);
}

constexpr auto Calls = [] { return g_calls; };
using Strings = std::vector<std::string>;

}  // namespace

TEST_F(BusConnection, IsNullWhenTheAddressIsBad) {
    setenv("CBUS_ADDR", "carrier*pigeon", 1);

    EXPECT_EQ(cbus_conn_create(m_loop.get(), "CBUS_CONNECTION"), nullptr);
}

TEST_F(BusConnection, IsNullWhenNoBusListens) {
    setenv("CBUS_ADDR", "unix*cbus-nobody-is-here", 1);

    EXPECT_EQ(cbus_conn_create(m_loop.get(), "CBUS_CONNECTION"), nullptr);
}

TEST_F(BusConnection, IsCloseOnExec) {
    EXPECT_EQ(fcntl(connection()->socket, F_GETFD), FD_CLOEXEC);
}

TEST_F(BusConnection, WorksWithoutALoop) {
    const ConnectionPtr own(cbus_conn_create(nullptr, "CBUS_CONNECTION"));

    EXPECT_EQ(cbus_send_signal(own.get(), "hello", nullptr, 0), 0);
}

TEST_F(BusConnection, SendsASignalWithTheSocketsLowByteAsSource) {
    EXPECT_EQ(cbus_send_signal(connection(), "hello", "abc", 3), 0);

    EXPECT_EQ(m_bus.Receive(), (WireMessage{1, SourceTag(), 0, 0, "hello", "abc"}));
}

TEST_F(BusConnection, SendsABareHeaderForANullNameAndNullData) {
    EXPECT_EQ(cbus_send_signal(connection(), nullptr, nullptr, 99), 0);

    EXPECT_EQ(m_bus.Receive(), (WireMessage{1, SourceTag(), 0, 0, "", ""}));
}

TEST_F(BusConnection, CountsSignalsAndRequestsTogether) {
    cbus_send_signal(connection(), "a", nullptr, 0);

    EXPECT_EQ(cbus_send_request(connection(), "b", nullptr, 0), 1);
    m_bus.Receive();
    EXPECT_EQ(m_bus.Receive(), (WireMessage{2, SourceTag(), 1, 0, "b", ""}));
}

TEST_F(BusConnection, ReusesSequenceNumberZeroForThe65537thRequest) {
    for (int i = 0; i < 65536; ++i) {
        ASSERT_EQ(cbus_send_request(connection(), "r", nullptr, 0), i);
        m_bus.ReceiveBytes(16);
    }

    EXPECT_EQ(cbus_send_request(connection(), "r", nullptr, 0), 0);
}

TEST_F(BusConnection, EachKindOfMessageReachesItsCallback) {
    m_bus.Send(Bytes({1, 0, 0, 0, "a", "1"}) + Bytes({2, 0, 0, 0, "b", "2"}) + Bytes({3, 0, 0, 0, "c", "3"}));

    Turn();
    Turn();
    Turn();

    EXPECT_EQ(Calls(), (Strings{"signal a 1", "request b 2", "reply c 3"}));
}

TEST_F(BusConnection, AMessageWithoutNameAndDataHasAnEmptyName) {
    m_bus.Send(WireMessage{1, 0, 0, 0, "", ""});

    Turn();

    EXPECT_EQ(Calls(), Strings{"signal  "});
}

TEST_F(BusConnection, AnUnknownTypeIsLoggedAndPassedOver) {
    fake_syslog::forget();
    m_bus.Send(Bytes({9, 0, 0, 0, "odd", ""}) + Bytes({1, 0, 0, 0, "next", ""}));

    Turn();
    Turn();

    EXPECT_EQ(fake_syslog::calls(), Strings{"syslog 3 Invalid message type [odd] 9\n"});
    EXPECT_EQ(Calls(), Strings{"signal next "});
}

TEST_F(BusConnection, AMessageWithoutACallbackIsDropped) {
    cbus_conn_set_rx_cb(connection(), nullptr, nullptr, nullptr);
    m_bus.Send(WireMessage{1, 0, 0, 0, "a", ""});

    Turn();

    EXPECT_EQ(Calls(), Strings{});
}

TEST_F(BusConnection, AReplyCarriesWhatTheRequestCarried) {
    HandleRequest({2, 77, 4711, 1234, "ask.me", "x"}, ReplyDone);

    EXPECT_EQ(m_bus.Receive(), (WireMessage{3, 77, 4711, 1234, "ask.me", "done"}));
}

TEST_F(BusConnection, AReplyToARequestWithoutANameHasNone) {
    HandleRequest({2, 77, 1, 2, "", ""}, ReplyDone);

    EXPECT_EQ(m_bus.Receive(), (WireMessage{3, 77, 1, 2, "", "done"}));
}

TEST_F(BusConnection, ReplyingOutsideADispatchFails) {
    HandleRequest({2, 77, 1, 2, "ask", ""}, nullptr);

    EXPECT_EQ(cbus_send_reply(connection(), "late", 4), -1);
}

TEST_F(BusConnection, AKeptSenderIsAnsweredLater) {
    HandleRequest({2, 77, 4711, 1234, "ask.me", ""}, KeepSender);

    EXPECT_EQ(cbus_send_reply_to(connection(), "late", 4, g_context), 0);

    EXPECT_EQ(m_bus.Receive(), (WireMessage{3, 77, 4711, 1234, "ask.me", "late"}));
}

TEST_F(BusConnection, AnsweringAKeptSenderLeavesTheCurrentRequestCurrent) {
    HandleRequest({2, 1, 1, 0, "first", ""}, KeepSender);

    HandleRequest({2, 2, 2, 0, "second", ""}, [](_cbus_conn_t* connection) {
        cbus_send_reply_to(connection, "one", 3, g_context);
        cbus_send_reply(connection, "two", 3);
    });

    EXPECT_EQ(m_bus.Receive(), (WireMessage{3, 1, 1, 0, "first", "one"}));
    EXPECT_EQ(m_bus.Receive(), (WireMessage{3, 2, 2, 0, "second", "two"}));
}

TEST_F(BusConnection, ACopiedSenderTakesTheNextReplies) {
    HandleRequest({2, 77, 4711, 1234, "ask.me", ""}, KeepSender);

    cbus_copy_sender_ctx(connection(), g_context);
    cbus_send_reply(connection(), "again", 5);
    cbus_free_sender_ctx(g_context);

    EXPECT_EQ(m_bus.Receive(), (WireMessage{3, 77, 4711, 1234, "ask.me", "again"}));
}

TEST_F(BusConnection, FreeingNoSenderIsFatal) {
    EXPECT_DEATH(cbus_free_sender_ctx(nullptr), "ASSERT in cbus at");
}

TEST_F(BusConnection, ALostBusClosesTheSocketAndFailsEverySend) {
    m_bus.Hang();

    Turn();

    EXPECT_EQ(connection()->socket, -1);
    EXPECT_NE(cbus_send_signal(connection(), "a", nullptr, 0), 0);
    EXPECT_EQ(cbus_send_request(connection(), "a", nullptr, 0), -1);
}

TEST_F(BusConnection, AClosedSocketsNumberIsNoLongerWatched) {
    const int old_number = connection()->socket;
    m_bus.Hang();
    Turn();
    int pair[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair), 0);
    const UniqueFd reused(pair[0]);
    BusPeer stranger{UniqueFd(pair[1])};
    ASSERT_EQ(reused.get(), old_number);
    stranger.Send(WireMessage{1, 0, 0, 0, "not for the bus", ""});

    const ConnectionPtr other(cbus_conn_create(m_loop.get(), "CBUS_CONNECTION"));
    BusPeer other_bus{UniqueFd(socket_create_server_client(m_listener.get()))};
    other_bus.Send(WireMessage{1, 0, 0, 0, "wakes the loop", ""});
    Turn();

    EXPECT_EQ(Calls(), Strings{});
}

TEST_F(BusConnection, CanBeDestroyedAndMadeAnewOnTheSameLoop) {
    m_connection.reset();
    Connect();
    cbus_conn_set_rx_cb(connection(), OnSignal, OnRequest, OnReply);
    m_bus.Send(WireMessage{1, 0, 0, 0, "a", ""});

    Turn();

    EXPECT_EQ(Calls(), Strings{"signal a "});
}
