// SPDX-License-Identifier: MIT

#include "src/system/FileHelper.h"

#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/CapturedLog.h"
#include "tests/support/TempDirectory.h"

namespace {

class FileHelperTest : public testing::Test {
  protected:
    void read(const std::string& text) {
        ASSERT_TRUE(m_helper.readFile(m_directory.write("in", text).c_str()));
    }
    // What the helper writes.
    std::string written() {
        const std::string path = m_directory.file("out");
        EXPECT_TRUE(m_helper.writeFile(path.c_str()));
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    std::string rule(const char* id) {
        char line[300] = "none";
        static_cast<void>(m_helper.getRuleById(id, line, sizeof line));
        return line;
    }

    TempDirectory m_directory;
    FileHelper m_helper;
};

constexpr const char* kMarkerLine = "# APISYSLOG-TAG\n";

}  // namespace

TEST_F(FileHelperTest, WritesTheMarkerAloneWhenItHasNothing) {
    EXPECT_EQ(written(), kMarkerLine);
}

TEST_F(FileHelperTest, KeepsTheLinesInFrontOfTheMarkerAndRewritesTheRulesBehindIt) {
    read(
        "# comment\n"
        "\n"
        "*.*  /var/log/messages\n"
        "  mail.info\t-/var/log/mail \n"
        "# APISYSLOG-TAG\n"
        "kern.info /var/log/extra\n"
        "user.*;authpriv.none\t\t@host\n");

    EXPECT_EQ(written(),
              "# comment\n"
              "\n"
              "*.*  /var/log/messages\n"
              "  mail.info\t-/var/log/mail \n"
              "# APISYSLOG-TAG\n"
              "kern.info;authpriv.none \t /var/log/extra\n"
              "user.*;authpriv.none\t\t@host\n");
}

TEST_F(FileHelperTest, ChangesNothingMoreOnceAFileIsRewritten) {
    read("a b\n# APISYSLOG-TAG\nkern.info /x\n");
    const std::string once = written();

    FileHelper again;
    ASSERT_TRUE(again.readFile(m_directory.file("out").c_str()));
    ASSERT_TRUE(again.writeFile(m_directory.file("again").c_str()));

    std::ifstream file(m_directory.file("again"), std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), once);
}

TEST_F(FileHelperTest, TakesAFileWithoutAMarkerForFixedLinesOnly) {
    read("one\ntwo");

    EXPECT_EQ(m_helper.ruleMapSize(), 0U);
    EXPECT_EQ(written(), std::string("one\ntwo\n") + kMarkerLine);
}

TEST_F(FileHelperTest, KnowsTheMarkerByTheWholeLine) {
    read("# APISYSLOG-TAG \n # APISYSLOG-TAG\n# APISYSLOG-TAGS\n");

    EXPECT_EQ(m_helper.ruleMapSize(), 0U);
}

TEST_F(FileHelperTest, KeepsMoreThanNineFixedLinesInTheirOrder) {
    std::string lines;
    for (int number = 1; number <= 12; ++number) {
        lines += "line " + std::to_string(number) + "\n";
    }
    read(lines);

    EXPECT_EQ(written(), lines + kMarkerLine);
}

TEST_F(FileHelperTest, NumbersTheRulesFromOneAndPassesOverLinesOfOneCharacter) {
    read(std::string(kMarkerLine) + "\nx\n*.* /a\n\n*.* /b\n");

    EXPECT_EQ(m_helper.ruleMapSize(), 2U);
    EXPECT_EQ(rule("1"), "*.*;authpriv.none \t /a");
    EXPECT_EQ(rule("2"), "*.*;authpriv.none \t /b");
}

TEST_F(FileHelperTest, KeepsARuleLineWithoutTwoWords) {
    read(std::string(kMarkerLine) + "kern.info\n   \n");

    EXPECT_EQ(rule("1"), "kern.info");
    EXPECT_EQ(rule("2"), "   ");
}

TEST_F(FileHelperTest, WritesTheRulesInTheOrderOfTheirIdsAsText) {
    m_helper.addRuleEntry("2", "two");
    m_helper.addRuleEntry("10", "ten");
    m_helper.addRuleEntry("1", "one");

    EXPECT_EQ(written(), std::string(kMarkerLine) + "one\nten\ntwo\n");
}

TEST_F(FileHelperTest, CutsALineTo255Characters) {
    const std::string longest(255, 'a');
    read(longest + "\n" + longest + "b\n" + std::string(100000, 'a') + "\nlast\n");

    EXPECT_EQ(written(), longest + "\n" + longest + "\n" + longest + "\nlast\n" + kMarkerLine);
}

TEST_F(FileHelperTest, CutsTheWordsOfARuleTo127Characters) {
    const std::string longest(127, 's');
    read(kMarkerLine + longest + "x action\n" + "*.* " + longest + "xyz\n");

    EXPECT_EQ(rule("1"), longest + ";authpriv.none \t action");
    EXPECT_EQ(rule("2"), "*.*;authpriv.none \t " + longest);
}

