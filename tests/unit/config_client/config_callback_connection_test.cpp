// SPDX-License-Identifier: MIT

#include "ClientFixture.h"

using namespace std::string_literals;

namespace {

using Strings = std::vector<std::string>;

// Notes the keys that it is called with.
void NoteChanges(unsigned int count, const config_data_t* elements, void* keys) {
    for (unsigned int i = 0; i < count; ++i) {
        static_cast<Strings*>(keys)->push_back(elements[i].key);
    }
}

// Validators stay for the life of the process, and so does what they write to.
Strings validated_keys;

void NoteAndAccept(unsigned int count, config_data_t* elements, void*) {
    for (unsigned int i = 0; i < count; ++i) {
        validated_keys.push_back(elements[i].key);
        elements[i].status = 0;
    }
}

// The client with a connection for its requests and one for what the database sends by itself.
class ConfigCallbackConnection : public testing::Test {
  protected:
    ConfigCallbackConnection() {
        validated_keys.clear();
        config_init_cbus(m_requests.get(), m_callbacks.get());
        ExchangeAll();
    }
    ~ConfigCallbackConnection() override { config_change_deregister("ram.", NoteChanges, &m_changed_keys); }

    void ListenForChanges() { config_change_register("ram.", NoteChanges, &m_changed_keys); }
    static void Validate() { EXPECT_EQ(config_validator_register(NoteAndAccept, "ram.pair", nullptr), 0); }

    // What was sent on either connection has arrived when the reply to a later request has.
    void ExchangeAll() {
        for (_cbus_conn_t* connection : {m_requests.get(), m_callbacks.get()}) {
            void* data = nullptr;
            cbus_get_reply(connection, cbus_send_request(connection, "config.stat.none", nullptr, 0), &data);
            const MallocedText reply(static_cast<char*>(data));
        }
    }
    // Sends it to the client, which has handled it then.
    void Signal(FakeDatabase& end, const std::string& name, const std::string& data) {
        end.sendSignal(name, data);
        ExchangeAll();
        fdloop_timer_add(
            m_loop.get(), 0, [](void*, int, _fdloop_timer_t*) {}, nullptr);
        fdloop_run(m_loop.get());
    }
    // The data of each message with this name that the client has sent to that end.
    Strings SentTo(FakeDatabase& end, const std::string& name) {
        ExchangeAll();
        Strings sent;
        for (const BusMessage& message : end.messages()) {
            if (message.name == name) {
                sent.push_back(message.data);
            }
        }
        return sent;
    }

    FdLoopPtr m_loop{fdloop_init()};
    // Each connection is to the end above it.
    FakeDatabase m_requests_end;
    COwned<_cbus_conn_t, cbus_conn_destroy> m_requests{cbus_conn_create(m_loop.get(), "REQUESTS")};
    FakeDatabase m_callbacks_end;
    COwned<_cbus_conn_t, cbus_conn_destroy> m_callbacks{cbus_conn_create(m_loop.get(), "CALLBACKS")};
    Strings m_changed_keys;
};

}  // namespace

TEST_F(ConfigCallbackConnection, IsWhereChangesAreFiltered) {
    ListenForChanges();

    EXPECT_EQ(SentTo(m_callbacks_end, "cbus.filter"), Strings{"config.change.ram\0"s});
    EXPECT_EQ(SentTo(m_requests_end, "cbus.filter"), Strings{});
}

TEST_F(ConfigCallbackConnection, IsWhereChangesAreHeard) {
    ListenForChanges();

    Signal(m_callbacks_end, "config.change.ram", Vbuf({{"ram.heard", 2, "x\0"s}}));
    Signal(m_requests_end, "config.change.ram", Vbuf({{"ram.not_heard", 2, "x\0"s}}));

    EXPECT_EQ(m_changed_keys, Strings{"ram.heard"});
}

TEST_F(ConfigCallbackConnection, IsWhereValidationsAreFiltered) {
    Validate();

    EXPECT_EQ(SentTo(m_callbacks_end, "cbus.filter"), Strings{"config.clnt_validate.ram.pair\0"s});
    EXPECT_EQ(SentTo(m_requests_end, "cbus.filter"), Strings{});
}

TEST_F(ConfigCallbackConnection, IsWhereValidationsAreHeard) {
    Validate();

    Signal(m_callbacks_end, "config.clnt_validate.ram.pair", Vbuf({{"ram.pair.heard", 2, "x\0"s}}));
    Signal(m_requests_end, "config.clnt_validate.ram.pair", Vbuf({{"ram.pair.not_heard", 2, "x\0"s}}));

    EXPECT_EQ(validated_keys, Strings{"ram.pair.heard"});
}

TEST_F(ConfigCallbackConnection, DoesNotCarryTheRegistrationOfAValidator) {
    Validate();

    EXPECT_EQ(SentTo(m_requests_end, "config.validate.register"), Strings{"ram.pair\0"s});
    EXPECT_EQ(SentTo(m_callbacks_end, "config.validate.register"), Strings{});
}

TEST_F(ConfigCallbackConnection, DoesNotCarryTheAnswerOfAValidator) {
    Validate();

    Signal(m_callbacks_end, "config.clnt_validate.ram.pair", Vbuf({{"ram.pair.a", 2, "x\0"s}}));

    EXPECT_EQ(SentTo(m_requests_end, "config.validate.rsp"), Strings{Vbuf({{"ram.pair.a", 2, "x\0"s, 0}})});
    EXPECT_EQ(SentTo(m_callbacks_end, "config.validate.rsp"), Strings{});
}

TEST_F(ConfigCallbackConnection, DoesNotCarryRequestsAndWrites) {
    m_requests_end.setInt("ram.a", 7);
    int32_t value = 0;

    EXPECT_EQ(config_read_int("ram.a", &value), 0);
    EXPECT_EQ(config_write_int("ram.b", 8), 0);

    EXPECT_EQ(value, 7);
    EXPECT_EQ(SentTo(m_requests_end, "config.write.ram.b"), Strings{Words({-1, 3, 4, 8})});
    EXPECT_EQ(SentTo(m_callbacks_end, "config.write.ram.b"), Strings{});
}
