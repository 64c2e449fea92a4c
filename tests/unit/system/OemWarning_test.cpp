// SPDX-License-Identifier: MIT

#include "src/system/OemWarning.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "UserEventsFixture.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/SecondsClock.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr const char* kInitial =
    R"({"ev_id":66128,"state":"OFF","severity":"WARNING","info":0,"ev_time":null,"on_time":null})";

class OemWarningTest : public UserEventsFixture {
  protected:
    OemWarningTest() { add("oem-warning", new OemWarning); }

    // The payload goes under "data".
    int put(const std::string& payload) {
        return ask("PUT", kOemWarningUri, R"({"data":)" + payload + "}").status;
    }
    // With which answers a request was finished.
    std::vector<int> finishesOf(const std::string& body) {
        RecordingRequest request("PUT", kOemWarningUri, m_client.session());
        request.setBody(body.c_str());
        m_controller.handleRequest(&request);
        return std::vector<int>(static_cast<size_t>(request.finishCount()), request.status());
    }
    // "66128 ON 0".
    std::string shown() { return read(kOemWarningUri); }
    std::string attribute(const char* name) { return member(kOemWarningUri, name); }

    // What the event handler has been told: "66128 1025/0 2 5" is identifier, source, state and info.
    std::vector<std::string> reports() {
        waitForDatabase();
        std::vector<std::string> lines;
        for (const BusMessage& message : m_database.messages()) {
            if (message.name == kForwardEventReportSignal) {
                lines.push_back(message.data.size() == kEventReportBytes ? reportText(message.data)
                                                                         : "another size");
            }
        }
        return lines;
    }

  private:
    static std::string reportText(const std::string& bytes) {
        std::array<uint8_t, kEventReportBytes> raw{};
        std::copy(bytes.begin(), bytes.end(), raw.begin());
        const EventReport report = event_report_decode(raw);
        return std::to_string(report.ev_id) + " " + std::to_string(report.source) + "/" +
               std::to_string(report.subsource) + " " + std::to_string(report.state) + " " +
               std::to_string(report.info);
    }
};

}  // namespace

TEST_F(OemWarningTest, IsOffWithInfoZeroAtFirst) {
    EXPECT_EQ(get(kOemWarningUri), (Answer{200, kInitial}));
}

TEST_F(OemWarningTest, IsRaisedWithItsInfo) {
    EXPECT_EQ(put(R"({"info":5,"state":"ON"})"), 200);

    EXPECT_THAT(reports(), ElementsAre("66128 1025/0 2 5"));
    EXPECT_EQ(shown(), "66128 ON 5");
}

TEST_F(OemWarningTest, AnswersConflictWhenItIsRaisedOnceMore) {
    put(R"({"info":5,"state":"ON"})");

    EXPECT_EQ(put(R"({"info":5,"state":"ON"})"), 409);

    EXPECT_EQ(reports().size(), 1U);
    EXPECT_EQ(shown(), "66128 ON 5");
}

TEST_F(OemWarningTest, IsRaisedWithoutAnInfo) {
    EXPECT_EQ(put(R"({"state":"ON"})"), 200);

    EXPECT_THAT(reports(), ElementsAre("66128 1025/0 2 0"));
    EXPECT_EQ(shown(), "66128 ON 0");
}

TEST_F(OemWarningTest, ReportsANewInfoWhileItIsOff) {
    EXPECT_EQ(put(R"({"info":7})"), 200);

    EXPECT_THAT(reports(), ElementsAre("66128 1025/0 1 7"));
    EXPECT_EQ(shown(), "66128 OFF 7");
}

TEST_F(OemWarningTest, ReportsANewInfoWhileItIsOn) {
    put(R"({"info":5,"state":"ON"})");

    EXPECT_EQ(put(R"({"info":6})"), 200);

    EXPECT_THAT(reports(), ElementsAre("66128 1025/0 2 5", "66128 1025/0 2 6"));
}

TEST_F(OemWarningTest, ReportsANewInfoWithTheStateThatItHasAlready) {
    EXPECT_EQ(put(R"({"info":7,"state":"OFF"})"), 200);

    EXPECT_THAT(reports(), ElementsAre("66128 1025/0 1 7"));
}

