// SPDX-License-Identifier: MIT

#include <gtest/gtest.h>

#include "CommandsFixture.h"
#include "tests/support/CapturedLog.h"

// How commands end and are deleted, and what the subscribers hear of it.

namespace {

class CommandEnds : public CommandsFixture {
  protected:
    CommandEnds() { m_programs.write("ip", "touch $DIR/ready\nread code < $GATE\nexit $code"); }

    // Starts "ip" and waits until its program runs.
    void start() {
        ASSERT_EQ(createIp(), 201);
        ASSERT_TRUE(m_loop.turnUntil([this] { return m_programs.has("ready"); }));
    }
};

}  // namespace

TEST_F(CommandEnds, TellTheSubscribersStatusAndExitcode) {
    start();
    subscribe("/1", R"({"data_include":"UPDATED"})");
    EXPECT_EQ(m_client.told(), Lines{});

    m_programs.open("3");

    ASSERT_TRUE(ends("1"));
    EXPECT_EQ(m_client.told(),
              Lines{R"(Updated /system/oem/privileged-cmds/1 {"status":"EXITED","exitcode":3})"});
}

TEST_F(CommandEnds, TellTheSubscribersOfTheCollectionTheWholeEntry) {
    subscribe("");
    start();

    m_programs.open("3");

    ASSERT_TRUE(ends("1"));
    EXPECT_EQ(m_client.told(), Lines{"Updated /system/oem/privileged-cmds/1 " + ipEntry(1, "EXITED", 3)});
}

TEST_F(CommandEnds, AreLogged) {
    const CapturedLog log;
    start();

    m_programs.open("3");

    ASSERT_TRUE(ends("1"));
    EXPECT_EQ(log.count("6 src/Process: process: ip ::exited with exitcode: 3"), 1);
    EXPECT_EQ(log.count("6 src/PrivilegedCommands: " + ipEntry(1, "EXITED", 3)), 1);
}

TEST_F(CommandEnds, ChangeNoAttributeBeforeTheyHaveCome) {
    start();
    subscribe("/1", R"({"data_include":"UPDATED"})");

    m_commands->updateCommand(m_commands->getCommand(1));

    EXPECT_EQ(m_client.told(), Lines{"Updated /system/oem/privileged-cmds/1 {}"});
}

TEST_F(CommandEnds, LeaveTheEntryUntilItIsDeleted) {
    start();
    subscribe("/1", R"({"data_include":"NONE"})");
    m_programs.open("0");
    ASSERT_TRUE(ends("1"));

    EXPECT_EQ(remove("1"), 202);

    EXPECT_EQ(read("1").status, 404);
    EXPECT_EQ(list().json, "[]");
    EXPECT_EQ(m_client.told(),
              (Lines{"Updated /system/oem/privileged-cmds/1 -", "Deleted /system/oem/privileged-cmds/1 -"}));
}

TEST_F(CommandEnds, FollowADeletionOfTheEntry) {
    start();
    subscribe("/1", R"({"data_include":"NONE"})");

    EXPECT_EQ(remove("1"), 202);

    EXPECT_EQ(read("1"), (Answer{200, ipEntry(1, "RUNNING", 0), ""}));
    EXPECT_EQ(m_client.told(), Lines{});
    ASSERT_TRUE(vanishes("1"));
    EXPECT_EQ(list().json, "[]");
    EXPECT_EQ(m_client.told(),
              (Lines{"Updated /system/oem/privileged-cmds/1 -", "Deleted /system/oem/privileged-cmds/1 -"}));
}

TEST_F(CommandEnds, ShowTheCodeZeroWhenADeletionCausedThem) {
    start();
    subscribe("/1", R"({"data_include":"UPDATED"})");

    ASSERT_EQ(remove("1"), 202);

    ASSERT_TRUE(vanishes("1"));
    EXPECT_EQ(m_client.told().front(),
              R"(Updated /system/oem/privileged-cmds/1 {"status":"EXITED","exitcode":0})");
}

TEST_F(CommandEnds, FollowADeletionRightAfterTheStart) {
    ASSERT_EQ(createIp(), 201);

    EXPECT_EQ(remove("1"), 202);

    EXPECT_TRUE(vanishes("1"));
}

TEST_F(CommandEnds, MayIgnoreTheDeletionForAWhile) {
    m_programs.write("ip", "trap '' TERM\ntouch $DIR/ready\nread code < $GATE\nexit $code");
    start();
    subscribe("/1", R"({"data_include":"UPDATED"})");

    EXPECT_EQ(remove("1"), 202);
    EXPECT_EQ(remove("1"), 202);
    m_loop.turn();
    EXPECT_EQ(read("1").json, ipEntry(1, "RUNNING", 0));
    m_programs.open("4");

    ASSERT_TRUE(vanishes("1"));
    EXPECT_EQ(m_client.told(),
              (Lines{R"(Updated /system/oem/privileged-cmds/1 {"status":"EXITED","exitcode":4})",
                     "Deleted /system/oem/privileged-cmds/1 -"}));
}

// A stopped process takes the signal only once it goes on.
TEST_F(CommandEnds, FollowADeletionWhileStoppedOnceTheProcessGoesOn) {
    const CapturedLog log;
    m_programs.write("ip", "echo $$ > $DIR/pid\ntouch $DIR/ready\nread code < $GATE");
    start();
    ASSERT_TRUE(m_loop.turnUntil([&] { return m_programs.text("pid").ends_with('\n'); }));
    const pid_t pid = std::stoi(m_programs.text("pid"));
    ASSERT_EQ(kill(pid, SIGSTOP), 0);
    ASSERT_TRUE(m_loop.turnUntil([&] { return log.has("6 src/Process: process: ip stopped by signal 19"); }));

    EXPECT_EQ(remove("1"), 202);
    m_loop.turn();
    EXPECT_EQ(read("1").json, ipEntry(1, "RUNNING", 0));
    ASSERT_EQ(kill(pid, SIGCONT), 0);

    EXPECT_TRUE(vanishes("1"));
}

TEST_F(CommandEnds, TakeOnlyTheirOwnEntry) {
    start();
    ASSERT_EQ(createIp(), 201);

    ASSERT_EQ(remove("1"), 202);

    ASSERT_TRUE(vanishes("1"));
    EXPECT_EQ(list().json, "[" + ipEntry(2, "RUNNING", 0) + "]");
}

TEST_F(CommandEnds, AreNotHeardOfUnderAnIdThatIsNoEntry) {
    start();

    for (const char* id : {"2", "01", "1x", "-1", "0", "new"}) {
        EXPECT_EQ(remove(id), 404) << id;
    }

    EXPECT_EQ(read("1").json, ipEntry(1, "RUNNING", 0));
}

TEST_F(CommandEnds, AreNotCausedByTheEndOfTheCollection) {
    m_programs.write("ip", "touch $DIR/ready\nread code < $GATE\ntouch $DIR/survived");
    start();

    m_oem->deleteSubPathHandler("privileged-cmds");
    m_programs.open();

    EXPECT_GT(waitpid(-1, nullptr, 0), 0);
    EXPECT_TRUE(m_programs.has("survived"));
}
