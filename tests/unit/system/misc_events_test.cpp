// SPDX-License-Identifier: MIT

#include "src/system/misc_events.h"

#include <algorithm>
#include <string>
#include <vector>

#include "events/event_cbus_client.h"
#include "tests/support/EventFixture.h"

using namespace std::string_literals;

namespace {

class MiscEvents : public ConfigFixture {
  protected:
    MiscEvents() { setEventConnection(m_bus.get()); }
    ~MiscEvents() override { setEventConnection(nullptr); }

    std::vector<BusMessage> sent() {
        waitForDatabase();
        std::vector<BusMessage> messages = m_database.messages();
        std::erase_if(messages, [](const BusMessage& message) {
            return message.name != kRegisterEventDefinitionSignal &&
                   !message.name.starts_with("config.write.");
        });
        return messages;
    }
};

using MiscEventsWithoutConnection = ConfigFixture;

}  // namespace

TEST_F(MiscEvents, AreAnnouncedAsAWarningAndAnError) {
    registerMiscEvents();

    ASSERT_FALSE(sent().empty());
    EXPECT_EQ(sent().back().data,
              "\x50\x02\x01\x00\x01\x00\x00\x00\x00\x00\x00\x00"
              "\x99\x09\x01\x00\x02\x00\x00\x00\x00\x00\x00\x00"s);
}

TEST_F(MiscEvents, HaveTheirTextsStoredBeforeTheyAreAnnounced) {
    registerMiscEvents();

    std::vector<std::string> names;
    for (const BusMessage& message : sent()) {
        names.push_back(message.name);
    }
    EXPECT_EQ(names,
              (std::vector<std::string>{"config.write.txt.evh.stxt.66128", "config.write.txt.evh.stxt.67993",
                                        "event_handler.registerEventDefinition"}));
    EXPECT_EQ(m_database.text("txt.evh.stxt.66128"), "EV_AP_OEM_WARNING");
}

TEST_F(MiscEvents, KeepTheSevenBlanksBehindATextThatHasThem) {
    registerMiscEvents();
    waitForDatabase();

    EXPECT_EQ(m_database.text("txt.evh.stxt.67993"), "EV_AP_TEST       ");
}

TEST_F(MiscEventsWithoutConnection, StopTheProcess) {
    EXPECT_EXIT(registerMiscEvents(), testing::KilledBySignal(SIGABRT), "Cbus connection not set");
}
