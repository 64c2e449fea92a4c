// SPDX-License-Identifier: MIT

#include "device/cbusd/bus_status.h"

#include <gtest/gtest.h>

#include <string>

#include "BrokerFixture.h"
#include "src/base/json_helpers.h"

namespace {

class BusStatusRequest : public BrokerFixture {
  protected:
    std::string Ask(BusPeer& peer) {
        peer.Send(WireMessage{2, 1, 2, 3, "cbus.status", ""});
        const WireMessage reply = Receive(peer);
        EXPECT_EQ(reply.type, 3);
        EXPECT_EQ(reply.reserved, 3);
        EXPECT_EQ(reply.name, "cbus.status");
        EXPECT_TRUE(reply.data.ends_with('\0'));
        return reply.data.substr(0, reply.data.size() - 1);
    }
    static std::string Me(int id) {
        return "{\"id\":" + std::to_string(id) + ",\"pid\":" + std::to_string(getpid()) +
               ",\"uid\":" + std::to_string(geteuid()) + ",\"program\":\"unit_cbusd\",";
    }
};

}  // namespace

TEST(BusStatusText, HasAllMembersThoughNothingIsThere) {
    EXPECT_EQ(bus_status_text({7, {}, {}, {}}),
              "{\"uptime_s\":7,\"clients\":[],\"names\":[],\"counters\":{\"messages\":0,\"signals\":0,"
              "\"requests\":0,"
              "\"replies\":0,\"empty_replies\":0,\"refused_clients\":0,\"lost_clients\":0}}");
}

TEST(BusStatusText, EndsALongListWithDots) {
    const std::string text(500, 't');
    const ClientStatus client{1, 2, 3, "p", std::vector<std::string_view>(5000, text), {}, 0, 0, 0};

    const std::string json = bus_status_text({7, {client, client}, {{text, {1, 2}}, {text, {1}}}, {}});

    EXPECT_LT(json.size(), size_t{2} << 20);
    EXPECT_NE(json.find("tt\",\"...\"],\"provides\":[]"), std::string::npos);
    EXPECT_NE(json.find("\"filters\":[\"...\"]"), std::string::npos);
    EXPECT_NE(json.find("\"names\":[{\"name\":\"...\",\"provider\":0,\"waiting\":[]}]"), std::string::npos);
    EXPECT_NE(json_parse(json), nullptr);
}

TEST(BusStatusText, IsJsonWhateverTheNamesAre) {
    const std::string json = bus_status_text({7, {}, {{"a\"\\\n\xff", {1}}}, {}});

    EXPECT_NE(json.find("\"a\\\"\\\\??\""), std::string::npos);
    EXPECT_NE(json_parse(json), nullptr);
}

TEST_F(BusStatusRequest, TellsOfClientsNamesAndCounters) {
    BusPeer first = Connect();
    BusPeer second = Connect();
    Provide(first, "config");
    Provide(second, "config");
    Filter(second, "b");
    Filter(second, "a");
    Filter(second, "a");

    const std::string status = Ask(first);

    EXPECT_EQ(status,
              "{\"uptime_s\":0,\"clients\":[" + Me(1) +
                  "\"filters\":[],\"provides\":[\"config\"],\"queued_bytes\":0,\"messages_in\":3,"
                  "\"messages_out\":1}," +
                  Me(2) +
                  "\"filters\":[\"a\",\"b\"],\"provides\":[\"config\"],\"queued_bytes\":0,\"messages_in\":8,"
                  "\"messages_out\":4}],\"names\":[{\"name\":\"config\",\"provider\":1,\"waiting\":[2]}],"
                  "\"counters\":{\"messages\":11,\"signals\":5,\"requests\":6,\"replies\":0,"
                  "\"empty_replies\":5,\"refused_clients\":0,\"lost_clients\":0}}");
}

TEST_F(BusStatusRequest, IsAnsweredByTheBrokerThoughAnotherProvidesItsName) {
    BusPeer impostor = Connect();
    BusPeer client = Connect();
    Provide(impostor, "cbus.status");

    EXPECT_TRUE(Ask(client).starts_with("{\"uptime_s\":"));
}

TEST_F(BusStatusRequest, TellsOfClientsThatWereDisconnectedAndWhatWaits) {
    BusPeer client = Connect();
    BusPeer slow = Connect();
    BusPeer bad = Connect();
    Filter(slow, "s");
    bad.Send(std::string(12, '\xff'));
    ASSERT_TRUE(IsDisconnected(bad));
    for (int i = 0; i < 50; ++i) {
        client.Send(WireMessage{1, 0, i, 0, "s", std::string(20'000, 'd')});
        event_base_loop(m_base.get(), EVLOOP_NONBLOCK);
    }

    const std::string status = Ask(client);

    EXPECT_NE(status.find("\"lost_clients\":1"), std::string::npos);
    EXPECT_EQ(status.find("\"id\":3"), std::string::npos);
    EXPECT_EQ(status.find("\"filters\":[\"s\"],\"provides\":[],\"queued_bytes\":0,"), std::string::npos);
}
