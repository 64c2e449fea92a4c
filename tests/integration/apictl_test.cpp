// SPDX-License-Identifier: MIT

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "RunningUnit.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;

using Arguments = std::vector<std::string>;

// The tool beside the real unit, which it finds by the rule that the daemon goes by.
class Apictl : public testing::Test {
  protected:
    void SetUp() override {
        unsetenv("ORVALE_API");
        m_unit.start();
    }

    Program Start(const Arguments& arguments) {
        const std::string output = m_unit.directory() / ("apictl-" + std::to_string(++m_started));
        return {APICTL_PROGRAM, arguments, {{"MRV_JSON_RPC_TEST", "1"}}, output};
    }
    // What it prints, and its exit status behind that when it is not 0.
    std::string OutputOf(const Arguments& arguments) {
        Program program = Start(arguments);
        const int status = program.awaitEnd().value_or(-1);
        return program.output() +
               (status == 0 ? "" : "status " + std::to_string(WIFEXITED(status) ? WEXITSTATUS(status) : -1));
    }
    // Sets "a" of /example/test to ever new texts until the watch has printed one: nothing tells from outside when it
    // has subscribed.
    bool UpdateUntilPrinted(Program& watch) {
        for (int i = 0; i < 200 && watch.output().empty(); ++i) {
            EXPECT_EQ(OutputOf({"update", "/example/test", R"({"a":"try )" + std::to_string(i) + "\"}"}), "");
        }
        return watch.awaitOutput("try ");
    }

    RunningUnit m_unit;
    int m_started = 0;
};

constexpr const char* kSnmp = "/system/info/oem-snmp";

}  // namespace

TEST_F(Apictl, ReadsAResource) {
    const std::string printed = OutputOf({"read", "/system/info"});

    EXPECT_THAT(printed, testing::StartsWith(R"({"pcb_id":)"));
    EXPECT_THAT(printed, EndsWith("}\n"));
}

TEST_F(Apictl, AnUpdateIsReadBack) {
    EXPECT_EQ(OutputOf({"update", kSnmp, R"({"sys_name":"mast-2"})"}), "");

    EXPECT_THAT(OutputOf({"read", kSnmp}), HasSubstr(R"("sys_name":"mast-2")"));
}

TEST_F(Apictl, BracesInATextAreStoredAsTheyStand) {
    EXPECT_EQ(OutputOf({"update", kSnmp, R"({"sys_name":"}}{ \"{"})"}), "");

    EXPECT_THAT(OutputOf({"read", kSnmp}), HasSubstr(R"("sys_name":"}}{ \"{")"));
}

TEST_F(Apictl, WhatTheUnitRefusesIsStatusOne) {
    EXPECT_EQ(OutputOf({"read", "/nowhere"}), "apictl: 404 Not Found\nstatus 1");
    EXPECT_EQ(OutputOf({"delete", "/system/info"}), "apictl: 405 Method Not Allowed\nstatus 1");
    EXPECT_EQ(OutputOf({"update", kSnmp, R"({"sys_services":128})"}), "apictl: 400 Bad Request\nstatus 1");
    EXPECT_EQ(OutputOf({"watch", "/system/none"}), "apictl: /system/none: 404 Not Found\nstatus 1");
    EXPECT_EQ(OutputOf({"watch", "/system/info", "/system/info"}),
              "apictl: /system/info: 409 Conflict\nstatus 1");
}

TEST_F(Apictl, ListsTheSubscriptionsThatItMakes) {
    EXPECT_EQ(OutputOf({"subscriptions", "/system/status", kSnmp, "-r", "-i", "updated"}),
              R"([{"api_path":"/system/info/oem-snmp","recursive":true,"data_include":"UPDATED"},)"
              R"({"api_path":"/system/status","recursive":true,"data_include":"UPDATED"}])"
              "\n");
}

TEST_F(Apictl, AWatchPrintsAnUpdateOfAnotherTerminal) {
    Program watch = Start({"watch", "/example/test", "--recursive"});
    ASSERT_TRUE(UpdateUntilPrinted(watch));

    EXPECT_EQ(OutputOf({"update", "/example/test", R"({"a":"hello"})"}), "");

    EXPECT_TRUE(watch.awaitOutput(R"("a":"hello")"));
    const std::string printed = watch.output();
    EXPECT_THAT(printed.substr(printed.rfind('\n', printed.size() - 2) + 1),
                MatchesRegex("[-0-9]+T[0-9:.]+ Updated /example/test [{]\"a\":\"hello\",.*[}]\n"));
}

TEST_F(Apictl, AWatchThatIncludesWhatWasUpdatedPrintsThatAlone) {
    Program watch = Start({"watch", "/example/test", "--include", "updated", "--count", "1"});

    ASSERT_TRUE(UpdateUntilPrinted(watch));

    EXPECT_EQ(watch.awaitEnd(), 0);
    EXPECT_THAT(watch.output(), MatchesRegex("[^ ]+ Updated /example/test [{]\"a\":\"try [0-9]+\"[}]\n"));
}

TEST_F(Apictl, ARecursiveWatchPrintsChangesOfEntriesBelow) {
    Program watch = Start({"watch", "/example", "--recursive"});
    ASSERT_TRUE(UpdateUntilPrinted(watch));

    EXPECT_EQ(OutputOf({"update", "/example/test/static/x", R"({"abc":"below"})"}), "");

    EXPECT_TRUE(watch.awaitOutput(R"("abc":"below")"));
    EXPECT_THAT(watch.output(), HasSubstr(" Updated /example/test/static/x {"));
}

TEST_F(Apictl, AWatchEndsWithTheDaemonAndStatusThree) {
    Program watch = Start({"watch", "/example/test"});
    ASSERT_TRUE(UpdateUntilPrinted(watch));

    m_unit.daemon().signal(SIGTERM);

    EXPECT_EQ(WEXITSTATUS(watch.awaitEnd().value_or(-1)), 3);
    EXPECT_THAT(watch.output(), HasSubstr("apictl: the connection has ended"));
}

TEST_F(Apictl, TheSocketOptionReachesTheUnitToo) {
    EXPECT_THAT(OutputOf({"read", "/system/status", "-s", m_unit.rpcSocket()}), HasSubstr("system_status"));
}
