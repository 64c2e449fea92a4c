// SPDX-License-Identifier: MIT

#include "device/configd/ConfigService.h"

#include <gmock/gmock.h>

#include <cstring>

#include "Values.h"
#include "device/configd/vbuf_codec.h"
#include "tests/support/TempDirectory.h"

using namespace std::string_literals;
using testing::ElementsAre;

namespace {

struct Signal {
    std::string name;
    std::string data;
};

std::string Word(uint32_t value) {
    return {reinterpret_cast<const char*>(&value), sizeof value};
}
std::string Words(const std::vector<int64_t>& values) {
    std::string bytes;
    for (const int64_t value : values) {
        bytes += Word(static_cast<uint32_t>(value));
    }
    return bytes;
}

// The service over a real database; the test is the bus.
class Service : public testing::Test, private ConfigOutlet {
  protected:
    // A message with a turn of the loop of its own. The reply, whether it came at once or through a kept request;
    // "(none)" without one.
    std::string Request(const std::string& name, const std::string& data) {
        m_answers.clear();
        const auto reply = m_service.handle_request(name, data, m_now_ms);
        m_service.commit();
        return reply ? *reply : m_answers.empty() ? "(none)" : m_answers.back();
    }
    void Send(const std::string& name, const std::string& data) {
        m_service.handle_signal(name, data, m_now_ms);
        m_service.commit();
    }
    void Write(const std::string& key, const ConfigValue& value) {
        Send("config.write." + key,
             Words({-1, value.type, static_cast<int64_t>(value.data.size())}) + value.data);
    }
    std::string Read(const std::string& key, uint32_t type, uint32_t size) {
        return Request("config.read." + key, Words({-1, type, size}));
    }
    // Deleted() when there is no value.
    ConfigValue Value(const std::string& key) {
        const ConfigValue* value = m_database->find(key);
        return value != nullptr ? *value : Deleted();
    }
    std::vector<std::string> SignalNames() const {
        std::vector<std::string> names;
        for (const Signal& signal : m_signals) {
            names.push_back(signal.name);
        }
        return names;
    }

    void send_signal(const std::string& name, const std::string& data) override {
        m_signals.push_back({name, data});
    }
    Answer keep_request() override {
        return [this](const std::string& data) { m_answers.push_back(data); };
    }

    TempDirectory m_directory;
    std::unique_ptr<ConfigDatabase> m_database =
        ConfigDatabase::load({{"cfg.factory", Text("factory")}}, ConfigStore::open(m_directory.file("s.db")));
    ConfigService m_service{*m_database, *this};
    std::vector<Signal> m_signals;
    std::vector<std::string> m_answers;
    uint32_t m_now_ms = 1000;
};

}  // namespace

TEST_F(Service, ReadAnswersStatusTypeLengthAndValue) {
    Write("ram.a", Text("abc"));

    EXPECT_EQ(Read("ram.a", 2, 100), Words({0, 2, 4}) + "abc\0"s);
}

TEST_F(Service, ReadOfAnyTypeAnswersTheTypeThatIsThere) {
    Write("ram.a", Binary("abc"));

    EXPECT_EQ(Read("ram.a", 0, 3), Words({0, 16, 3}) + "abc");
}

TEST_F(Service, ReadOfNoValueAnswersMinusFive) {
    EXPECT_EQ(Read("ram.none", 2, 100), Words({-5, 0, 0}));
}

TEST_F(Service, ReadOfAnotherTypeAnswersMinusSixWithTheTypeThatIsThere) {
    Write("ram.a", Text("abc"));

    EXPECT_EQ(Read("ram.a", 3, 4), Words({-6, 2, 0}));
}

TEST_F(Service, ReadOfALongerValueAnswersMinusSevenWithWhatFits) {
    Write("ram.a", Text("0123456789"));

    EXPECT_EQ(Read("ram.a", 2, 4), Words({-7, 2, 4}) + "0123");
}

TEST_F(Service, ReadIntoNoRoomAnswersMinusSevenWithoutData) {
    Write("ram.a", Text("abc"));

    EXPECT_EQ(Read("ram.a", 2, 0), Words({-7, 2, 0}));
}

