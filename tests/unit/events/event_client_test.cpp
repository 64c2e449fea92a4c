// SPDX-License-Identifier: MIT

#include "events/event_client.h"

#include "events/EventManager.h"
#include "tests/support/EventFixture.h"

using namespace std::string_literals;

namespace {

std::vector<std::string> heard;

void First(EventRecord const& record) {
    heard.push_back("first " + std::to_string(record.ev_id));
}
void Second(EventRecord const& record) {
    heard.push_back("second " + std::to_string(record.ev_id));
}

class EventClient : public EventFixture {
  protected:
    EventClient() { heard.clear(); }

    // The manager that the client leaves to the process.
    std::unique_ptr<EventManager> m_manager;
    int Init() {
        const int result = event_client_init();
        m_manager.reset(EventManager::emGetInstance());
        return result;
    }
};

}  // namespace

TEST_F(EventClient, InitReadsTheListAndReturnsZero) {
    Store(0, Event(10, kEventStateOn, kEventSeverityWarning));

    EXPECT_EQ(Init(), 0);

    EXPECT_EQ(IdsOf(m_manager->store()), (std::vector<uint32_t>{10}));
}

TEST_F(EventClient, InitFollowsTheList) {
    Init();
    Change(0, Event(10, kEventStateOn, kEventSeverityWarning));

    Settle();

    EXPECT_EQ(m_manager->store().count(), 1U);
}

TEST_F(EventClient, InitReturnsZeroWithoutADatabase) {
    m_database.answer(false);

    EXPECT_EQ(Init(), 0);
    EXPECT_TRUE(m_manager->store().isRestoring());
}

TEST_F(EventClient, HoldsTwoHundredEvents) {
    for (unsigned position = 0; position < 201; ++position) {
        Store(position, Event(position, kEventStateOn, kEventSeverityWarning));
    }

    Init();

    EXPECT_EQ(m_manager->store().count(), 200U);
}

TEST_F(EventClient, TheLastListenerAloneHearsOfChanges) {
    Init();
    registerChangeCallback(First);
    registerChangeCallback(Second);
    Change(0, Event(10, kEventStateOn, kEventSeverityWarning));

    Settle();

    EXPECT_EQ(heard, (std::vector<std::string>{"second 10"}));
}

TEST_F(EventClient, AListenerBeforeInitStopsTheProcess) {
    EXPECT_EXIT(registerChangeCallback(First), testing::KilledBySignal(SIGABRT),
                "ASSERT in event_manager at");
}

TEST_F(EventClient, ShortTextsAreStoredPerRow) {
    const EventDefinition table[] = {{66128, 1, "EV_AP_OEM_WARNING"}, {67993, 2, "EV_AP_TEST       "}};

    registerEventShortText(table, 2);
    waitForDatabase();

    EXPECT_EQ(m_database.text("txt.evh.stxt.66128"), "EV_AP_OEM_WARNING");
    EXPECT_EQ(m_database.value("txt.evh.stxt.67993"),
              (FakeDatabase::Value{CONFIG_TYPE_STRING, "EV_AP_TEST       \0"s}));
}

TEST_F(EventClient, LocalizedTextsAreStoredPerRowWhateverTheLanguage) {
    const EventLocalizedText table[] = {{66128, "Warning"}, {67993, "Test"}};

    registerEventLocalizedText("no", table, 2);
    waitForDatabase();

    EXPECT_EQ(m_database.text("txt.evh.utxt.66128"), "Warning");
    EXPECT_EQ(m_database.text("txt.evh.utxt.67993"), "Test");
}

TEST_F(EventClient, EventTextsAreTheSameUnderAnotherName) {
    const EventLocalizedText table[] = {{66128, "Warning"}};

    registerEventTexts(nullptr, table, 1);
    waitForDatabase();

    EXPECT_EQ(m_database.text("txt.evh.utxt.66128"), "Warning");
}

TEST_F(EventClient, AnEmptyTableStoresNothing) {
    registerEventShortText(nullptr, 0);
    registerEventLocalizedText("en", nullptr, 0);
    waitForDatabase();

    for (const BusMessage& message : m_database.messages()) {
        EXPECT_FALSE(message.name.starts_with("config.write")) << message.name;
    }
}
