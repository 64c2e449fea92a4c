// SPDX-License-Identifier: MIT

#include <gmock/gmock.h>
#include <pty.h>
#include <unistd.h>

#include "tests/support/ToolFixture.h"

namespace {

using testing::HasSubstr;

class ConfigctlWrites : public ToolFixture {
  protected:
    // The import of a text on standard input.
    int Import(const std::string& text) {
        const std::string file = m_directory.write("values.json", text);
        return RunShell("exec \"$TOOL\" import <" + file);
    }
};

}  // namespace

TEST_F(ConfigctlWrites, ANewKeyIsAString) {
    EXPECT_EQ(Run({"set", "ram.new", "5"}), 0);

    EXPECT_EQ(Read("ram.new"), "5");
    EXPECT_EQ(m_printed, "");
}

TEST_F(ConfigctlWrites, AStoredKeyKeepsItsType) {
    EXPECT_EQ(Run({"set", "ram.status.system", "-4"}), 0);

    EXPECT_EQ(ReadInt("ram.status.system"), -4);
}

TEST_F(ConfigctlWrites, AValueOfAnotherTypeThanTheStoredIsStatusTwo) {
    EXPECT_EQ(Run({"set", "ram.status.system", "four"}), 2);

    EXPECT_EQ(m_complaints, "configctl: ram.status.system: 'four' is no int\n");
    EXPECT_EQ(ReadInt("ram.status.system"), 6);
}

TEST_F(ConfigctlWrites, TheTypeMayBeGiven) {
    EXPECT_EQ(Run({"set", "ram.number", "7", "--type", "int"}), 0);
    EXPECT_EQ(ReadInt("ram.number"), 7);

    EXPECT_EQ(Run({"set", "ram.bytes", "000aFF", "--type", "binary"}), 0);
    EXPECT_EQ(Run({"get", "ram.bytes"}), 0);
    EXPECT_EQ(m_printed, "000aff\n");
}

TEST_F(ConfigctlWrites, ABinaryValueMayBeEmpty) {
    EXPECT_EQ(Run({"set", "ram.bytes", "", "--type", "binary"}), 0);

    EXPECT_EQ(Run({"stat", "ram.bytes"}), 0);
    EXPECT_EQ(m_printed, "ram.bytes binary memory changed\n");
}

TEST_F(ConfigctlWrites, ARefusedKeyIsStatusOne) {
    EXPECT_EQ(Run({"set", "nowhere.a", "x"}), 1);

    EXPECT_EQ(m_complaints, "configctl: nowhere.a: refused\n");
}

TEST_F(ConfigctlWrites, DeletesKeys) {
    ASSERT_EQ(Write("ram.a", "x"), 0);

    EXPECT_EQ(Run({"delete", "ram.a", "cfg.sysconf.pcb_id"}), 0);

    EXPECT_EQ(Read("ram.a"), "(no value)");
    EXPECT_EQ(Read("cfg.sysconf.pcb_id"), "(no value)");
}

TEST_F(ConfigctlWrites, DeletesNothingWhenOneKeyIsNotThere) {
    ASSERT_EQ(Write("ram.a", "x"), 0);

    EXPECT_EQ(Run({"delete", "ram.a", "ram.none"}), 1);

    EXPECT_EQ(m_complaints, "configctl: ram.none: no value\n");
    EXPECT_EQ(Read("ram.a"), "x");
}

TEST_F(ConfigctlWrites, ImportsAllEntries) {
    EXPECT_EQ(Import(R"({"ram.a": "x", "cfg.b": 7, "ram.c": {"hex": "00"}})"), 0);

    EXPECT_EQ(Read("ram.a"), "x");
    EXPECT_EQ(ReadInt("cfg.b"), 7);
    EXPECT_EQ(Run({"get", "ram.c"}), 0);
    EXPECT_EQ(m_printed, "00\n");
}

TEST_F(ConfigctlWrites, ImportsNothingWhenOneEntryIsRefusedAndNamesIt) {
    EXPECT_EQ(Import(R"({"ram.a": "x", "nowhere.b": 7})"), 1);

    EXPECT_EQ(m_complaints, "configctl: nowhere.b: refused\n");
    EXPECT_EQ(Read("ram.a"), "(no value)");
}

TEST_F(ConfigctlWrites, ImportsNothingOfAFileWithAWrongEntry) {
    EXPECT_EQ(Import(R"({"ram.a": "x", "ram.b": 1.5})"), 2);

    EXPECT_THAT(m_complaints, HasSubstr("ram.b: neither text nor integer"));
    EXPECT_EQ(Read("ram.a"), "(no value)");
}

TEST_F(ConfigctlWrites, TellsWhereAFileIsNoJson) {
    EXPECT_EQ(Import("{\"ram.a\" 1}"), 2);
    EXPECT_THAT(m_complaints, HasSubstr("the data is no JSON near byte"));

    EXPECT_EQ(Run({"import", m_directory.file("none")}), 2);
    EXPECT_THAT(m_complaints, HasSubstr("No such file or directory"));
}