TEST_F(Service, ReadVectorAnswersInTheOrderOfTheQuestions) {
    Write("ram.a", Text("abc"));
    Write("ram.b", Number(5));

    const std::string reply = Request(
        "config.readv",
        Vbuf(
            {{"ram.b", {3, ""}, 0}, {"ram.none", {2, ""}, 0}, {"ram.a", {3, ""}, 0}, {"ram.a", {0, ""}, 0}}));

    EXPECT_EQ(reply, Vbuf({{"ram.b", Number(5), 0},
                           {"ram.none", {2, ""}, -5},
                           {"ram.a", {2, ""}, -6},
                           {"ram.a", Text("abc"), 0}}));
}

TEST_F(Service, ReadVectorPutsThePrefixInFrontOfTheNamesAndAnswersUnderTheNamesAsGiven) {
    Write("ram.sub.a", Number(5));

    EXPECT_EQ(Request("config.readv.ram.sub", Vbuf({{"a", {3, ""}, 0}})), Vbuf({{"a", Number(5), 0}}));
}

TEST_F(Service, ReadVectorTakesANameBelowItsPrefixForAWholeKey) {
    Write("ram.sub.a", Number(5));

    EXPECT_EQ(Request("config.readv.ram.sub", Vbuf({{"ram.sub.a", {3, ""}, 0}, {"a", {3, ""}, 0}})),
              Vbuf({{"ram.sub.a", Number(5), 0}, {"a", Number(5), 0}}));
}

TEST_F(Service, ReadVectorTakesANameThatOnlyBeginsLikeItsPrefixForARestOfAKey) {
    Write("ram.subway", Number(1));
    Write("ram.sub.ram.subway", Number(2));
    Write("ram.sub", Number(3));
    Write("ram.sub.ram.sub", Number(4));

    EXPECT_EQ(Request("config.readv.ram.sub", Vbuf({{"ram.subway", {3, ""}, 0}, {"ram.sub", {3, ""}, 0}})),
              Vbuf({{"ram.subway", Number(2), 0}, {"ram.sub", Number(4), 0}}));
}

TEST_F(Service, ReadVectorIsEmptyWhenTheBusWouldNotCarryIt) {
    Write("ram.large", Binary(std::string(1 << 20, 'x')));

    EXPECT_EQ(Request("config.readv", Vbuf(Elements(8, {"ram.large", {16, ""}, 0}))), "");
}

TEST_F(Service, ReadVectorThatNamesALargeValueVeryOftenIsNotBuiltToItsEnd) {
    Write("ram.large", Binary(std::string(size_t{1} << 20, 'x')));
    const Elements often(200000, {"ram.large", Binary(""), CONFIG_OK});

    EXPECT_EQ(Request("config.readv", Vbuf(often)), "");
}

TEST_F(Service, ReadPatternAnswersTheCountAndTheEntries) {
    Write("ram.x.b", Number(2));
    Write("ram.x.a", Number(1));
    Write("ram.y", Number(3));

    EXPECT_EQ(Request("config.readm.ram.x.*", ""),
              Words({0, 2}) + Vbuf({{"ram.x.a", Number(1), 0}, {"ram.x.b", Number(2), 0}}));
}

TEST_F(Service, ReadPatternOfNothingIsEmpty) {
    EXPECT_EQ(Request("config.readm.ram.x.*", ""), "");
}

TEST_F(Service, ReadPatternThatIsMalformedIsEmpty) {
    Write("ram.a", Number(1));

    EXPECT_EQ(Request("config.readm.ram.(a", ""), "");
}

TEST_F(Service, StatAnswersStatusAndInformation) {
    EXPECT_EQ(Request("config.stat.cfg.factory", Words({-1})), Words({0, 0x302}));
    EXPECT_EQ(Request("config.stat.ram.none", Words({-1})), Words({-5, 0}));
}

TEST_F(Service, ModifyVectorAnswersTheStatusOfEachElement) {
    const std::string reply =
        Request("config.modifyv", Vbuf({{"cfg.a", Text("x"), 0}, {"ram.b", Number(1), 0}}));

    EXPECT_EQ(reply, Vbuf({{"cfg.a", {2, ""}, 0}, {"ram.b", {3, ""}, 0}}));
    EXPECT_EQ(Value("cfg.a"), Text("x"));
    EXPECT_EQ(Value("ram.b"), Number(1));
}

TEST_F(Service, ModifyVectorAnswersUnderTheNamesAsGiven) {
    EXPECT_EQ(Request("config.modifyv.ram.sub", Vbuf({{"a", Number(5), 0}})), Vbuf({{"a", {3, ""}, 0}}));
    EXPECT_EQ(Value("ram.sub.a"), Number(5));
}

