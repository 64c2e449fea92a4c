// SPDX-License-Identifier: MIT

#include "device/diagd/Report.h"

#include <gmock/gmock.h>

#include "Unpacked.h"

using testing::EndsWith;

TEST(Report, KeepsEntriesInTheirOrder) {
    Report report;

    report.add("b", "2");
    report.add("a", "1");

    ASSERT_EQ(report.entries().size(), 2U);
    EXPECT_EQ(report.entries()[0].name, "b");
    EXPECT_EQ(report.entries()[1].text, "1");
    EXPECT_EQ(report.notes(), "");
}

TEST(Report, AddsAFile) {
    const TempDirectory directory;
    Report report;

    report.add_file("name", directory.write("file", "text"), 100, FilePart::kHead);

    EXPECT_EQ(TextOf(report, "name"), "text");
    EXPECT_EQ(report.notes(), "");
}

TEST(Report, AFileThatCannotBeReadLeavesANoteAlone) {
    Report report;

    report.add_file("name", "/nowhere/file", 100, FilePart::kHead);

    EXPECT_TRUE(report.entries().empty());
    EXPECT_EQ(report.notes(), "name: /nowhere/file cannot be read: No such file or directory\n");
}

TEST(Report, NotesWhichPartOfAFileIsThere) {
    const TempDirectory directory;
    const std::string path = directory.write("file", "1\n2\n3\n");
    Report report;

    report.add_file("head", path, 4, FilePart::kHead);
    report.add_file("tail", path, 4, FilePart::kTail);

    EXPECT_EQ(TextOf(report, "head"), "1\n2\n");
    EXPECT_EQ(TextOf(report, "tail"), "3\n");
    EXPECT_EQ(report.notes(), "head: the beginning of " + path + "\ntail: the end of " + path + "\n");
}

TEST(Report, CutsWhatDoesNotFit) {
    Report report(10);

    report.add("a", "123456");
    report.add("b", "123456");
    report.add("c", "1");

    EXPECT_EQ(TextOf(report, "b"), "1234");
    EXPECT_EQ(TextOf(report, "c"), "");
    EXPECT_EQ(report.notes(), "b: cut, the report is full\nc: cut, the report is full\n");
}

TEST(Report, AcceptsWhatJustFits) {
    Report report(6);

    report.add("a", "123456");

    EXPECT_EQ(TextOf(report, "a"), "123456");
    EXPECT_EQ(report.notes(), "");
}

TEST(Report, TheNumberOfNotesHasALimit) {
    Report report;
    for (size_t i = 0; i < Report::kMaxNotes; ++i) {
        report.note("a", "within");
    }

    report.note("a", "beyond");

    EXPECT_THAT(report.notes(), EndsWith("within\n"));
    EXPECT_EQ(report.notes().size(), Report::kMaxNotes * std::string("a: within\n").size());
}
