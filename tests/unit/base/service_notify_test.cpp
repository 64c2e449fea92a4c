// SPDX-License-Identifier: MIT

#include "src/base/service_notify.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

#include "tests/support/CapturedLog.h"
#include "tests/support/FullDescriptorTable.h"
#include "tests/support/ServiceManager.h"
#include "tests/support/pump_until.h"

namespace {

// The service manager, and the environment that names it.
class Manager : public testing::Test {
  protected:
    ~Manager() override {
        for (const char* name : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"}) {
            unsetenv(name);
        }
        std::filesystem::remove(m_path);
    }

    void ListenAt(const std::string& address) {
        setenv("NOTIFY_SOCKET", address.c_str(), 1);
        m_manager.emplace(address);
    }
    void Turn() { event_base_loop(m_base.get(), EVLOOP_NONBLOCK); }
    // The next datagram, empty when none has come.
    std::string Hear() { return m_manager->Hear(); }

    CapturedLog m_log;
    std::string m_path = std::filesystem::temp_directory_path() / ("notify-" + std::to_string(getpid()));
    std::string m_abstract = "@notify-" + std::to_string(getpid());
    EventBasePtr m_base{event_base_new()};
    std::optional<ServiceManager> m_manager;
};

}  // namespace

TEST_F(Manager, HearsAMessageAtAnAbstractAddress) {
    ListenAt(m_abstract);

    EXPECT_TRUE(service_notify("STATUS=fine"));

    EXPECT_EQ(Hear(), "STATUS=fine");
}

TEST_F(Manager, HearsAMessageAtAPath) {
    ListenAt(m_path);

    EXPECT_TRUE(service_notify("STATUS=fine"));

    EXPECT_EQ(Hear(), "STATUS=fine");
}

TEST_F(Manager, HearsNothingWithoutAskingForIt) {
    EXPECT_FALSE(service_notify("READY=1"));

    const ServiceNotifier notifier(m_base.get());
    Turn();

    EXPECT_TRUE(m_log.lines().empty());
}

