// SPDX-License-Identifier: MIT

// What clients may take of the server by themselves.

#include "EventServerFixture.h"
#include "src/http/HabEventServer.h"

namespace {

using ServerLimits = EventServerFixture;

}  // namespace

// Time.

TEST_F(ServerLimits, AreLookedAtByTheServerItself) {
    ScriptedServer server(0, HabEventServer::kMaxConnections, 100);
    server.script = [&server] {
        RawHttpClient client = server.connect();
        client.send("GET /a HTTP/1.1\r\nHost: x\r\n");

        EXPECT_TRUE(client.isClosedByServer());
    };

    server.run();
}

TEST_F(ServerLimits, GiveARequestAMinuteToBecomeComplete) {
    EXPECT_EQ(HabEventServer::kMaxIncompleteMs, 60000);
}
