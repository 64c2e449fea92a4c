// SPDX-License-Identifier: MIT

#include "CommandsUnit.h"

// What the daemon does when a program that it started for a client behaves badly.

namespace {

class ChildFaults : public CommandsUnit {
  protected:
    // The resident memory of the daemon.
    [[nodiscard]] long ResidentKib() {
        std::ifstream file("/proc/" + std::to_string(m_unit.daemon().pid()) + "/status");
        std::string word;
        while (file >> word && word != "VmRSS:") {
        }
        long kib = 0;
        file >> kib;
        return kib;
    }
    static constexpr const char* kFirst = "/system/oem/privileged-cmds/1";
};

TEST_F(ChildFaults, OutputThatFloodsGoesPastTheDaemon) {
    Script("ip", "yes flood | head -c 67108864");
    Script("tcpdump", "exec yes flood");
    ASSERT_EQ(Get("/example/test"), R"({"a":null,"b":null,"c":null})");
    const long before = ResidentKib();

    ASSERT_EQ(Post(kCommands, R"({"command": "tcpdump"})"), 201);
    ASSERT_EQ(Post(kCommands, R"({"command": "ip", "stdout": ")" + File("out") + "\"}"), 201);

    const std::string second = "/system/oem/privileged-cmds/2";
    for (int i = 0; i < 1000 && Get(second).find("EXITED") == std::string::npos; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_NE(Get(second).find(R"("status":"EXITED")"), std::string::npos);
    EXPECT_EQ(std::filesystem::file_size(File("out")), 67108864U);
    EXPECT_LT(ResidentKib() - before, 16 * 1024);
    EXPECT_NE(Get(kFirst).find(R"("status":"RUNNING")"), std::string::npos);
    EXPECT_EQ(Delete(kFirst), 202);
    EXPECT_EQ(GetOnce(kFirst, ""), "");
}

TEST_F(ChildFaults, AChildThatIgnoresItsEndStaysListedUntilItIsKilled) {
    Script("tcpdump", "trap '' TERM; echo $$ >" + File("pid") + "; while :; do sleep 0.01; done");
    ASSERT_EQ(Post(kCommands, R"({"command": "tcpdump"})"), 201);
    const pid_t child = std::stoi(ContentsOnceThere("pid"));

    EXPECT_EQ(Delete(kFirst), 202);
    EXPECT_EQ(Delete(kFirst), 202);
    EXPECT_NE(Get(kFirst).find(R"("status":"RUNNING")"), std::string::npos);

    kill(child, SIGKILL);
    EXPECT_EQ(GetOnce(kFirst, ""), "");
    EXPECT_EQ(Get(kCommands), "[]");
}

TEST_F(ChildFaults, AChildThatIgnoresItsEndHoldsNoRestartOfTheDaemonUp) {
    Script("tcpdump", "trap '' TERM; echo $$ >" + File("pid") + "; while :; do sleep 0.01; done");
    ASSERT_EQ(Post(kCommands, R"({"command": "tcpdump"})"), 201);
    const pid_t child = std::stoi(ContentsOnceThere("pid"));

    m_unit.startDaemon();

    EXPECT_EQ(Get(kCommands), "[]");
    EXPECT_EQ(kill(child, SIGKILL), 0);
}

}  // namespace
