// SPDX-License-Identifier: MIT

#include "events/event_cbus_client.h"

#include "events/event_client.h"
#include "tests/support/EventFixture.h"

using namespace std::string_literals;

namespace {

const EventDefinition kTable[] = {{66128, 1, "EV_AP_OEM_WARNING"}, {67993, 2, "EV_AP_TEST       "}};

class EventSignals : public EventFixture {
  protected:
    EventSignals() { setEventConnection(m_bus.get()); }
    ~EventSignals() override { setEventConnection(nullptr); }

    void CloseBus() { m_bus->client->close(m_bus.get()); }
};

class EventSignalsWithoutConnection : public EventFixture {
  protected:
    static constexpr char kText[] = "Cbus connection not set";
};

constexpr uint8_t kSignal = 1;

}  // namespace

TEST_F(EventSignals, AnnounceDefinitionsAsRowsOfTwelveBytes) {
    EXPECT_EQ(registerEventDefinition(kTable, 2), 0);

    EXPECT_EQ(SentUnder("event_handler.registerEventDefinition"),
              (std::vector<std::string>{"\x50\x02\x01\x00\x01\x00\x00\x00\x00\x00\x00\x00"
                                        "\x99\x09\x01\x00\x02\x00\x00\x00\x00\x00\x00\x00"s}));
}

TEST_F(EventSignals, StoreTheShortTextsBeforeTheDefinitionsAreAnnounced) {
    registerEventDefinition(kTable, 2);
    waitForDatabase();

    std::vector<std::string> names;
    for (const BusMessage& message : m_database.messages()) {
        if (message.type == kSignal && message.name != "cbus.filter") {
            names.push_back(message.name);
        }
    }
    EXPECT_EQ(names,
              (std::vector<std::string>{"config.write.txt.evh.stxt.66128", "config.write.txt.evh.stxt.67993",
                                        "event_handler.registerEventDefinition"}));
    EXPECT_EQ(m_database.text("txt.evh.stxt.67993"), "EV_AP_TEST       ");
}

TEST_F(EventSignals, AnnounceAnEmptyTableWithoutData) {
    EXPECT_EQ(registerEventDefinition(nullptr, 0), 0);

    EXPECT_EQ(SentUnder("event_handler.registerEventDefinition"), (std::vector<std::string>{""}));
}

TEST_F(EventSignals, AReportHasInfoInFrontOfState) {
    EXPECT_EQ(reportEventOnUnit(66128, 1025, 0, 2, 7), 0);

    EXPECT_EQ(
        SentUnder("event_handler.forwardEventReport"),
        (std::vector<std::string>{"\x50\x02\x01\x00\x01\x04\x00\x00\x07\x00\x00\x00\x02\x00\x00\x00"s}));
}

TEST_F(EventSignals, AReportCarriesItsSubsource) {
    const EventReport report{.ev_id = 1, .source = 2, .subsource = 0x0403, .info = 5, .state = 1};

    EXPECT_EQ(forwardEventReport(&report), 0);

    EXPECT_EQ(
        SentUnder("event_handler.forwardEventReport"),
        (std::vector<std::string>{"\x01\x00\x00\x00\x02\x00\x03\x04\x05\x00\x00\x00\x01\x00\x00\x00"s}));
}

TEST_F(EventSignals, ClearingIsTheNumberAsTextWithItsZero) {
    EXPECT_EQ(clearEvents(0), 0);
    EXPECT_EQ(clearEvents(4294967295), 0);

    EXPECT_EQ(SentUnder("event_handler.clearEvents"), (std::vector<std::string>{"0\0"s, "4294967295\0"s}));
}

TEST_F(EventSignals, AreSignals) {
    clearEvents(0);
    waitForDatabase();

    for (const BusMessage& message : m_database.messages()) {
        if (message.name.starts_with("event_handler.")) {
            EXPECT_EQ(message.type, kSignal);
        }
    }
}

TEST_F(EventSignals, OnAClosedBusAreLoggedAndAnswerZero) {
    CloseBus();

    EXPECT_EQ(registerEventDefinition(kTable, 2), 0);
    EXPECT_EQ(reportEventOnUnit(66128, 1025, 0, 2, 7), 0);
    EXPECT_EQ(clearEvents(0), 0);

    EXPECT_EQ(Log(), (std::vector<std::string>{"3 registerEventDefinition: cbus_send_signal failed(-1)\n",
                                               "3 forwardEventReport: cbus_send_signal failed(-1)\n",
                                               "3 clearEvents: cbus_send_signal failed(-1)\n"}));
}

TEST_F(EventSignalsWithoutConnection, ADefinitionStopsTheProcess) {
    EXPECT_EXIT(registerEventDefinition(kTable, 2), testing::KilledBySignal(SIGABRT), kText);
}

TEST_F(EventSignalsWithoutConnection, AReportStopsTheProcess) {
    const EventReport report;

    EXPECT_EXIT(forwardEventReport(&report), testing::KilledBySignal(SIGABRT), kText);
    EXPECT_EXIT(reportEventOnUnit(1, 2, 3, 1, 4), testing::KilledBySignal(SIGABRT), kText);
}

TEST_F(EventSignalsWithoutConnection, ClearingStopsTheProcess) {
    EXPECT_EXIT(clearEvents(0), testing::KilledBySignal(SIGABRT), kText);
}
