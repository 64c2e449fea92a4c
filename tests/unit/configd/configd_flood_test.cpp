// SPDX-License-Identifier: MIT

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "RawClient.h"
#include "tests/support/RunningDatabase.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr size_t kValueBytes = 100'000;

// Writes without an end, and somebody who listens to them but does not take what he hears.
class Flood : public RunningDatabase {
  protected:
    void TearDown() override {
        if (m_subscriber > 0) {
            kill(m_subscriber, SIGKILL);
            waitpid(m_subscriber, nullptr, 0);
        }
    }
    // A process that hears of changes below "cfg." and is stopped. Going on, it ends with status 0 once it has heard of
    // so many.
    void StopASubscriber(int expected_changes) {
        m_subscriber = fork();
        if (m_subscriber == 0) {
            RawClient client;
            client.filter("config.change.cfg");
            client.ask("config.stat.cfg.none", "");
            static_cast<void>(client.awaitReply());
            raise(SIGSTOP);
            alarm(20);
            for (int i = 0; i < expected_changes; ++i) {
                if (client.awaitSignal() != "config.change.cfg") {
                    _exit(1);
                }
            }
            _exit(0);
        }
        int status = 0;
        ASSERT_EQ(waitpid(m_subscriber, &status, WUNTRACED), m_subscriber);
        ASSERT_TRUE(WIFSTOPPED(status));
    }
    int AwaitSubscriber() {
        kill(m_subscriber, SIGCONT);
        int status = -1;
        waitpid(m_subscriber, &status, 0);
        m_subscriber = -1;
        return status;
    }
    static std::string Key(int number) { return "cfg.flood." + std::to_string(number); }
    // Until each write has been acknowledged; another client reads meanwhile.
    void WriteAll(int count) {
        RawClient writer;
        for (int i = 0; i < count; ++i) {
            const ConfigValue value = Binary(std::string(kValueBytes, static_cast<char>('a' + i % 26)));
            writer.ask("config.modifyv", Vbuf({{Key(i), value, 0}}));
            ASSERT_EQ(Read("ram.platform.system_id"), "HM60");
            ASSERT_THAT(writer.awaitStatuses(), ElementsAre(0));
        }
    }
    void ExpectAllAfterAKill(int count) {
        m_database->signal(SIGKILL);
        ASSERT_TRUE(m_database->awaitEnd().has_value());
        StartDatabase();
        std::string buffer(kValueBytes, '\0');
        for (int i = 0; i < count; ++i) {
            uint32_t length = 0;
            uint32_t type = 0;
            EXPECT_EQ(config_read_typed(Key(i).c_str(), buffer.data(), kValueBytes, &length, &type), 0);
            EXPECT_EQ(buffer, std::string(kValueBytes, static_cast<char>('a' + i % 26))) << Key(i);
        }
    }

    pid_t m_subscriber = -1;
};

}  // namespace

// 7 MB wait for him: more than others are slowed by, less than what costs him his connection.
TEST_F(Flood, ThatAStoppedSubscriberDoesNotTakeIsKeptAndReachesHimLater) {
    StopASubscriber(70);

    WriteAll(70);

    EXPECT_EQ(AwaitSubscriber(), 0);
    ExpectAllAfterAKill(70);
}

// 20 MB: more than the bus keeps for anybody. Takes the ten seconds that he has.
TEST_F(Flood, ThatIsTooMuchForTheBusCostsTheStoppedSubscriberHisConnectionAndNoWrite) {
    StopASubscriber(200);

    WriteAll(200);

    EXPECT_THAT(m_bus->output(), HasSubstr("pid " + std::to_string(m_subscriber)));
    EXPECT_NE(AwaitSubscriber(), 0);
    ExpectAllAfterAKill(200);
}