TEST_F(OemWarningTest, IsClearedWithTheStoredInfo) {
    put(R"({"info":5,"state":"ON"})");

    EXPECT_EQ(put(R"({"state":"OFF"})"), 200);

    EXPECT_THAT(reports(), ElementsAre("66128 1025/0 2 5", "66128 1025/0 1 5"));
    EXPECT_EQ(shown(), "66128 OFF 5");
}

TEST_F(OemWarningTest, KeepsItsInfoWhenItIsClearedWithZero) {
    put(R"({"info":5,"state":"ON"})");

    EXPECT_EQ(put(R"({"info":0,"state":"OFF"})"), 200);

    EXPECT_EQ(shown(), "66128 OFF 5");
}

TEST_F(OemWarningTest, IsClearedWithTheInfoThatItHas) {
    put(R"({"info":5,"state":"ON"})");

    EXPECT_EQ(put(R"({"info":5,"state":"OFF"})"), 200);

    EXPECT_THAT(reports(), ElementsAre("66128 1025/0 2 5", "66128 1025/0 1 5"));
}

TEST_F(OemWarningTest, AnswersConflictForZeroWhileItsInfoIsZero) {
    EXPECT_EQ(put("{}"), 409);
    EXPECT_EQ(put(R"({"info":0})"), 409);

    EXPECT_THAT(reports(), IsEmpty());
}

TEST_F(OemWarningTest, RefusesZeroOnceItHasAnInfo) {
    put(R"({"info":7})");

    EXPECT_EQ(put("{}"), 400);
    EXPECT_EQ(put(R"({"info":0})"), 400);

    EXPECT_EQ(reports().size(), 1U);
    EXPECT_EQ(shown(), "66128 OFF 7");
}

TEST_F(OemWarningTest, AnswersConflictForTheInfoThatItHas) {
    put(R"({"info":7})");

    EXPECT_EQ(put(R"({"info":7})"), 409);

    EXPECT_EQ(reports().size(), 1U);
}

TEST_F(OemWarningTest, AnswersConflictForTheStateThatItHas) {
    EXPECT_EQ(put(R"({"state":"OFF"})"), 409);
    put(R"({"info":7})");
    // The info alone would be refused with 400.
    EXPECT_EQ(put(R"({"state":"OFF"})"), 409);

    EXPECT_EQ(reports().size(), 1U);
}

TEST_F(OemWarningTest, PassesOverAStateOfAnotherText) {
    EXPECT_EQ(put(R"({"state":"NONE"})"), 409);
    EXPECT_EQ(put(R"({"state":"on","info":7})"), 200);
    EXPECT_EQ(put(R"({"state":""})"), 400);

    EXPECT_EQ(shown(), "66128 OFF 7");
}

TEST_F(OemWarningTest, PassesOverAStateThatIsNoText) {
    EXPECT_EQ(put(R"({"state":2})"), 409);
    EXPECT_EQ(put(R"({"state":null,"info":7})"), 200);
    EXPECT_EQ(put(R"({"state":["ON"]})"), 400);

    EXPECT_EQ(shown(), "66128 OFF 7");
}

TEST_F(OemWarningTest, RefusesAnUpdateWithoutData) {
    EXPECT_EQ(ask("PUT", kOemWarningUri).status, 400);
    EXPECT_EQ(ask("PUT", kOemWarningUri, "{not json").status, 400);
    EXPECT_EQ(ask("PUT", kOemWarningUri, R"({"state":"ON"})").status, 400);
    EXPECT_EQ(put("null"), 400);

    EXPECT_EQ(get(kOemWarningUri).json, kInitial);
}

TEST_F(OemWarningTest, RefusesDataThatIsNoObject) {
    EXPECT_EQ(put("[]"), 400);
    EXPECT_EQ(put("\"ON\""), 400);
    EXPECT_EQ(put("5"), 400);
    EXPECT_EQ(put("true"), 400);

    EXPECT_EQ(get(kOemWarningUri).json, kInitial);
}

TEST_F(OemWarningTest, RefusesAnInfoThatIsNoNumber) {
    for (const char* info : {"null", "\"5\"", "true", "{}", "[5]"}) {
        EXPECT_EQ(put(std::string(R"({"state":"ON","info":)") + info + "}"), 400) << info;
    }

    EXPECT_THAT(reports(), IsEmpty());
    EXPECT_EQ(get(kOemWarningUri).json, kInitial);
}

