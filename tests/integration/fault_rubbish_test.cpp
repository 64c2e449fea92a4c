// SPDX-License-Identifier: MIT

#include <sys/wait.h>

#include <memory>

#include "FaultFixture.h"
#include "RubbishDatabase.h"
#include "events/event_wire.h"

// What the daemon does when what answers in the place of the database makes no sense. A reply that contradicts itself
// in its fixed part, or that has a piece of an entry at its end, ends the process, as a broken rule between
// the programs of the unit does: its supervisor starts it again. So does an event that leaves a gap in the
// list. Nothing is ever read or written outside of the reply.

namespace {

constexpr int32_t kHuge = 0x7ffffff0;
constexpr int32_t kNegative = -4;

std::string Words(std::initializer_list<int32_t> words) {
    std::string bytes;
    for (const int32_t word : words) {
        bytes.append(reinterpret_cast<const char*>(&word), sizeof word);
    }
    return bytes;
}
// An entry with these lengths in its header, whatever is behind it.
std::string Entry(uint32_t type, int32_t name_bytes, int32_t data_bytes, const std::string& body) {
    return Words({static_cast<int32_t>(type), name_bytes, data_bytes}) + Padded(body);
}
std::string TextEntry(const std::string& key, const std::string& value) {
    std::string entry;
    config_vbuf_append(entry, {CONFIG_TYPE_STRING, CONFIG_OK, key, value + '\0'});
    return entry;
}
std::string Matches(int32_t count, const std::string& entries) {
    return Words({0, count}) + entries;
}

const std::string kGoodEntry = TextEntry("ram.system.test.a", "x");
const std::string kName = Padded(std::string("ram.system.test.b") + '\0');
const auto kNameBytes = static_cast<int32_t>(kName.size());

class Rubbish : public FaultFixture {
  protected:
    static constexpr const char* kTest = "/example/test";
    static constexpr const char* kPattern = "config.readm.ram.system.test.(a|b|c)";
    static constexpr const char* kUnknown = R"(200 {"a":null,"b":null,"c":null})";
    static constexpr const char* kGood = R"(200 {"a":"x","b":null,"c":null})";

    void SetUp() override { m_unit.startBus(); }
    // With the database in its place all is well again.
    void TearDown() override {
        m_unit.startDatabase();
        m_unit.startDaemon();
        EXPECT_NE(Get("/system/info").find("HM24071983"), std::string::npos);
        FaultFixture::TearDown();
    }

