// SPDX-License-Identifier: MIT

#include "tools/cbusctl/BusStatus.h"

#include <gmock/gmock.h>

#include "StatusText.h"

namespace {

using namespace std::string_literals;
using testing::ElementsAre;

}  // namespace

TEST(BusStatus, IsReadWithItsNul) {
    const auto status = bus_status_parse(kStatusText + "\0"s);

    ASSERT_TRUE(status.has_value());
    EXPECT_EQ(status->uptime_s, 12U);
    ASSERT_EQ(status->clients.size(), 2U);
    EXPECT_EQ(status->clients[0].pid, 70U);
    EXPECT_EQ(status->clients[1].uid, 1000);
    EXPECT_THAT(status->clients[0].filters, ElementsAre("config.write"));
    EXPECT_EQ(status->clients[0].queued_bytes, 3U);
    ASSERT_EQ(status->names.size(), 1U);
    EXPECT_EQ(status->names[0].provider, 1U);
    EXPECT_THAT(status->names[0].waiting, ElementsAre(2U));
    EXPECT_THAT(status->counters, ElementsAre(std::pair("messages"s, 9U), std::pair("signals"s, 8U)));
}

TEST(BusStatus, IsNothingForWhatIsNone) {
    for (const char* text : {"", "[]", "{", "text"}) {
        EXPECT_FALSE(bus_status_parse(text).has_value()) << text;
    }
}

TEST(BusStatus, TakesMembersOfAnotherKindForNone) {
    const auto status = bus_status_parse(
        R"({"uptime_s": -1, "clients": [7, {"id": "x", "pid": 1e300, "filters": [1]}], "names": {"a": 1},)"
        R"( "counters": {"messages": null}})");

    ASSERT_TRUE(status.has_value());
    EXPECT_EQ(status->uptime_s, 0U);
    ASSERT_EQ(status->clients.size(), 2U);
    EXPECT_EQ(status->clients[1].id, 0U);
    EXPECT_EQ(status->clients[1].pid, 0U);
    EXPECT_TRUE(status->clients[1].filters.empty());
    EXPECT_TRUE(status->names.empty());
    EXPECT_EQ(status->counters.front().second, 0U);
}

TEST(BusStatus, NamesClientsByProgramAndNumber) {
    const BusStatus status = bus_status_parse(kStatusText).value();

    EXPECT_EQ(status.clientText(0), "bus");
    EXPECT_EQ(status.clientText(1), "configd/1");
    EXPECT_EQ(status.clientText(9), "9");
}

TEST(BusStatus, ServesAProvidedNameAndWhatIsBelowIt) {
    const BusStatus status = bus_status_parse(kStatusText).value();

    EXPECT_TRUE(status.serves("config"));
    EXPECT_TRUE(status.serves("config.read"));
    EXPECT_FALSE(status.serves("configuration"));
    EXPECT_FALSE(status.serves("conf"));
}