TEST_F(OemWarningTest, RefusesAnInfoThatIsNotWholeOrOutOfRange) {
    for (const char* info : {"0.5", "5.5", "-1", "4294967296", "1e999", "-1e999"}) {
        EXPECT_EQ(put(std::string(R"({"state":"ON","info":)") + info + "}"), 400) << info;
    }

    EXPECT_THAT(reports(), IsEmpty());
    EXPECT_EQ(get(kOemWarningUri).json, kInitial);
}

TEST_F(OemWarningTest, TakesTheLargestInfo) {
    EXPECT_EQ(put(R"({"info":4294967295})"), 200);
    EXPECT_EQ(put(R"({"info":4294967295})"), 409);

    EXPECT_THAT(reports(), ElementsAre("66128 1025/0 1 4294967295"));
    EXPECT_EQ(shown(), "66128 OFF 4294967295");
}

TEST_F(OemWarningTest, TakesAWholeNumberHoweverItIsWritten) {
    EXPECT_EQ(put(R"({"info":7.0})"), 200);
    EXPECT_EQ(put(R"({"info":0.7e1})"), 409);

    EXPECT_EQ(shown(), "66128 OFF 7");
}

TEST_F(OemWarningTest, ShowsWhenItWasRaised) {
    const SecondsClock clock{5000};

    put(R"({"state":"ON"})");

    EXPECT_EQ(get(kOemWarningUri).json,
              R"({"ev_id":66128,"state":"ON","severity":"WARNING","info":0,"ev_time":5000,"on_time":5000})");
}

TEST_F(OemWarningTest, ShowsWhenItWasClearedAndSinceWhenItWasOn) {
    {
        const SecondsClock clock{5000};
        put(R"({"state":"ON"})");
    }
    const SecondsClock clock{6000};

    put(R"({"state":"OFF"})");

    EXPECT_EQ(attribute("ev_time"), "6000");
    EXPECT_EQ(attribute("on_time"), "5000");
}

TEST_F(OemWarningTest, KeepsItsTimesWhenOnlyTheInfoChanges) {
    {
        const SecondsClock clock{5000};
        put(R"({"state":"ON"})");
    }
    const SecondsClock clock{6000};

    put(R"({"info":7})");

    EXPECT_EQ(attribute("ev_time"), "5000");
    EXPECT_EQ(attribute("on_time"), "5000");
}

TEST_F(OemWarningTest, FinishesEachUpdateOnce) {
    EXPECT_THAT(finishesOf(""), ElementsAre(400));
    EXPECT_THAT(finishesOf(R"({"data":{"info":-1}})"), ElementsAre(400));
    EXPECT_THAT(finishesOf(R"({"data":{"info":5,"state":"ON"}})"), ElementsAre(200));
    EXPECT_THAT(finishesOf(R"({"data":{"info":5,"state":"ON"}})"), ElementsAre(409));
    EXPECT_THAT(finishesOf(R"({"data":{"info":0}})"), ElementsAre(400));
}

TEST_F(OemWarningTest, LogsUpdatesThatChangeSomething) {
    const CapturedLog log;

    put(R"({"info":5,"state":"ON"})");
    put(R"({"info":5,"state":"ON"})");

    EXPECT_EQ(log.count("6 src/OemWarning: Updated"), 1);
}

TEST_F(OemWarningTest, IsAnObjectThatCanBeReadAndUpdatedOnly) {
    EXPECT_EQ(ask("POST", kOemWarningUri, R"({"data":{}})").status, 405);
    EXPECT_EQ(ask("DELETE", kOemWarningUri).status, 405);
    EXPECT_EQ(get("/system/user-events/oem-warning/info").status, 404);
}

TEST_F(OemWarningTest, IsOffAgainAfterARestart) {
    put(R"({"info":5,"state":"ON"})");

    m_container->deleteSubPathHandler("oem-warning");
    add("oem-warning", new OemWarning);

    EXPECT_EQ(get(kOemWarningUri).json, kInitial);
}

TEST_F(OemWarningTest, WithoutABusConnectionStopsTheProcessWhenItChanges) {
    setEventConnection(nullptr);

    EXPECT_EXIT(put(R"({"state":"ON"})"), testing::KilledBySignal(SIGABRT), "Cbus connection not set");
}
