// SPDX-License-Identifier: MIT

#include "ClientFixture.h"
#include "tests/support/FailingAllocation.h"

using namespace std::string_literals;

namespace {

struct Seen {
    uint32_t type;
    std::string key;
    uint32_t size;
    uint32_t length;
    int32_t status;

    bool operator==(const Seen&) const = default;
};

struct Record {
    std::vector<std::vector<Seen>> calls;
};

// Accepts the first element, says nothing about the others.
void AcceptFirst(unsigned int count, config_data_t* elements, void* record) {
    std::vector<Seen>& call = static_cast<Record*>(record)->calls.emplace_back();
    for (unsigned int i = 0; i < count; ++i) {
        const config_data_t& e = elements[i];
        call.push_back({e.type, e.key, e.size, e.length, e.status});
    }
    if (count > 0) {
        elements[0].status = 0;
    }
}

Record record;

}  // namespace

class ConfigValidator : public ConfigClient {
  protected:
    ConfigValidator() {
        record.calls.clear();
        EXPECT_EQ(config_validator_register(AcceptFirst, "cfg.net", &record), 0);
    }
};

TEST_F(ConfigValidator, RegisteringFiltersItsNameAndTellsTheDatabase) {
    EXPECT_EQ(SentUnder("config.validate.register"), "cfg.net\0"s);
    EXPECT_EQ(SentUnder("cbus.filter"), "config.clnt_validate.cfg.net\0"s);
}

TEST_F(ConfigValidator, TheFunctionSeesTheElements) {
    Signal("config.clnt_validate.cfg.net", Vbuf({{"cfg.net.a", 2, "text\0"s}, {"cfg.net.b", 0, ""}}));

    EXPECT_EQ(record.calls,
              (std::vector<std::vector<Seen>>{{{2, "cfg.net.a", 5, 0, 2}, {0, "cfg.net.b", 0, 0, 2}}}));
}

TEST_F(ConfigValidator, TheAnswerCarriesTheElementsWithTheirStatus) {
    Signal("config.clnt_validate.cfg.net", Vbuf({{"cfg.net.a", 2, "text\0"s}, {"cfg.net.b", 0, ""}}));

    EXPECT_EQ(SentUnder("config.validate.rsp"),
              Vbuf({{"cfg.net.a", 2, "text\0"s, 0}, {"cfg.net.b", 0, "", 2}}));
}

TEST_F(ConfigValidator, TheAnswerToNoElementsHasNoData) {
    Signal("config.clnt_validate.cfg.net", "");

    EXPECT_EQ(record.calls.size(), 1U);
    EXPECT_EQ(SentUnder("config.validate.rsp"), "");
}

TEST_F(ConfigValidator, ElementsBeyondTheWorkingMemoryAreLeftOut) {
    Signal("config.clnt_validate.cfg.net", Vbuf(std::vector<VbufEntry>(2000, {"cfg.net.a", 0, ""})));

    ASSERT_EQ(record.calls.size(), 1U);
    EXPECT_EQ(record.calls[0].size(), 65000 / sizeof(config_data_t));
}

TEST_F(ConfigValidator, AnUnknownNameStopsTheProcess) {
    m_database.sendSignal("config.clnt_validate.cfg.other", "");

    EXPECT_EXIT(Dispatch(), testing::KilledBySignal(SIGABRT), "");
}

TEST_F(ConfigValidator, ASignalWithoutNameStopsTheProcess) {
    m_database.sendSignal("config.clnt_validate.", "");

    EXPECT_EXIT(Dispatch(), testing::KilledBySignal(SIGABRT), "");
}

TEST_F(ConfigValidator, ANameOf59CharactersIsTheLongest) {
    const std::string name(59, 'n');

    EXPECT_EQ(config_validator_register(AcceptFirst, name.c_str(), &record), 0);
    EXPECT_EXIT(config_validator_register(AcceptFirst, (name + "n").c_str(), &record),
                testing::KilledBySignal(SIGABRT), "");
}

TEST_F(ConfigValidator, AMissingNameOrFunctionStopsTheProcess) {
    EXPECT_EXIT(config_validator_register(nullptr, "cfg.a", nullptr), testing::KilledBySignal(SIGABRT), "");
    EXPECT_EXIT(config_validator_register(AcceptFirst, nullptr, nullptr), testing::KilledBySignal(SIGABRT),
                "");
}

TEST_F(ConfigValidator, ABusThatIsGoneIsToldByMinusOne) {
    m_connection->client->close(m_connection.get());

    EXPECT_EQ(config_validator_register(AcceptFirst, "cfg.a", nullptr), -1);
}

TEST_F(ConfigValidator, WithoutMemoryForARegistrationTheProcessStops) {
    const std::string name(59, 'n');  // needs memory of its own, whatever room the table has

    EXPECT_EXIT(
        {
            failing_allocation::throw_after(0);
            config_validator_register(AcceptFirst, name.c_str(), nullptr);
        },
        testing::KilledBySignal(SIGABRT), "ASSERT in config_client_api at");
}
