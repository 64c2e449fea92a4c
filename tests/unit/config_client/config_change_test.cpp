// SPDX-License-Identifier: MIT

#include "ClientFixture.h"
#include "cbus/cbus_client.h"
#include "tests/support/FailingAllocation.h"

using namespace std::string_literals;

namespace {

struct Change {
    uint32_t type;
    std::string key;
    std::string value;  // "(null)" for none
    uint32_t size;
    uint32_t length;
    int32_t status;

    bool operator==(const Change&) const = default;
};

// Registers for changes and deregisters at the end; records its calls.
class Listener {
  public:
    explicit Listener(std::string prefix) : m_prefix(std::move(prefix)) {
        config_change_register(m_prefix.c_str(), OnChange, this);
    }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
    ~Listener() { Stop(); }

    void Stop() { config_change_deregister(m_prefix.c_str(), OnChange, this); }
    static void OnChange(unsigned int count, const config_data_t* elements, void* self) {
        auto* listener = static_cast<Listener*>(self);
        std::vector<Change>& call = listener->calls.emplace_back();
        for (unsigned int i = 0; i < count; ++i) {
            const config_data_t& e = elements[i];
            call.push_back(
                {e.type, e.key,
                 e.value != nullptr ? std::string(static_cast<const char*>(e.value), e.length) : "(null)",
                 e.size, e.length, e.status});
        }
        if (listener->to_stop != nullptr) {
            listener->to_stop->Stop();
        }
        if (listener->registers_another) {
            listener->another = std::make_unique<Listener>(listener->m_prefix);
        }
    }

    std::vector<std::vector<Change>> calls;
    Listener* to_stop = nullptr;
    bool registers_another = false;
    std::unique_ptr<Listener> another;

  private:
    std::string m_prefix;
};

// Takes a signal: there is memory for so many further objects, and not for one more.
int LeaveMemoryFor(_cbus_conn_t*, void* granted, const char*, const void*, uint32_t) {
    failing_allocation::throw_after(*static_cast<int*>(granted));
    return 0;
}

constexpr char kAssert[] = "ASSERT in config_client_api at";

}  // namespace

using ConfigChange = ConfigClient;

TEST_F(ConfigChange, RegisteringFiltersTheFirstComponent) {
    const Listener listener("dyn.evh.store.");

    EXPECT_EQ(SentUnder("cbus.filter"), "config.change.dyn\0"s);
}

TEST_F(ConfigChange, RegisteringAPrefixWithoutDotFiltersAllOfIt) {
    const Listener listener("dyn");

    EXPECT_EQ(SentUnder("cbus.filter"), "config.change.dyn\0"s);
}

TEST_F(ConfigChange, AChangeBelowThePrefixArrivesWithOneElement) {
    const Listener listener("dyn.evh.store.");

    Signal("config.change.dyn", Vbuf({{"dyn.evh.store.3", 16, "binary"}}));

    EXPECT_EQ(listener.calls,
              (std::vector<std::vector<Change>>{{{16, "dyn.evh.store.3", "binary", 6, 6, 0}}}));
}

TEST_F(ConfigChange, OneSignalIsOneCallWithAllMatchingElements) {
    const Listener listener("cfg.a");
    std::vector<VbufEntry> entries;
    for (int i = 0; i < 20; ++i) {
        entries.push_back({"cfg.a" + std::to_string(i), 2, "x\0"s});
        entries.push_back({"cfg.b", 2, "x\0"s});
    }

    Signal("config.change.cfg", Vbuf(entries));

    ASSERT_EQ(listener.calls.size(), 1U);
    EXPECT_EQ(listener.calls[0].size(), 20U);
}

TEST_F(ConfigChange, OverlappingPrefixesBothHearOfIt) {
    const Listener wide("cfg.api.");
    const Listener narrow("cfg.api.syslog.");

    Signal("config.change.cfg", Vbuf({{"cfg.api.syslog.1.selector", 2, "x\0"s}}));

    EXPECT_EQ(wide.calls.size(), 1U);
    EXPECT_EQ(narrow.calls.size(), 1U);
}

TEST_F(ConfigChange, OtherKeysAreNoCall) {
    const Listener listener("cfg.a");

    Signal("config.change.cfg", Vbuf({{"cfg.b", 2, "x\0"s}}));

    EXPECT_TRUE(listener.calls.empty());
}

TEST_F(ConfigChange, ADeletedKeyHasNoValue) {
    const Listener listener("cfg.a");

    Signal("config.change.cfg", Vbuf({{"cfg.a", 0, ""}}));

    EXPECT_EQ(listener.calls, (std::vector<std::vector<Change>>{{{0, "cfg.a", "(null)", 0, 0, 0}}}));
}

TEST_F(ConfigChange, ADeregisteredFunctionIsNotCalled) {
    Listener listener("cfg.a");

    listener.Stop();
    Signal("config.change.cfg", Vbuf({{"cfg.a", 2, "x\0"s}}));

    EXPECT_TRUE(listener.calls.empty());
}

TEST_F(ConfigChange, DeregisteringSendsNothing) {
    Listener listener("cfg.a");
    Dispatch();
    const size_t before = m_database.messages().size();

    listener.Stop();
    Dispatch();

    EXPECT_EQ(m_database.messages().size(), before + 1);  // what Dispatch asks
}