    // What a daemon answers whose requests of that name are answered with these bytes. "ended by signal 6" when it had
    // none.
    std::string Served(const std::string& request, const std::string& reply, const char* target) {
        const RubbishDatabase database(m_unit.busAddress(), {{request, reply}});
        m_unit.startDaemon();
        HttpClient client = BeginGet(target);
        const std::string answer = Received(client);
        EXPECT_GT(database.answered(), 0) << request;
        const std::string outcome = answer == "0 " ? End() : answer;
        EXPECT_EQ(m_unit.daemon().output().find("Sanitizer"), std::string::npos) << m_unit.daemon().output();
        return outcome;
    }
    std::string End() {
        const int status = m_unit.daemon().awaitEnd().value_or(0);
        const bool has_aborted =
            m_unit.daemon().output().find("*** signal_handler: signal=6") != std::string::npos;
        return has_aborted && WEXITSTATUS(status) == 1 ? "aborted" : "status " + std::to_string(status);
    }
};

TEST_F(Rubbish, APatternReplyThatIsCutInItsHeaderEndsTheDaemon) {
    EXPECT_EQ(Served(kPattern, "x", kTest), "aborted");
    EXPECT_EQ(Served(kPattern, Words({0, 1}), kTest), "aborted");
}

TEST_F(Rubbish, APieceOfAnEntryAtTheEndOfAPatternReplyEndsTheDaemon) {
    EXPECT_EQ(Served(kPattern, Matches(2, kGoodEntry + "x"), kTest), "aborted");
    EXPECT_EQ(Served(kPattern, Matches(2, kGoodEntry + Words({2, 4})), kTest), "aborted");
}

TEST_F(Rubbish, ACountThatIsTooLargeIsThatOfTheEntriesThatAreThere) {
    for (const int32_t count : {2, kHuge, kNegative, -1}) {
        EXPECT_EQ(Served(kPattern, Matches(count, kGoodEntry), kTest), kGood) << count;
    }
}

TEST_F(Rubbish, ACountThatIsTooSmallLeavesOutTheOtherEntries) {
    EXPECT_EQ(Served(kPattern, Matches(0, kGoodEntry), kTest), kUnknown);
    EXPECT_EQ(Served(kPattern, Matches(1, kGoodEntry + TextEntry("ram.system.test.b", "y")), kTest), kGood);
}

TEST_F(Rubbish, AnEntryWhoseLengthsPassTheEndOfAPatternReplyEndsItsList) {
    const std::string body = kName + "y";
    for (const int32_t length : {100, kHuge, kNegative, -1}) {
        const std::string long_name = Entry(CONFIG_TYPE_STRING, length, 2, body);
        const std::string long_data = Entry(CONFIG_TYPE_STRING, kNameBytes, length, body);
        EXPECT_EQ(Served(kPattern, Matches(2, kGoodEntry + long_name), kTest), kGood) << length;
        EXPECT_EQ(Served(kPattern, Matches(2, kGoodEntry + long_data), kTest), kGood) << length;
    }
}

TEST_F(Rubbish, AnEntryWhoseNameDoesNotEndEndsItsList) {
    const std::string endless = Entry(CONFIG_TYPE_STRING, 20, 0, std::string(20, 'n'));

    EXPECT_EQ(Served(kPattern, Matches(2, kGoodEntry + endless), kTest), kGood);
}

TEST_F(Rubbish, ATextWithoutItsEndIsShownAsLongAsItIs) {
    const std::string endless = Entry(CONFIG_TYPE_STRING, kNameBytes, 4, kName + "yyyy");

    EXPECT_EQ(Served(kPattern, Matches(1, endless), kTest), R"(200 {"a":null,"b":"yyyy","c":null})");
}

TEST_F(Rubbish, ANumberOfAnotherSizeAndAnUnknownTypeAreNotShown) {
    for (const int32_t bytes : {0, 3, 8}) {
        const std::string body = kName + std::string(static_cast<size_t>(bytes), 'n');
        const std::string number = Entry(CONFIG_TYPE_INT, kNameBytes, bytes, body);
        EXPECT_EQ(Served(kPattern, Matches(1, number), kTest), kUnknown) << bytes;
    }
    const std::string unknown = Entry(99, kNameBytes, 4, kName + "nnnn");
    EXPECT_EQ(Served(kPattern, Matches(1, unknown), kTest), kUnknown);
}

TEST_F(Rubbish, AValueReplyWhoseLengthIsNotItsOwnEndsTheDaemon) {
    const char* const info = "/system/info";
    for (const std::string& reply :
         {std::string("x"), Words({0, CONFIG_TYPE_STRING}), Words({0, CONFIG_TYPE_STRING, 4}),
          Words({0, CONFIG_TYPE_STRING, kNegative}), Words({0, CONFIG_TYPE_STRING, kHuge}) + "text",
          Words({0, CONFIG_TYPE_STRING, 2}) + "text"}) {
        EXPECT_EQ(Served("config.read.ram.platform", reply, info), "aborted") << reply.size();
    }
}

TEST_F(Rubbish, AValueOfAnotherTypeOrWithAnUnknownStatusIsNone) {
    const std::string number = Words({0, CONFIG_TYPE_INT, 4}) + "text";
    const std::string refused = Words({-77, CONFIG_TYPE_STRING, 4}) + "text";

    for (const std::string& reply : {number, refused}) {
        EXPECT_NE(Served("config.read.ram.platform", reply, "/system/info").find(R"("system_id":null)"),
                  std::string::npos);
    }
}

TEST_F(Rubbish, AValueThatIsLongerThanAskedForIsCut) {
    const std::string reply = Words({0, CONFIG_TYPE_STRING, 100'000}) + std::string(100'000, 'y');

    EXPECT_NE(Served("config.read.ram.platform", reply, "/system/info")
                  .find(R"("system_id":")" + std::string(127, 'y') + "\""),
              std::string::npos);
}

TEST_F(Rubbish, AListOfEventsThatIsNoneIsEmpty) {
    const std::string name = Padded(std::string("dyn.evh.store.0") + '\0');
    const auto name_bytes = static_cast<int32_t>(name.size());
    for (const std::string& reply :
         {Entry(CONFIG_TYPE_BINARY, name_bytes, 32, name + std::string(32, '\xff')),
          Entry(CONFIG_TYPE_BINARY, name_bytes, 4, name + "text"),
          Entry(CONFIG_TYPE_BINARY, name_bytes, kHuge, name),
          Entry(CONFIG_TYPE_BINARY, kNegative, 0, name)}) {
        EXPECT_EQ(Served("config.readv.dyn.evh", reply, "/system/user-events/alerts"), "200 []");
    }
}

TEST_F(Rubbish, ChangesThatMakeNoSenseArePassedOver) {
    m_unit.startDatabase();
    m_unit.startDaemon();
    ASSERT_EQ(Get(kTest), R"({"a":null,"b":null,"c":null})");
    BusPeer rubbish(UniqueFd(socket_create_client(m_unit.busAddress().c_str())));
    for (const std::string& data :
         {std::string(), std::string("x"), Words({2, 4}), Words({2, 4, 4}),
          Entry(CONFIG_TYPE_STRING, kNameBytes, kHuge, kName), Entry(CONFIG_TYPE_STRING, kNegative, 4, kName),
          Entry(CONFIG_TYPE_STRING, kNameBytes, -1, kName + std::string(100, 'y')),
          Entry(CONFIG_TYPE_STRING, 20, 0, std::string(40, 'n'))}) {
        rubbish.Send(WireMessage{1, 0, 0, 0, "config.change.ram", data});
        rubbish.Send(WireMessage{1, 0, 0, 0, "config.change.", data});
    }

    const OtherProgram other(m_unit);
    ASSERT_EQ(Store("ram.system.test.a", "x"), CONFIG_OK);

    EXPECT_EQ(GetOnce(kTest, R"({"a":"x","b":null,"c":null})"), R"({"a":"x","b":null,"c":null})");
    EXPECT_EQ(m_unit.daemon().output().find("Sanitizer"), std::string::npos);
}

TEST_F(Rubbish, AnEventBeyondTheEndOfTheListEndsTheDaemon) {
    m_unit.startDatabase();
    m_unit.startDaemon();
    ASSERT_EQ(Get("/system/user-events/alerts"), "[]");
    const auto event = user_event_encode({.state = kEventStateOn, .ev_id = 5});
    std::string change;
    config_vbuf_append(change, {CONFIG_TYPE_BINARY, CONFIG_OK, "dyn.evh.store.150",
                                std::string(event.begin(), event.end())});
    BusPeer rubbish(UniqueFd(socket_create_client(m_unit.busAddress().c_str())));

    rubbish.Send(WireMessage{1, 0, 0, 0, "config.change.dyn", change});

    EXPECT_EQ(End(), "aborted");
}

}  // namespace
