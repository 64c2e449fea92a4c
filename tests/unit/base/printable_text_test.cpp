// SPDX-License-Identifier: MIT

#include "src/base/printable_text.h"

#include <gtest/gtest.h>

TEST(TextPrintable, KeepsPlainText) {
    EXPECT_EQ(text_printable("/system/info \\ \xC3\xA6"), "/system/info \\ \xC3\xA6");
}

TEST(TextPrintable, EscapesControlCharactersLineEndsAndTabs) {
    EXPECT_EQ(text_printable("\x1b]0;x\x07\n\t\x7f\xC2\x9B"), R"(\u001b]0;x\u0007\u000a\u0009\u007f\u009b)");
}

TEST(TextPrintable, EscapesANulByte) {
    EXPECT_EQ(text_printable(std::string_view("\0", 1)), R"(\u0000)");
}

TEST(TextPrintable, ReplacesASequenceThatTheTextCutsOff) {
    EXPECT_EQ(text_printable("\xC2"), "\xEF\xBF\xBD");
}

TEST(TextAsAscii, ShowsEverythingElseAsQuestionMarks) {
    EXPECT_EQ(text_as_ascii(std::string_view("a\nb\0c\x7f\xff ~", 9)), "a?b?c?? ~");
}

TEST(TextOrNull, NamesWhatIsNotThere) {
    EXPECT_STREQ(text_or_null(nullptr), "(null)");
    EXPECT_STREQ(text_or_null(""), "");
    EXPECT_STREQ(text_or_null("a"), "a");
}

TEST(TextForLog, IsCutWhereALineWouldEnd) {
    EXPECT_EQ(text_for_log(std::string(kMaxLoggedTextBytes + 1, 'a') + '\n'),
              std::string(kMaxLoggedTextBytes, 'a'));
}
