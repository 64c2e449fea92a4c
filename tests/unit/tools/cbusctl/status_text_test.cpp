// SPDX-License-Identifier: MIT

#include "tools/cbusctl/status_text.h"

#include <gmock/gmock.h>

#include "StatusText.h"
#include "tools/common/json_text.h"

namespace {

using testing::ElementsAre;

BusStatus Status() {
    return bus_status_parse(kStatusText).value();
}

}  // namespace

TEST(StatusLines, AreUptimeCountersAndATableOfClients) {
    EXPECT_THAT(status_lines(Status(), Paint()),
                ElementsAre("uptime_s 12", "messages 9", "signals 8",
                            "  id     pid   uid         in        out     queued  program",
                            "   1      70     0          4          5          3  configd",
                            "   2      71  1000          0          0          0  web_app"));
}

TEST(StatusLines, ShowThatTheProcessAndUserOfAClientAreNotKnown) {
    const BusStatus status =
        bus_status_parse(R"({"clients": [{"id": 1, "pid": 0, "uid": -1, "program": ""}]})").value();

    EXPECT_EQ(status_lines(status, Paint()).back(), "   1       -     -          0          0          0  -");
}

TEST(ListLines, AreNamesAndFiltersWithWhoHoldsThem) {
    EXPECT_THAT(list_lines(Status(), Paint()),
                ElementsAre("name config configd/1 waiting web_app/2", "filter config.write configd/1"));
}

TEST(ListLines, ShowNoEscapeOfATerminal) {
    BusStatus status = Status();
    status.names[0].name = "\x1b[2J";
    status.clients[0].program = "\x1b";
    status.clients[0].filters = {"a\nb"};

    EXPECT_THAT(list_lines(status, Paint()),
                ElementsAre("name \\u001b[2J \\u001b/1 waiting web_app/2", "filter a\\u000ab \\u001b/1"));
}

TEST(ListJson, IsNamesAndFilters) {
    EXPECT_EQ(json_printable(*list_json(Status()), JsonLayout::kOneLine),
              R"({"names":[{"name":"config","provider":1,"waiting":[2]}],)"
              R"("filters":[{"filter":"config.write","client":1}]})");
}
