// SPDX-License-Identifier: MIT

#include <gmock/gmock.h>
#include <sqlite3.h>

#include <cstdlib>
#include <cstring>
#include <random>

#include "RawClient.h"
#include "tests/support/RunningDatabase.h"

using testing::Each;
using testing::HasSubstr;
using testing::Not;

namespace {

// As many as the environment's ORVALE_KILLS says.
int KillCount() {
    const char* count = getenv("ORVALE_KILLS");
    return count != nullptr ? atoi(count) : 20;
}

// What a check of the store answers, with its log as the killed program left it. A copy, so that the program itself
// comes back from that state.
std::string IntegrityOf(const std::string& path) {
    const std::string copy = path + ".copy";
    for (const char* suffix : {"", "-wal"}) {
        std::filesystem::remove(copy + suffix);
        if (std::filesystem::exists(path + suffix)) {
            std::filesystem::copy_file(path + suffix, copy + suffix);
        }
    }
    sqlite3* database = nullptr;
    sqlite3_open(copy.c_str(), &database);
    std::string answer;
    sqlite3_exec(
        database, "PRAGMA integrity_check",
        [](void* text, int, char** columns, char**) {
            return static_cast<std::string*>(text)->append(columns[0]), 0;
        },
        &answer, nullptr);
    sqlite3_close(database);
    return answer;
}

// A writer that counts: all values of a write hold the number of that write.
class Kills : public RunningDatabase {
  protected:
    void SetUp() override {
        m_database_options = {"-r", m_directory.file("runtime.db")};
        RunningDatabase::SetUp();
    }
    int Random(int least, int most) { return std::uniform_int_distribution(least, most)(m_random); }

    std::string NextWrite(const std::string& tree) {
        Elements elements;
        ++m_written;
        // Some span several pages, and the log is moved into the file often.
        const auto size = static_cast<size_t>(Random(0, 3) == 0 ? Random(0, 60'000) : Random(0, 100));
        for (const char* key : {".kill.a", ".kill.b", ".kill.c.d"}) {
            elements.push_back({tree + key, Binary(Number(m_written).data + std::string(size, 'x')), 0});
        }
        return Vbuf(elements);
    }
    void Ask(const std::string& tree) { m_writer.ask("config.modifyv", NextWrite(tree)); }
    void AwaitAnswer(const std::string& tree) {
        const std::vector<int32_t> statuses = m_writer.awaitStatuses();
        if (!statuses.empty()) {
            ASSERT_THAT(statuses, Each(0));
            m_acknowledged[tree] = m_written;
        }
    }
    void WriteForAWhile() {
        for (int i = Random(0, 6); i > 0; --i) {
            const std::string tree = Random(0, 3) == 0 ? "ram" : "cfg";
            Ask(tree);
            AwaitAnswer(tree);
        }
        for (int i = Random(0, 10); i > 0; --i) {
            m_writer.send("config.writev", NextWrite("cfg"));
        }
    }
    void KillInTheMiddle() {
        const std::string tree = Random(0, 3) == 0 ? "ram" : "cfg";
        Ask(tree);
        usleep(static_cast<useconds_t>(Random(0, 5000)));
        m_database->signal(SIGKILL);
        ASSERT_TRUE(m_database->awaitEnd().has_value());
        AwaitAnswer(tree);
    }
    void KillDuringAStart() {
        m_database = Start(CONFIGD_PROGRAM, {"-a", m_address, "-s", m_directory.file("store.db"), "-r",
                                             m_directory.file("runtime.db")});
        usleep(static_cast<useconds_t>(Random(0, 20'000)));
        m_database->signal(SIGKILL);
        ASSERT_TRUE(m_database->awaitEnd().has_value());
    }
    void StartFresh(const std::string& store) {
        m_database = Start(CONFIGD_PROGRAM, {"-a", m_address, "-s", store});
    }
    void ExpectNoDamageByAKill(const std::string& store) {
        m_database->signal(SIGKILL);
        ASSERT_TRUE(m_database->awaitEnd().has_value());
        StartFresh(store);
        ASSERT_TRUE(m_database->awaitOutput("serving")) << m_database->output();
        EXPECT_THAT(m_database->output(), Not(HasSubstr("damaged")));
        EXPECT_FALSE(std::filesystem::exists(store + ".new"));
    }
    void ExpectLastCommittedState(const std::string& tree) {
        std::vector<int32_t> numbers;
        for (const char* key : {".kill.a", ".kill.b", ".kill.c.d"}) {
            int32_t number = 0;
            uint32_t length = 0;
            uint32_t type = 0;
            const int status =
                config_read_typed((tree + key).c_str(), &number, sizeof number, &length, &type);
            EXPECT_TRUE(status == CONFIG_TRUNCATED || status == CONFIG_OK || status == CONFIG_NO_VALUE)
                << status;
            numbers.push_back(number);
        }
        EXPECT_THAT(numbers, Each(numbers.front())) << "half a write in " << tree;
        EXPECT_GE(numbers.front(), m_acknowledged[tree]) << "an answered write is lost in " << tree;
        EXPECT_LE(numbers.front(), m_written);
    }

    unsigned int m_seed = std::random_device()();
    std::mt19937 m_random{m_seed};
    RawClient m_writer;
    int32_t m_written = 0;
    std::map<std::string, int32_t> m_acknowledged;
};

}  // namespace

TEST_F(Kills, NothingThatWasAnsweredIsLostByKillsAtRandomPoints) {
    SCOPED_TRACE("seed " + std::to_string(m_seed));
    for (int kill = 0; kill < KillCount() && !HasFailure(); ++kill) {
        SCOPED_TRACE("kill " + std::to_string(kill));
        WriteForAWhile();
        KillInTheMiddle();
        if (Random(0, 3) == 0) {
            KillDuringAStart();
        }
        EXPECT_EQ(IntegrityOf(m_directory.file("store.db")), "ok");
        EXPECT_EQ(IntegrityOf(m_directory.file("runtime.db")), "ok");
        StartDatabase();
        ExpectLastCommittedState("cfg");
        ExpectLastCommittedState("ram");
    }
    EXPECT_GT(m_acknowledged["cfg"], 0);
    EXPECT_FALSE(std::filesystem::exists(m_directory.file("store.db.damaged-1")));
}

// The file appears when it is whole.
TEST_F(Kills, OneAtTheMomentTheStoreAppearsIsNoDamage) {
    for (int kill = 0; kill < KillCount() && !HasFailure(); ++kill) {
        const std::string store = m_directory.file("fresh" + std::to_string(kill) + ".db");

        StartFresh(store);
        while (!std::filesystem::exists(store) && m_database->isRunning()) {
        }

        ExpectNoDamageByAKill(store);
    }
}

TEST_F(Kills, OneAnywhereInTheFirstStartIsNoDamage) {
    SCOPED_TRACE("seed " + std::to_string(m_seed));
    for (int kill = 0; kill < KillCount() && !HasFailure(); ++kill) {
        const std::string store = m_directory.file("fresh" + std::to_string(kill) + ".db");

        StartFresh(store);
        while (!std::filesystem::exists(store + ".new") && !std::filesystem::exists(store) &&
               m_database->isRunning()) {
        }
        usleep(static_cast<useconds_t>(Random(0, 5000)));

        ExpectNoDamageByAKill(store);
    }
}