TEST_F(Service, ModifyVectorIsDoneWholeOrNotAtAll) {
    const std::string reply = Request(
        "config.modifyv", Vbuf({{"ram.a", Number(1), 0}, {"tmp.b", Number(1), 0}, {"ram.c", {3, "xy"}, 0}}));

    EXPECT_EQ(reply, Vbuf({{"ram.a", {3, ""}, 0}, {"tmp.b", {3, ""}, -1}, {"ram.c", {3, ""}, -6}}));
    EXPECT_EQ(Value("ram.a"), Deleted());
    EXPECT_TRUE(m_signals.empty());
}

TEST_F(Service, ModifyVectorTellsThatTheStoreRefused) {
    const FullDisk full_disk;

    EXPECT_EQ(Request("config.modifyv", Vbuf({{"cfg.a", Number(1), 0}})), Vbuf({{"cfg.a", {3, ""}, -1}}));
}

TEST_F(Service, ModifyVectorOfNothingIsEmpty) {
    EXPECT_EQ(Request("config.modifyv", ""), "");
}

TEST_F(Service, WriteStoresAValueOfAnyType) {
    Write("cfg.a", Binary("\0\1\2"s));

    EXPECT_EQ(Value("cfg.a"), Binary("\0\1\2"s));
}

TEST_F(Service, WriteOfTypeNoneDeletes) {
    Write("cfg.factory", Deleted());

    EXPECT_EQ(Value("cfg.factory"), Deleted());
}

TEST_F(Service, VectorWritesPutThePrefixInFrontOfEveryName) {
    Send("config.writev.ram.sub", Vbuf({{"ram.sub.a", Number(1), 0}}));

    EXPECT_EQ(Request("config.modifyv.ram.sub", Vbuf({{"ram.sub.b", Number(2), 0}})),
              Vbuf({{"ram.sub.b", {3, ""}, 0}}));

    EXPECT_EQ(Value("ram.sub.ram.sub.a"), Number(1));
    EXPECT_EQ(Value("ram.sub.ram.sub.b"), Number(2));
    EXPECT_EQ(Value("ram.sub.a"), Deleted());
}

TEST_F(Service, WriteVectorStoresUnderThePrefix) {
    Send("config.writev.ram.sub", Vbuf({{"a", Number(1), 0}, {"b", Text("x"), 0}}));

    EXPECT_EQ(Value("ram.sub.a"), Number(1));
    EXPECT_EQ(Value("ram.sub.b"), Text("x"));
}

TEST_F(Service, WriteVectorIsDoneWholeOrNotAtAll) {
    Send("config.writev", Vbuf({{"ram.a", Number(1), 0}, {"tmp.b", Number(1), 0}}));

    EXPECT_EQ(Value("ram.a"), Deleted());
}

TEST_F(Service, DeletePatternDeletesWhatMatches) {
    Write("ram.test.1.a", Number(1));
    Write("ram.test.1.b", Number(1));
    Write("ram.test.2.a", Number(1));

    Send("config.delm.ram.test.1.*", "");

    EXPECT_EQ(Value("ram.test.1.a"), Deleted());
    EXPECT_EQ(Value("ram.test.1.b"), Deleted());
    EXPECT_EQ(Value("ram.test.2.a"), Number(1));
}