TEST_F(Manager, WithABadAddressIsNotTold) {
    for (const char* address : {"", "@", "relative/path"}) {
        setenv("NOTIFY_SOCKET", address, 1);

        EXPECT_FALSE(service_notify("READY=1")) << address;
        EXPECT_EQ(errno, EINVAL) << address;
    }
    setenv("NOTIFY_SOCKET", ("/" + std::string(200, 'x')).c_str(), 1);
    EXPECT_FALSE(service_notify("READY=1"));
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(Manager, ThatIsGoneCostsOneLogLineAtTheStart) {
    setenv("NOTIFY_SOCKET", m_path.c_str(), 1);

    const ServiceNotifier notifier(m_base.get());
    Turn();

    EXPECT_TRUE(m_log.has(
        "4 service_notify: the service manager was not told of the start: No such file or directory"));
}

TEST_F(Manager, HearsOfTheStartAndOfTheEnd) {
    ListenAt(m_abstract);

    ServiceNotifier notifier(m_base.get());
    EXPECT_EQ(Hear(), "");  // until the loop runs
    Turn();
    notifier.announce_stopping();

    EXPECT_EQ(Hear(), "READY=1");
    EXPECT_EQ(Hear(), "STOPPING=1");
    EXPECT_EQ(Hear(), "");
}

TEST_F(Manager, HearsOfNoStartAfterTheEnd) {
    ListenAt(m_abstract);

    ServiceNotifier notifier(m_base.get());
    notifier.announce_stopping();
    Turn();

    EXPECT_EQ(Hear(), "STOPPING=1");
    EXPECT_EQ(Hear(), "");
}

TEST_F(Manager, HearsOfAnEndByExit) {
    ListenAt(m_abstract);

    EXPECT_EXIT(
        {
            service_notify_stopping_at_exit();
            exit(3);
        },
        testing::ExitedWithCode(3), "");

    EXPECT_EQ(Hear(), "STOPPING=1");
    EXPECT_EQ(Hear(), "");
}

TEST_F(Manager, HearsOfAnEndByExitInASignalHandler) {
    ListenAt(m_path);

    EXPECT_EXIT(
        {
            // The test library's own objects are not to be destroyed in a signal handler.
            atexit([] { _exit(1); });
            service_notify_stopping_at_exit();
            signal(SIGTERM, [](int) { exit(1); });
            raise(SIGTERM);
        },
        testing::ExitedWithCode(1), "");

    EXPECT_EQ(Hear(), "STOPPING=1");
}

TEST_F(Manager, HearsOfAnEndByExitOnceThoughItWasWantedTwice) {
    ListenAt(m_abstract);

    EXPECT_EXIT(
        {
            service_notify_stopping_at_exit();
            service_notify_stopping_at_exit();
            exit(0);
        },
        testing::ExitedWithCode(0), "");

    EXPECT_EQ(Hear(), "STOPPING=1");
    EXPECT_EQ(Hear(), "");
}

TEST_F(Manager, HearsNothingOfTheExitOfAChild) {
    ListenAt(m_abstract);

    EXPECT_EXIT(
        {
            service_notify_stopping_at_exit();
            const pid_t child = fork();
            if (child == 0) {
                exit(0);
            }
            waitpid(child, nullptr, 0);
            _exit(4);
        },
        testing::ExitedWithCode(4), "");

    EXPECT_EQ(Hear(), "");
}

TEST_F(Manager, ThatDidNotAskHearsNothingOfAnEndByExit) {
    m_manager.emplace(m_abstract);

    EXPECT_EXIT(
        {
            service_notify_stopping_at_exit();
            exit(5);
        },
        testing::ExitedWithCode(5), "");

    EXPECT_EQ(Hear(), "");
}

TEST_F(Manager, HearsTheWatchdogAgainAndAgainUntilTheEnd) {
    ListenAt(m_abstract);
    setenv("WATCHDOG_USEC", "4000", 1);
    setenv("WATCHDOG_PID", std::to_string(getpid()).c_str(), 1);
    ServiceNotifier notifier(m_base.get());
    Turn();
    EXPECT_EQ(Hear(), "READY=1");

    for (int i = 0; i < 3; ++i) {
        std::string heard;
        EXPECT_TRUE(pump_until(m_base.get(), [&] { return !(heard = Hear()).empty(); }));
        EXPECT_EQ(heard, "WATCHDOG=1");
    }

    notifier.announce_stopping();
    EXPECT_EQ(event_base_get_num_events(m_base.get(), EVENT_BASE_COUNT_ADDED), 0);
}

TEST_F(Manager, HearsTheWatchdogWhenNoDescriptorIsLeft) {
    ListenAt(m_abstract);
    setenv("WATCHDOG_USEC", "4000", 1);
    const ServiceNotifier notifier(m_base.get());
    Turn();
    EXPECT_EQ(Hear(), "READY=1");

    const FullDescriptorTable full;
    std::string heard;

    EXPECT_TRUE(pump_until(m_base.get(), [&] { return !(heard = Hear()).empty(); }));
    EXPECT_EQ(heard, "WATCHDOG=1");
}

TEST_F(Manager, HearsNoWatchdogOfAProgramThatIsNotWell) {
    ListenAt(m_abstract);
    setenv("WATCHDOG_USEC", "4000", 1);
    int looks = 0;
    const ServiceNotifier notifier(m_base.get(), [&looks] { return ++looks == 1; });

    pump_until(m_base.get(), [&] { return looks == 3; });

    EXPECT_EQ(Hear(), "READY=1");
    EXPECT_EQ(Hear(), "WATCHDOG=1");
    EXPECT_EQ(Hear(), "");
}

TEST_F(Manager, WantsTheWatchdogOfTheProcessThatItNames) {
    setenv("WATCHDOG_USEC", "30000000", 1);
    EXPECT_EQ(service_watchdog_usec(), 30'000'000u);

    setenv("WATCHDOG_PID", std::to_string(getpid()).c_str(), 1);
    EXPECT_EQ(service_watchdog_usec(), 30'000'000u);

    setenv("WATCHDOG_PID", "1", 1);
    EXPECT_EQ(service_watchdog_usec(), 0u);
}

TEST_F(Manager, WantsNoWatchdogByATextThatIsNoNumber) {
    for (const char* text : {"", "abc", "10s", "-5", "99999999999999999999999"}) {
        setenv("WATCHDOG_USEC", text, 1);

        EXPECT_EQ(service_watchdog_usec(), 0u) << text;
    }
}
