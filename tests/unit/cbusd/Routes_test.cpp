// SPDX-License-Identifier: MIT

#include "device/cbusd/Routes.h"

#include <gmock/gmock.h>

#include <string>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr ClientId kClient = 1;
constexpr ClientId kProvider = 2;
constexpr ClientId kOther = 3;

class BusRoutes : public testing::Test {
  protected:
    [[nodiscard]] std::vector<ClientId> ReceiversOf(ClientId sender, uint8_t type, const char* name,
                                                    uint16_t tag = 0) const {
        return m_routes.receivers_of(sender, {{type, 5, 6, tag, 0, 0}, name, {}, {}});
    }

    PendingRequests m_pending;
    Routes m_routes{m_pending};
};

}  // namespace

TEST_F(BusRoutes, OfASignalGoToAllWithAFilterForItButItsSender) {
    for (const ClientId client : {kClient, kProvider, kOther}) {
        EXPECT_TRUE(m_routes.filters().add("config.", client));
    }

    EXPECT_THAT(ReceiversOf(kProvider, CBUS_SIGNAL, "config.change"), ElementsAre(kClient, kOther));
    EXPECT_THAT(ReceiversOf(kProvider, CBUS_SIGNAL, "event"), IsEmpty());
}

TEST_F(BusRoutes, OfASignalToTheBrokerGoNowhereElse) {
    EXPECT_TRUE(m_routes.filters().add("cbus.", kOther));

    for (const char* name : {"cbus.filter", "cbus.provide", "cbus.monitor"}) {
        EXPECT_THAT(ReceiversOf(kClient, CBUS_SIGNAL, name), IsEmpty()) << name;
    }
}

TEST_F(BusRoutes, OfARequestGoToItsProvider) {
    EXPECT_TRUE(m_routes.providers().add("config", kProvider));

    EXPECT_EQ(m_routes.provider_of("config.read"), kProvider);
    EXPECT_THAT(ReceiversOf(kClient, CBUS_REQUEST, "config.read"), ElementsAre(kProvider));
}

TEST_F(BusRoutes, OfARequestThatTheBrokerAnswersGoBackToItsSender) {
    EXPECT_TRUE(m_routes.providers().add("cbus", kProvider));

    EXPECT_EQ(m_routes.provider_of("cbus.status"), std::nullopt);
    EXPECT_THAT(ReceiversOf(kClient, CBUS_REQUEST, "cbus.status"), ElementsAre(kClient));
    EXPECT_THAT(ReceiversOf(kClient, CBUS_REQUEST, "nobody"), ElementsAre(kClient));
}

TEST_F(BusRoutes, DoNotGoToASilentProviderUntilItIsHeardOf) {
    EXPECT_TRUE(m_routes.providers().add("config", kProvider));

    EXPECT_TRUE(m_routes.note_silent(kProvider));
    EXPECT_FALSE(m_routes.note_silent(kProvider));
    EXPECT_EQ(m_routes.provider_of("config"), std::nullopt);

    m_routes.note_heard(kProvider);
    EXPECT_EQ(m_routes.provider_of("config"), kProvider);
}

TEST_F(BusRoutes, OfAReplyGoToWhoAskedThisProvider) {
    const auto tag = m_pending.add({kClient, kProvider, {CBUS_REQUEST, 5, 6, 0, 0, 0}, "", 0});
    ASSERT_TRUE(tag);

    EXPECT_THAT(ReceiversOf(kProvider, CBUS_REPLY, "", *tag), ElementsAre(kClient));
    EXPECT_THAT(ReceiversOf(kOther, CBUS_REPLY, "", *tag), IsEmpty());
}

TEST_F(BusRoutes, OfAClientThatHasGoneAreForgotten) {
    EXPECT_TRUE(m_routes.providers().add("config", kProvider));
    EXPECT_TRUE(m_routes.filters().add("s", kProvider));

    m_routes.remove_client(kProvider);

    EXPECT_EQ(m_routes.provider_of("config"), std::nullopt);
    EXPECT_THAT(ReceiversOf(kClient, CBUS_SIGNAL, "s"), IsEmpty());
}