TEST_F(FileHelperTest, ReadsALineUpToANul) {
    read(std::string("one\0two\nthree\n", 14));

    EXPECT_EQ(written(), std::string("one\nthree\n") + kMarkerLine);
}

TEST_F(FileHelperTest, ReplacesLinesOfTheSameNumberWhenItReadsAgain) {
    read("one\ntwo\n# APISYSLOG-TAG\n*.* /a\n");
    read("three\n# APISYSLOG-TAG\n*.* /b\n");

    EXPECT_EQ(written(), "three\ntwo\n# APISYSLOG-TAG\n*.*;authpriv.none \t /b\n");
}

TEST_F(FileHelperTest, AddsFixedLinesInTheOrderInWhichTheyCome) {
    m_helper.addFileEntry("b", "first");
    m_helper.addFileEntry("a", "second");
    m_helper.addFileEntry("b", "replaced");

    EXPECT_EQ(written(), std::string("replaced\nsecond\n") + kMarkerLine);
}

TEST_F(FileHelperTest, ReplacesARuleThatIsThere) {
    m_helper.addRuleEntry("1", "old");

    EXPECT_EQ(m_helper.replaceRuleEntry("1", "new"), 1);

    EXPECT_EQ(rule("1"), "new");
    EXPECT_EQ(m_helper.ruleMapSize(), 1U);
}

TEST_F(FileHelperTest, ReplacesNoRuleThatIsNotThere) {
    const CapturedLog log;

    EXPECT_EQ(m_helper.replaceRuleEntry("1", "new"), 0);

    EXPECT_EQ(m_helper.ruleMapSize(), 0U);
    EXPECT_EQ(log.count("4 src/FileHelper: replaceRuleEntry, id_str=1, NOT FOUND"), 1);
}

TEST_F(FileHelperTest, DeletesARule) {
    m_helper.addRuleEntry("1", "one");
    m_helper.addRuleEntry("2", "two");

    m_helper.deleteRuleEntry("1");
    m_helper.deleteRuleEntry("7");

    EXPECT_EQ(written(), std::string(kMarkerLine) + "two\n");
}

TEST_F(FileHelperTest, GivesARuleWithinTheSizeOfTheBuffer) {
    m_helper.addRuleEntry("1", "123456");
    char out[10] = "xxxxxxxxx";

    EXPECT_EQ(m_helper.getRuleById("1", out, 4), 1);
    EXPECT_STREQ(out, "123");
    EXPECT_EQ(out[4], 'x');
    EXPECT_EQ(m_helper.getRuleById("1", out, -1), 1);
    EXPECT_STREQ(out, "123");
}

TEST_F(FileHelperTest, TouchesNothingForARuleThatIsNotThere) {
    char out[10] = "before";

    EXPECT_EQ(m_helper.getRuleById("1", out, sizeof out), 0);

    EXPECT_STREQ(out, "before");
}

TEST_F(FileHelperTest, SaysThatAFileCannotBeReadOrWritten) {
    EXPECT_FALSE(m_helper.readFile(m_directory.file("missing").c_str()));
    EXPECT_FALSE(m_helper.writeFile(m_directory.file("missing/out").c_str()));
}

TEST_F(FileHelperTest, SaysThatADiskIsFull) {
    EXPECT_FALSE(m_helper.writeFile("/dev/full"));
}

TEST_F(FileHelperTest, ReadsNothingFromADirectory) {
    static_cast<void>(m_helper.readFile(m_directory.path()));

    EXPECT_EQ(written(), kMarkerLine);
}

TEST_F(FileHelperTest, DumpsAllLinesIntoTheLog) {
    m_helper.addFileEntry("1", "fixed");
    m_helper.addRuleEntry("1", "rule");
    const CapturedLog log;

    m_helper.dumpFileMap();

    EXPECT_EQ(log.lines(), (std::vector<std::string>{"7 src/FileHelper: FileMap: size = 1",
                                                     "7 src/FileHelper: dumpFileMap [1] Content) [fixed]",
                                                     "7 src/FileHelper: RuleMap: size = 1",
                                                     "7 src/FileHelper: dumpRuleMap [1] Content) [rule]"}));
}

TEST_F(FileHelperTest, LogsItsLife) {
    const std::string path = m_directory.write("in", "a\nb\n# APISYSLOG-TAG\n*.* /x\n");
    const CapturedLog log;

    {
        FileHelper helper;
        ASSERT_TRUE(helper.readFile(path.c_str()));
        char line[10];
        static_cast<void>(helper.getRuleById("1", line, sizeof line));
    }

    EXPECT_EQ(log.lines(),
              (std::vector<std::string>{"7 src/FileHelper: FileHelper() Constructor",
                                        "6 src/FileHelper: readfile " + path,
                                        "6 src/FileHelper: FileHelper::getRuleById: Search pattern =",
                                        "7 src/FileHelper: fileMap Destructor, size =2",
                                        "7 src/FileHelper: ruleMap Destructor, size =1"}));
}