TEST_F(ConfigctlWrites, RefusesMoreThanOneWriteCanCarry) {
    std::string text = "{";
    for (int i = 0; i < 9; ++i) {
        text +=
            (i == 0 ? "\"ram." : ",\"ram.") + std::to_string(i) + "\":\"" + std::string(1 << 20, 'x') + "\"";
    }

    EXPECT_EQ(Import(text + "}"), 2);

    EXPECT_EQ(m_complaints, "configctl: the data is larger than one write may be\n");
}

TEST_F(ConfigctlWrites, AnImportOfNothingIsDone) {
    EXPECT_EQ(Import("{}"), 0);
}

TEST_F(ConfigctlWrites, AnExportBringsEverythingBack) {
    ASSERT_EQ(Write("ram.text", "line\nand \"quotes\" h\xc3\xbcgel"), 0);
    ASSERT_EQ(Run({"export"}), 0);
    const std::string exported = m_printed;
    ASSERT_EQ(Run({"delete", "ram.text", "cfg.sysconf.pcb_id"}), 0);
    ASSERT_EQ(Run({"set", "ram.status.system", "1"}), 0);

    EXPECT_EQ(Import(exported), 0);

    EXPECT_EQ(Read("ram.text"), "line\nand \"quotes\" h\xc3\xbcgel");
    EXPECT_EQ(Run({"export"}), 0);
    EXPECT_EQ(m_printed, exported);
}

TEST_F(ConfigctlWrites, TheDatabaseTakesAnExportAsItsFactoryFile) {
    ASSERT_EQ(Run({"set", "ram.bytes", "00ff", "--type", "binary"}), 0);
    ASSERT_EQ(Run({"export"}), 0);
    const std::string factory = m_directory.write("factory.json", m_printed);
    m_database.reset();

    m_database = Start(CONFIGD_PROGRAM, {"-a", m_address, "-s", m_directory.file("other.db"), "-f", factory});

    ASSERT_TRUE(m_database->awaitOutput("serving")) << m_database->output();
    EXPECT_EQ(Run({"stat", "ram.bytes"}), 0);
    EXPECT_EQ(m_printed, "ram.bytes binary memory factory\n");
}

TEST_F(ConfigctlWrites, AnExportLeavesOutAloudWhatJsonCannotSay) {
    ASSERT_EQ(Write("ram.x.bad", "\xff"), 0);
    ASSERT_EQ(Write("ram.x.good", "y"), 0);

    EXPECT_EQ(Run({"export", "ram.x.*"}), 1);

    EXPECT_EQ(m_printed, "{\n    \"ram.x.good\": \"y\"\n}\n");
    EXPECT_EQ(m_complaints, "configctl: ram.x.bad: cannot be written as JSON, left out\n");
}

TEST_F(ConfigctlWrites, Synchronizes) {
    EXPECT_EQ(Run({"sync"}), 0);
}

TEST_F(ConfigctlWrites, ResetsToTheFactoryValues) {
    ASSERT_EQ(Write("cfg.sysconf.pcb_id", "other"), 0);
    ASSERT_EQ(Write("cfg.mine", "x"), 0);

    EXPECT_EQ(Run({"factory-reset", "--yes"}), 0);

    EXPECT_EQ(Read("cfg.sysconf.pcb_id"), "HM-4410");
    EXPECT_EQ(Read("cfg.mine"), "(no value)");
}

TEST_F(ConfigctlWrites, ResetsNothingWhereNobodyCanBeAsked) {
    ASSERT_EQ(Write("cfg.mine", "x"), 0);

    EXPECT_EQ(Run({"factory-reset"}), 2);

    EXPECT_EQ(m_complaints, "configctl: factory-reset wants --yes where nobody can be asked\n");
    EXPECT_EQ(Read("cfg.mine"), "x");
}

TEST_F(ConfigctlWrites, ResetsAsTheTerminalAnswers) {
    int terminal = -1;
    int inner = -1;
    char name[64];
    ASSERT_EQ(openpty(&terminal, &inner, name, nullptr, nullptr), 0);
    const UniqueFd terminal_owner(terminal);
    const UniqueFd inner_owner(inner);
    ASSERT_EQ(Write("cfg.mine", "x"), 0);

    ASSERT_EQ(write(terminal, "n\n", 2), 2);
    EXPECT_EQ(RunShell(std::string("exec \"$TOOL\" factory-reset <") + name), 1);
    EXPECT_EQ(m_complaints,
              "Set all stored keys back to their factory values? [y/N] configctl: nothing was reset\n");
    EXPECT_EQ(Read("cfg.mine"), "x");

    ASSERT_EQ(write(terminal, "y\n", 2), 2);
    EXPECT_EQ(RunShell(std::string("exec \"$TOOL\" factory-reset <") + name), 0);
    EXPECT_EQ(Read("cfg.mine"), "(no value)");
}
