// SPDX-License-Identifier: MIT

#include <gmock/gmock.h>

#include "Values.h"
#include "config_client/config_wire.h"
#include "device/configd/ConfigService.h"
#include "device/configd/vbuf_codec.h"
#include "device/configd/wire_bytes.h"
#include "tests/support/TempDirectory.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// The service between two transactions: what its clients see, in the order in which they see it.
class Turn : public testing::Test, private ConfigOutlet {
  protected:
    void Modify(const Elements& elements) {
        EXPECT_FALSE(m_service.handle_request("config.modifyv", Vbuf(elements), m_now_ms).has_value());
    }
    void Signal(const std::string& name, const std::string& data) {
        m_service.handle_signal(name, data, m_now_ms);
    }
    std::string Read(const std::string& key) {
        const std::string request = bytes_of(config_read_request_t{-1, 0, 100});
        const auto reply = m_service.handle_request("config.read." + key, request, m_now_ms);
        return reply.value_or("").substr(sizeof(config_read_reply_t));
    }
    // As a database that starts now would find it.
    bool IsStored(const std::string& key) { return m_database->find(key) != nullptr; }

    void send_signal(const std::string& name, const std::string& data) override {
        m_seen.push_back(name + " " + vbuf_decode(data)->front().key);
    }
    Answer keep_request() override {
        return [this](const std::string& data) {
            const ConfigElement first = vbuf_decode(data)->front();
            m_seen.push_back("reply " + first.key + " " + std::to_string(first.status));
        };
    }

    TempDirectory m_directory;
    std::unique_ptr<ConfigDatabase> m_database =
        ConfigDatabase::load({}, ConfigStore::open(m_directory.file("s.db")));
    ConfigService m_service{*m_database, *this};
    std::vector<std::string> m_seen;
    uint32_t m_now_ms = 0xfffffff0;  // shortly before the clock wraps
};

}  // namespace

TEST_F(Turn, AWriteIsNeitherAnsweredNorAnnouncedBeforeItsTransactionIsCommitted) {
    Modify({{"cfg.a", Text("x"), 0}});
    EXPECT_THAT(m_seen, IsEmpty());
    EXPECT_FALSE(IsStored("cfg.a"));

    m_service.commit();

    EXPECT_THAT(m_seen, ElementsAre("config.change.cfg cfg.a", "reply cfg.a 0"));
    EXPECT_TRUE(IsStored("cfg.a"));
}

TEST_F(Turn, WritesOfOneTransactionAreAnnouncedAndAnsweredEachByItself) {
    Modify({{"cfg.a", Number(1), 0}});
    Modify({{"cfg.a", Number(2), 0}});
    Modify({{"cfg.a", Number(2), 0}});

    m_service.commit();

    EXPECT_THAT(m_seen, ElementsAre("config.change.cfg cfg.a", "reply cfg.a 0", "config.change.cfg cfg.a",
                                    "reply cfg.a 0", "reply cfg.a 0"));
}

TEST_F(Turn, ACommitIsDueFiftyMillisecondsAfterTheFirstWrite) {
    EXPECT_FALSE(m_service.commit_is_due(m_now_ms));
    Modify({{"cfg.a", Number(1), 0}});
    const uint32_t first_ms = m_now_ms;
    m_now_ms += 30;
    Modify({{"cfg.b", Number(1), 0}});

    EXPECT_FALSE(m_service.commit_is_due(first_ms + 49));
    EXPECT_TRUE(m_service.commit_is_due(first_ms + 50));
    m_service.commit();
    EXPECT_FALSE(m_service.has_uncommitted());
}

TEST_F(Turn, AReadOfWhatWaitsCommitsItFirst) {
    Modify({{"cfg.a", Text("x"), 0}});

    EXPECT_EQ(Read("cfg.a"), Text("x").data);

    EXPECT_FALSE(m_service.has_uncommitted());
}

TEST_F(Turn, AReadOfSomethingElseDoesNot) {
    Modify({{"cfg.a", Text("x"), 0}});

    EXPECT_EQ(Read("cfg.b"), "");

    EXPECT_TRUE(m_service.has_uncommitted());
}

TEST_F(Turn, PatternsSeeWhatWaits) {
    Modify({{"cfg.a.1", Text("x"), 0}});

    const auto reply = m_service.handle_request("config.readm.cfg.a.*", "", m_now_ms);

    EXPECT_EQ(reply.value_or("").substr(sizeof(config_match_header_t)), Vbuf({{"cfg.a.1", Text("x"), 0}}));
}

TEST_F(Turn, DeletingAPatternDeletesWhatWaits) {
    Modify({{"cfg.a.1", Text("x"), 0}});
    Signal("config.delm.cfg.a.*", "");

    EXPECT_EQ(Read("cfg.a.1"), "");
}

TEST_F(Turn, AFactoryResetComesBehindWhatWaits) {
    Modify({{"cfg.a", Text("x"), 0}});

    EXPECT_EQ(m_service.handle_request("config.factory_reset", bytes_of(int32_t{-1}), m_now_ms),
              bytes_of(int32_t{0}));

    EXPECT_EQ(Read("cfg.a"), "");
}

TEST_F(Turn, SyncCommits) {
    Modify({{"cfg.a", Text("x"), 0}});

    Signal("config.sync", "");

    EXPECT_TRUE(IsStored("cfg.a"));
}

TEST_F(Turn, AWriteThatDoesNotFitTheDiskTakesNoOtherWithIt) {
    Modify({{"cfg.a", Binary(std::string(1000, 'x')), 0}});
    Modify({{"cfg.large", Binary(std::string(500'000, 'x')), 0}});
    Modify({{"ram.b", Text("x"), 0}});
    const FullDisk full_disk(200'000);

    m_service.commit();

    EXPECT_THAT(m_seen, ElementsAre("config.change.cfg cfg.a", "reply cfg.a 0", "reply cfg.large -1",
                                    "config.change.ram ram.b", "reply ram.b 0"));
    EXPECT_FALSE(IsStored("cfg.large"));
}
