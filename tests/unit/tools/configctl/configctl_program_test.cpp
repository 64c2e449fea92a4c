// SPDX-License-Identifier: MIT

#include <gmock/gmock.h>

#include "tests/support/ToolFixture.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using Configctl = ToolFixture;

constexpr const char* kModel = "Halden Marine 60 Ku";

}  // namespace

TEST_F(Configctl, GetsAValueAlone) {
    EXPECT_EQ(Run({"get", "ram.platform.model_number"}), 0);

    EXPECT_EQ(m_printed, std::string(kModel) + "\n");
    EXPECT_EQ(m_complaints, "");
}

TEST_F(Configctl, GetsSeveralValuesWithTheirKeys) {
    EXPECT_EQ(Run({"get", "ram.status.system", "ram.platform.model_number"}), 0);

    EXPECT_EQ(m_printed, "ram.status.system = 6\nram.platform.model_number = Halden Marine 60 Ku\n");
}

TEST_F(Configctl, GetsJson) {
    EXPECT_EQ(Run({"--json", "get", "ram.status.system", "ram.platform.id"}), 0);

    EXPECT_EQ(m_printed, "{\"ram.status.system\":6,\"ram.platform.id\":\"HM60-ACU\"}\n");
}

TEST_F(Configctl, AKeyWithoutAValueIsStatusOneAndTheOthersArePrinted) {
    EXPECT_EQ(Run({"get", "ram.none", "ram.status.system"}), 1);

    EXPECT_EQ(m_printed, "ram.status.system = 6\n");
    EXPECT_EQ(m_complaints, "configctl: ram.none: no value\n");
}

TEST_F(Configctl, PrintsHostileTextEscaped) {
    ASSERT_EQ(Write("ram.hostile", "a\x1b[2Jb\nc"), 0);

    EXPECT_EQ(Run({"get", "ram.hostile"}), 0);

    EXPECT_EQ(m_printed, "a\\u001b[2Jb\\u000ac\n");
}

TEST_F(Configctl, ListsTheKeysOfAPattern) {
    EXPECT_EQ(Run({"list", "ram.platform.(id|antenna)"}), 0);

    EXPECT_EQ(m_printed, "ram.platform.antenna = HM60-ANT-KU\nram.platform.id = HM60-ACU\n");
}

TEST_F(Configctl, ListsEveryKeyWithoutAPattern) {
    ASSERT_EQ(Write("dyn.a.b.c.d.e.f.g.h.i.j", "deep"), 0);
    ASSERT_EQ(Write("ram.a..b.", "dots"), 0);

    EXPECT_EQ(Run({"list"}), 0);

    EXPECT_THAT(m_printed, StartsWith("cfg.sysconf.pcb_id = HM-4410\n"));
    EXPECT_THAT(m_printed, HasSubstr("\ndyn.a.b.c.d.e.f.g.h.i.j = deep\n"));
    EXPECT_THAT(m_printed, HasSubstr("\nram.a..b. = dots\n"));
    EXPECT_THAT(m_printed, HasSubstr("\nram.status.system = 6\n"));
}

TEST_F(Configctl, ListsJson) {
    EXPECT_EQ(Run({"list", "ram.platform.id", "--json"}), 0);

    EXPECT_EQ(m_printed, "{\"ram.platform.id\":\"HM60-ACU\"}\n");
}

TEST_F(Configctl, APatternThatMatchesNothingIsStatusOne) {
    EXPECT_EQ(Run({"list", "ram.none.*"}), 1);

    EXPECT_EQ(m_printed, "");
    EXPECT_EQ(m_complaints, "configctl: no key matches, or more than one message holds\n");
}

TEST_F(Configctl, TellsTypeTreeAndOrigin) {
    ASSERT_EQ(Write("ram.status.text", "x"), 0);

    EXPECT_EQ(Run({"stat", "cfg.sysconf.pcb_id", "ram.status.system", "ram.status.text"}), 0);

    EXPECT_EQ(m_printed,
              "cfg.sysconf.pcb_id string stored factory\nram.status.system int memory factory\n"
              "ram.status.text string memory changed\n");
}

TEST_F(Configctl, TellsThemAsJson) {
    EXPECT_EQ(Run({"stat", "--json", "cfg.sysconf.pcb_id"}), 0);

    EXPECT_EQ(m_printed,
              "{\"cfg.sysconf.pcb_id\":{\"type\":\"string\",\"persists\":true,\"factory\":true}}\n");
}

TEST_F(Configctl, TheStatOfAKeyWithoutAValueIsStatusOne) {
    EXPECT_EQ(Run({"stat", "cfg.none"}), 1);

    EXPECT_EQ(m_complaints, "configctl: cfg.none: no value\n");
}

TEST_F(Configctl, ABusThatCannotBeReachedIsStatusThree) {
    StopBus();

    EXPECT_EQ(Run({"get", "ram.status.system"}), 3);

    EXPECT_EQ(m_complaints, "configctl: cannot reach the bus '" + m_address + "': Connection refused\n");
}

TEST_F(Configctl, AnAddressThatIsNoneIsStatusThree) {
    EXPECT_EQ(Run({"-a", "nonsense", "get", "ram.status.system"}), 3);

    EXPECT_EQ(m_complaints, "configctl: cannot reach the bus 'nonsense': Invalid argument\n");
}

TEST_F(Configctl, ABusWithoutTheDatabaseIsStatusThreeForEveryCommand) {
    m_database.reset();
    const std::vector<std::vector<std::string>> commands = {{"get", "ram.a"},
                                                            {"set", "ram.a", "x"},
                                                            {"list"},
                                                            {"delete", "ram.a"},
                                                            {"stat", "ram.a"},
                                                            {"export"},
                                                            {"sync"},
                                                            {"watch", "ram"},
                                                            {"factory-reset", "--yes"}};
    for (const auto& command : commands) {
        EXPECT_EQ(Run(command), 3) << command.front();
        EXPECT_EQ(m_complaints, "configctl: the database does not answer\n") << command.front();
    }
    EXPECT_EQ(RunShell("echo '{\"ram.a\": 1}' | \"$TOOL\" import"), 3);
    EXPECT_EQ(RunShell("echo '{}' | \"$TOOL\" import"), 3);
}

TEST_F(Configctl, NowhereToWriteToIsStatusThree) {
    EXPECT_EQ(RunShell("exec \"$TOOL\" get ram.status.system >/dev/full"), 3);

    EXPECT_EQ(m_complaints, "configctl: cannot write: No space left on device\n");
}

TEST_F(Configctl, AWrongCommandLineIsStatusTwo) {
    EXPECT_EQ(Run({"get"}), 2);
    EXPECT_EQ(Run({"frob"}), 2);
    EXPECT_THAT(m_complaints, EndsWith("Try configctl -h.\n"));
}