TEST_F(Service, SyncMovesTheStoreIntoItsFile) {
    Write("cfg.a", Binary(std::string(100'000, 'x')));

    Send("config.sync", "");

    EXPECT_GT(std::filesystem::file_size(m_directory.file("s.db")), 100'000U);
}

TEST_F(Service, FactoryResetAnswersZeroAndAnnouncesWhatChanged) {
    Write("cfg.a", Number(1));
    m_signals.clear();

    EXPECT_EQ(Request("config.factory_reset", Words({-1})), Words({0}));

    ASSERT_THAT(SignalNames(), ElementsAre("config.change.cfg"));
    EXPECT_EQ(m_signals[0].data, Vbuf({{"cfg.a", Deleted(), 0}}));
}

TEST_F(Service, FactoryResetOfSomethingIsNoneOfAll) {
    Write("cfg.a", Number(1));

    EXPECT_EQ(Request("config.factory_reset.cfg.b", Words({-1})), "");

    EXPECT_NE(m_database->find("cfg.a"), nullptr);
}

TEST_F(Service, FactoryResetTellsThatTheStoreRefused) {
    Write("cfg.a", Number(1));
    const FullDisk full_disk;

    EXPECT_EQ(Request("config.factory_reset", Words({-1})), Words({-1}));
}

TEST_F(Service, AChangeIsAnnouncedUnderItsFirstComponent) {
    Write("ram.a", Text("x"));

    ASSERT_THAT(SignalNames(), ElementsAre("config.change.ram"));
    EXPECT_EQ(m_signals[0].data, Vbuf({{"ram.a", Text("x"), 0}}));
}

TEST_F(Service, ADeletedKeyIsAnnouncedAsAnEntryOfTypeNoneWithoutData) {
    Write("cfg.factory", Deleted());

    ASSERT_EQ(m_signals.size(), 1U);
    EXPECT_EQ(m_signals[0].data, Vbuf({{"cfg.factory", Deleted(), 0}}));
}

TEST_F(Service, WritingWhatIsThereAlreadyIsNotAnnounced) {
    Write("ram.a", Text("x"));
    m_signals.clear();

    Write("ram.a", Text("x"));
    Write("ram.none", Deleted());

    EXPECT_TRUE(m_signals.empty());
}

TEST_F(Service, AWriteIsAnnouncedInOneSignalPerComponentWithTheChangedEntries) {
    Write("ram.same", Number(1));
    m_signals.clear();

    Send("config.writev", Vbuf({{"ram.b", Number(2), 0},
                                {"cfg.a", Number(1), 0},
                                {"ram.same", Number(1), 0},
                                {"ram.a", Number(3), 0}}));

    ASSERT_THAT(SignalNames(), ElementsAre("config.change.cfg", "config.change.ram"));
    EXPECT_EQ(m_signals[1].data, Vbuf({{"ram.a", Number(3), 0}, {"ram.b", Number(2), 0}}));
}

TEST_F(Service, ChangesThatOneMessageWouldNotCarryGoInSeveral) {
    const std::string large(1 << 20, 'x');
    for (char key = 'a'; key < 'k'; ++key) {
        Write("ram."s + key, Binary(large));
    }
    Elements others;
    for (char key = 'a'; key < 'k'; ++key) {
        others.push_back({"ram."s + key, Binary(large), 0});
        others.back().value.data[0] = 'y';
    }
    m_signals.clear();

    Send("config.writev", Vbuf(others));

    ASSERT_THAT(SignalNames(), ElementsAre("config.change.ram", "config.change.ram"));
    EXPECT_LE(m_signals[0].data.size(), ::ConfigOutlet::kMaxDataBytes);
    EXPECT_EQ(m_signals[0].data + m_signals[1].data, Vbuf(others));
}

TEST_F(Service, AWriteIsAnnouncedBeforeItsWriterIsAnswered) {
    Request("config.modifyv", Vbuf({{"ram.a", Number(1), 0}}));

    EXPECT_EQ(m_signals.size(), 1U);
    EXPECT_EQ(m_answers.size(), 1U);
}

TEST_F(Service, AGuardedWriteIsDoneAfterItsValidatorAcceptedIt) {
    Send("config.validate.register", "ram.net\0"s);

    EXPECT_EQ(Request("config.modifyv", Vbuf({{"ram.net.ip", Text("x"), 0}})), "(none)");
    EXPECT_EQ(Value("ram.net.ip"), Deleted());
    ASSERT_THAT(SignalNames(), ElementsAre("config.clnt_validate.ram.net"));
    EXPECT_EQ(m_signals[0].data, Vbuf({{"ram.net.ip", Text("x"), 0}}));

    Send("config.validate.rsp", Vbuf({{"ram.net.ip", Text("x"), 0}}));

    EXPECT_THAT(m_answers, ElementsAre(Vbuf({{"ram.net.ip", {2, ""}, 0}})));
    EXPECT_EQ(Value("ram.net.ip"), Text("x"));
}

TEST_F(Service, AWriteThatItsValidatorRefusedIsNotDone) {
    Send("config.validate.register", "ram.net\0"s);
    Request("config.modifyv", Vbuf({{"ram.net.ip", Text("x"), 0}}));

    Send("config.validate.rsp", Vbuf({{"ram.net.ip", Text("x"), -22}}));

    EXPECT_THAT(m_answers, ElementsAre(Vbuf({{"ram.net.ip", {2, ""}, -22}})));
    EXPECT_EQ(Value("ram.net.ip"), Deleted());
}

TEST_F(Service, AWriteThatItsValidatorLeavesUnansweredIsRefused) {
    Send("config.validate.register", "ram.net\0"s);
    Request("config.modifyv", Vbuf({{"ram.net.ip", Text("x"), 0}}));

    m_service.expire(m_now_ms + 5000);

    EXPECT_THAT(m_answers, ElementsAre(Vbuf({{"ram.net.ip", {2, ""}, -1}})));
}

TEST_F(Service, SignalsAndDeletesAreGuardedToo) {
    Write("ram.net.ip", Text("x"));
    Send("config.validate.register", "ram.net\0"s);

    Write("ram.net.ip", Text("y"));
    Send("config.validate.rsp", Vbuf({{"ram.net.ip", Text("y"), -1}}));
    Send("config.delm.ram.net.*", "");
    Send("config.validate.rsp", Vbuf({{"ram.net.ip", Deleted(), -1}}));

    EXPECT_EQ(Value("ram.net.ip"), Text("x"));
}

TEST_F(Service, AGuardedWriteThatTheBusWouldNotCarryToItsValidatorIsRefused) {
    Send("config.validate.register", "ram.\0"s);
    const std::string prefix = "ram." + std::string(200, 'k');
    const size_t count = ::ConfigOutlet::kMaxDataBytes / 200;

    Send("config.writev." + prefix, Vbuf(Elements(count, {"a", Number(1), 0})));

    EXPECT_TRUE(m_signals.empty());
    EXPECT_EQ(Value(prefix + ".a"), Deleted());
}

// What the client library takes into one question; unguarded keys count, too.
TEST_F(Service, AGuardedWriteMayHave1600Elements) {
    Send("config.validate.register", "ram.net\0"s);
    Elements elements{{"ram.net.ip", Number(1), 0}};
    for (int i = 1; i < 1600; ++i) {
        elements.push_back({"ram.free." + std::to_string(i), Number(1), 0});
    }

    EXPECT_EQ(Request("config.modifyv", Vbuf(elements)), "(none)");
    EXPECT_THAT(SignalNames(), ElementsAre("config.clnt_validate.ram.net"));
    Send("config.validate.rsp", Vbuf({{"ram.net.ip", Number(1), 0}}));

    EXPECT_EQ(Value("ram.free.1599"), Number(1));
}

TEST_F(Service, AGuardedWriteOfMoreElementsIsRefused) {
    Send("config.validate.register", "ram.net\0"s);
    Elements elements{{"ram.net.ip", Number(1), 0}};
    for (int i = 1; i <= 1600; ++i) {
        elements.push_back({"ram.free." + std::to_string(i), Number(1), 0});
    }

    const auto statuses = vbuf_decode(Request("config.modifyv", Vbuf(elements)));

    ASSERT_TRUE(statuses.has_value() && statuses->size() == 1601);
    EXPECT_EQ(statuses->front().status, -1);
    EXPECT_THAT(SignalNames(), ElementsAre());
    EXPECT_EQ(Value("ram.free.1"), Deleted());
}

TEST_F(Service, OthersAreServedWhileAValidatorIsAsked) {
    Send("config.validate.register", "ram.net\0"s);
    Request("config.modifyv", Vbuf({{"ram.net.ip", Text("x"), 0}}));

    Write("ram.other", Number(1));

    EXPECT_EQ(Read("ram.other", 3, 4), Words({0, 3, 4}) + Word(1));
}

TEST_F(Service, MalformedRequestsGetAnEmptyReply) {
    EXPECT_EQ(Request("config.read.ram.a", "short"), "");
    EXPECT_EQ(Request("config.readv", "no vbuf"), "");
    EXPECT_EQ(Request("config.modifyv", "no vbuf"), "");
    EXPECT_EQ(Request("config.nonsense", ""), "");
    EXPECT_EQ(Request("config", ""), "");
    EXPECT_EQ(Request("", ""), "");
}

TEST_F(Service, MalformedSignalsChangeNothing) {
    Send("config.write.cfg.a", "short");
    Send("config.write.cfg.a", Words({-1, 2, 100}) + "abc\0"s);
    Send("config.write.cfg.a", Words({-1, 2, 1}) + "abc\0"s);
    Send("config.write", Words({-1, 3, 4}) + Word(1));
    Send("config.writev", "no vbuf");
    Send("config.delm.(", "");
    Send("config.validate.register", "");
    Send("config.validate.rsp", "no vbuf");
    Send("config.nonsense", "");

    EXPECT_TRUE(m_signals.empty());
    EXPECT_EQ(Value("cfg.a"), Deleted());
    EXPECT_EQ(Value("cfg.factory"), Text("factory"));
}
