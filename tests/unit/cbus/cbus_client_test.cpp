// SPDX-License-Identifier: MIT

#include "cbus/cbus_client.h"

#include <csignal>
#include <string>
#include <vector>

#include "FakeBus.h"
#include "tests/support/FailingAllocation.h"

namespace {

using Strings = std::vector<std::string>;

// Notes "<context>: <name>".
struct Receiver {
    std::string label;
    Strings* calls;
};

int Note(_cbus_conn_t*, void* context, const char* name, const void*, uint32_t) {
    const auto* receiver = static_cast<Receiver*>(context);
    receiver->calls->push_back(receiver->label + ": " + name);
    return 1;
}

int AnswerWithName(_cbus_conn_t* connection, void*, const char* name, const void*, uint32_t) {
    return cbus_send_reply(connection, name, static_cast<uint32_t>(std::char_traits<char>::length(name)));
}

int DeleteItself(_cbus_conn_t* connection, void* context, const char* name, const void* data,
                 uint32_t length) {
    cbus_client_signal_cb_del(connection, "a", DeleteItself, context);
    for (int i = 0; i < 100; ++i) {
        cbus_client_signal_cb_add(connection, "a", Note, context);
    }
    return Note(connection, context, name, data, length);
}

class BusClient : public FakeBus {
  protected:
    BusClient() { cbus_client_init_cb(connection()); }

    void Deliver(int type, const char* name) {
        m_bus.Send(WireMessage{type, 0, 0, 0, name, ""});
        Turn();
    }

    Strings m_calls;
    Receiver m_first{"first", &m_calls};
    Receiver m_second{"second", &m_calls};
};

}  // namespace

TEST_F(BusClient, TheFirstPrefixThatMatchesTakesTheMessageAlone) {
    cbus_client_signal_cb_add(connection(), "cfg.", Note, &m_first);
    cbus_client_signal_cb_add(connection(), "cfg.api", Note, &m_second);

    Deliver(1, "cfg.api.x");

    EXPECT_EQ(m_calls, Strings{"first: cfg.api.x"});
}

TEST_F(BusClient, AnEmptyPrefixTakesEverything) {
    cbus_client_signal_cb_add(connection(), "", Note, &m_first);

    Deliver(1, "whatever");
    Deliver(1, "");

    EXPECT_EQ(m_calls, (Strings{"first: whatever", "first: "}));
}

TEST_F(BusClient, AMessageWithoutAMatchIsDropped) {
    cbus_client_signal_cb_add(connection(), "cfg.", Note, &m_first);

    Deliver(1, "cfg");

    EXPECT_EQ(m_calls, Strings{});
}

TEST_F(BusClient, EachKindHasATableOfItsOwn) {
    cbus_client_request_cb_add(connection(), "n", Note, &m_first);
    cbus_client_reply_cb_add(connection(), "n", Note, &m_second);

    Deliver(1, "n");
    Deliver(2, "n");
    Deliver(3, "n");

    EXPECT_EQ(m_calls, (Strings{"first: n", "second: n"}));
}

TEST_F(BusClient, DeletingTakesTheFirstEqualEntryAndKeepsTheOrder) {
    cbus_client_signal_cb_add(connection(), "a", Note, &m_first);
    cbus_client_signal_cb_add(connection(), "a", Note, &m_second);
    cbus_client_signal_cb_add(connection(), "a", Note, &m_first);

    cbus_client_signal_cb_del(connection(), "a", Note, &m_first);

    Deliver(1, "a");
    EXPECT_EQ(m_calls, Strings{"second: a"});
    EXPECT_EQ(connection()->signal_table.size(), 2u);
}

TEST_F(BusClient, DeletingNeedsPrefixFunctionAndContextToMatch) {
    cbus_client_request_cb_add(connection(), "ab", Note, &m_first);

    cbus_client_request_cb_del(connection(), "a", Note, &m_first);
    cbus_client_request_cb_del(connection(), "ab", AnswerWithName, &m_first);
    cbus_client_request_cb_del(connection(), "ab", Note, &m_second);

    EXPECT_EQ(connection()->request_table.size(), 1u);
    cbus_client_request_cb_del(connection(), "ab", Note, &m_first);
    EXPECT_EQ(connection()->request_table.size(), 0u);
}

TEST_F(BusClient, ReplyCallbacksCanBeDeleted) {
    cbus_client_reply_cb_add(connection(), "a", Note, &m_first);

    cbus_client_reply_cb_del(connection(), "a", Note, &m_first);

    EXPECT_EQ(connection()->reply_table.size(), 0u);
}

TEST_F(BusClient, ACallbackMayChangeItsTable) {
    cbus_client_signal_cb_add(connection(), "a", DeleteItself, &m_first);

    Deliver(1, "a");

    EXPECT_EQ(m_calls, Strings{"first: a"});
    EXPECT_EQ(connection()->signal_table.size(), 100u);
}

TEST_F(BusClient, ThePrefixIsCopied) {
    std::string prefix = "cfg.";
    cbus_client_signal_cb_add(connection(), prefix.c_str(), Note, &m_first);
    prefix = "gone";

    Deliver(1, "cfg.x");

    EXPECT_EQ(m_calls, Strings{"first: cfg.x"});
}

TEST_F(BusClient, WithoutMemoryForACallbackTheProcessStops) {
    EXPECT_EXIT(
        {
            failing_allocation::throw_after(0);
            cbus_client_signal_cb_add(connection(), "cfg.", Note, &m_first);
        },
        testing::KilledBySignal(SIGABRT), "ASSERT in cbus_client at");
}

TEST_F(BusClient, ARequestCallbackCanAnswer) {
    cbus_client_request_cb_add(connection(), "name", AnswerWithName, nullptr);

    Deliver(2, "name.of");

    EXPECT_EQ(m_bus.Receive(), (WireMessage{3, 0, 0, 0, "name.of", "name.of"}));
}

TEST_F(BusClient, AFilterIsASignalWithTheTextAndItsNul) {
    EXPECT_EQ(cbus_filter(connection(), "config.change.cfg"), 0);

    EXPECT_EQ(m_bus.Receive(),
              (WireMessage{1, SourceTag(), 0, 0, "cbus.filter", std::string("config.change.cfg\0", 18)}));
}

TEST_F(BusClient, AProvidedNameIsASignalWithTheTextAndItsNul) {
    EXPECT_EQ(cbus_provide(connection(), "config"), 0);

    EXPECT_EQ(m_bus.Receive(),
              (WireMessage{1, SourceTag(), 0, 0, "cbus.provide", std::string("config\0", 7)}));
}