TEST_F(ConfigChange, DeregisteringNeedsTheSamePrefix) {
    Listener listener("cfg.a");

    EXPECT_EQ(config_change_deregister("cfg.", Listener::OnChange, &listener), 0);
    Signal("config.change.cfg", Vbuf({{"cfg.a", 2, "x\0"s}}));

    EXPECT_EQ(listener.calls.size(), 1U);
}

TEST_F(ConfigChange, ACallMayDeregisterTheNextOne) {
    Listener first("cfg.a");
    const std::unique_ptr<Listener> second = std::make_unique<Listener>("cfg.a");
    first.to_stop = second.get();

    Signal("config.change.cfg", Vbuf({{"cfg.a", 2, "x\0"s}}));

    EXPECT_EQ(first.calls.size(), 1U);
    EXPECT_TRUE(second->calls.empty());
}

TEST_F(ConfigChange, ACallMayDeregisterItselfAndRegisterAnother) {
    Listener listener("cfg.a");
    listener.to_stop = &listener;
    listener.registers_another = true;

    Signal("config.change.cfg", Vbuf({{"cfg.a", 2, "x\0"s}}));
    Signal("config.change.cfg", Vbuf({{"cfg.a", 2, "y\0"s}}));

    EXPECT_EQ(listener.calls.size(), 1U);
    ASSERT_NE(listener.another, nullptr);
    EXPECT_EQ(listener.another->calls.size(), 1U);
}

TEST_F(ConfigChange, AnEntryWithoutDataAtTheEndCounts) {
    const Listener listener("c");

    Signal("config.change.cfg", Vbuf({{"cfg.a", 2, "x\0"s}, {"c", 0, ""}}));

    ASSERT_EQ(listener.calls.size(), 1U);
    EXPECT_EQ(listener.calls[0].size(), 2U);
}

TEST_F(ConfigChange, AnEntryWhoseSizesPassTheBoundEndsTheWalk) {
    const Listener listener("cfg.");
    const std::string good = Vbuf({{"cfg.a", 2, "x\0"s}});

    // 20 bytes: the name may end 8 bytes before the end, with the 12 bytes of its header not counted.
    Signal("config.change.cfg", good + Words({2, 8, 5}) + "cfg.b\0\0\0"s);
    Signal("config.change.cfg", good + Words({2, 13, 0}) + "cfg.b\0\0\0"s);
    Signal("config.change.cfg", good + Words({2, 0xffffffff, 0xffffffff}) + "cfg.b\0\0\0"s);

    ASSERT_EQ(listener.calls.size(), 3U);
    for (const auto& call : listener.calls) {
        EXPECT_EQ(call.size(), 1U);
    }
}

TEST_F(ConfigChange, AnEntryThatEndsAtTheBoundCounts) {
    const Listener listener("cfg.");

    Signal("config.change.cfg", Words({16, 8, 4}) + "cfg.b\0\0\0"s);

    EXPECT_EQ(listener.calls, (std::vector<std::vector<Change>>{{{16, "cfg.b", "\0\0\0\0"s, 4, 4, 0}}}));
}

TEST_F(ConfigChange, ANameWithoutNulEndsTheWalk) {
    const Listener listener("cfg.");

    Signal("config.change.cfg", Words({2, 4, 0}) + "cfg." + std::string(8, 'x'));

    EXPECT_TRUE(listener.calls.empty());
}

TEST_F(ConfigChange, ShortSignalsAreNoCall) {
    const Listener listener("");

    for (size_t size = 0; size < 12; ++size) {
        Signal("config.change.cfg", std::string(size, '\0'));
    }

    EXPECT_TRUE(listener.calls.empty());
}

TEST_F(ConfigChange, RegisteringOnAClosedBusIsNoError) {
    m_connection->client->close(m_connection.get());

    EXPECT_EQ(config_change_register("cfg.", Listener::OnChange, nullptr), 0);
    EXPECT_EQ(config_change_deregister("cfg.", Listener::OnChange, nullptr), 0);
}

TEST_F(ConfigChange, RegisteringNoFunctionStopsTheProcess) {
    EXPECT_EXIT(config_change_register("cfg.", nullptr, nullptr), testing::KilledBySignal(SIGABRT), "");
}

TEST_F(ConfigChange, WithoutMemoryForARegistrationTheProcessStops) {
    EXPECT_EXIT(
        {
            failing_allocation::throw_after(0);
            config_change_register("cfg.", Listener::OnChange, nullptr);
        },
        testing::KilledBySignal(SIGABRT), kAssert);
}

TEST_F(ConfigChange, WithoutMemoryToDispatchASignalTheProcessStops) {
    const Listener listener("cfg.");
    int granted = 0;
    cbus_client_signal_cb_add(m_connection.get(), "no memory", LeaveMemoryFor, &granted);
    m_database.sendSignal("no memory", "");
    m_database.sendSignal("config.change.cfg", Vbuf({{"cfg.a", 2, "x\0"s}}));

    EXPECT_EXIT(Dispatch(), testing::KilledBySignal(SIGABRT), kAssert);
}

TEST_F(ConfigChange, WithoutMemoryForTheElementsTheProcessStops) {
    const Listener listener("cfg.");
    int granted = 1;  // the list of those who listen
    cbus_client_signal_cb_add(m_connection.get(), "no memory", LeaveMemoryFor, &granted);
    m_database.sendSignal("no memory", "");
    m_database.sendSignal("config.change.cfg", Vbuf({{"cfg.a", 2, "x\0"s}}));

    EXPECT_EXIT(Dispatch(), testing::KilledBySignal(SIGABRT), kAssert);
}
