// SPDX-License-Identifier: MIT

#include "src/http/habhelper.h"

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "src/base/json_helpers.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/WebConfiguration.h"

using testing::Each;
using testing::ElementsAre;

namespace {

// A JSON file with the given contents, read by loadJsonFile().
class LoadJsonFile : public testing::Test {
  protected:
    JsonPtr Load(std::string_view contents) {
        m_directory.write("file.json", contents);
        return LoadPath(m_directory.path() + std::string("/file.json"));
    }

    static JsonPtr LoadPath(std::string path) { return JsonPtr(loadJsonFile(path.data(), false)); }

    TempDirectory m_directory;
    CapturedLog m_log;
};

std::string Decoded(const char* text, unsigned int max = 99) {
    char output[100];
    const int length = decodeURIComponent(text, output, max);
    EXPECT_EQ(output[length], '\0');
    return {output, static_cast<std::size_t>(length)};
}

std::string Normalized(std::string text) {
    EXPECT_EQ(normalizeString(text.data()), static_cast<int>(text.size()));
    return text;
}

// What split() leaves in its output, up to the null.
std::vector<std::string> Pieces(std::string text, const char* delimiters) {
    char* out[128] = {};
    EXPECT_EQ(split(out, text.data(), nullptr, delimiters), out);
    std::vector<std::string> pieces;
    for (char** piece = out; *piece != nullptr; ++piece) {
        pieces.emplace_back(*piece);
    }
    return pieces;
}

}  // namespace

TEST_F(LoadJsonFile, GivesTheParsedFile) {
    const JsonPtr json = Load(R"({"a":5})");

    ASSERT_TRUE(json);
    EXPECT_EQ(cJSON_GetObjectNumber(json.get(), "a")->valueint, 5);
}

TEST_F(LoadJsonFile, NamesTheFileInTheLog) {
    Load("{}");

    EXPECT_TRUE(m_log.has("7 src/habhelper: Opening json file from '" + std::string(m_directory.path()) +
                          "/file.json'"));
}

TEST_F(LoadJsonFile, SkipsAByteOrderMark) {
    const JsonPtr json = Load("\xEF\xBB\xBF{\"a\":5}");

    ASSERT_TRUE(json);
    EXPECT_EQ(cJSON_GetObjectNumber(json.get(), "a")->valueint, 5);
    EXPECT_TRUE(m_log.has("7 src/habhelper: UTF-8 BOM present, skipping"));
}

TEST_F(LoadJsonFile, GivesNullForAMissingFile) {
    EXPECT_FALSE(LoadPath("/nowhere/file.json"));
    EXPECT_TRUE(m_log.has("6 src/habhelper: File not found!"));
}

TEST_F(LoadJsonFile, GivesNullForAnEmptyFile) {
    EXPECT_FALSE(Load(""));
}

TEST_F(LoadJsonFile, GivesNullForADirectory) {
    EXPECT_FALSE(LoadPath(m_directory.path()));
}

TEST_F(LoadJsonFile, GivesNullForAParseErrorAndLogsItsPlace) {
    EXPECT_FALSE(Load(R"({"a": oops})"));
    EXPECT_TRUE(m_log.has("3 src/habhelper: JSON parse error: oops}"));
}

TEST(DecodeURIComponent, TurnsEscapesIntoBytes) {
    EXPECT_EQ(Decoded("%41%4a%4A-%2f"), "AJJ-/");
}

TEST(DecodeURIComponent, LeavesAPercentSignWithoutTwoDigitsAlone) {
    EXPECT_EQ(Decoded("a%2"), "a%2");
    EXPECT_EQ(Decoded("a%"), "a%");
    EXPECT_EQ(Decoded("%g1%1g%%41"), "%g1%1g%A");
}

TEST(DecodeURIComponent, LeavesAPlusSignAlone) {
    EXPECT_EQ(Decoded("a+b"), "a+b");
}

TEST(DecodeURIComponent, DecodesEachByteOnce) {
    EXPECT_EQ(Decoded("%2541"), "%41");
}

TEST(DecodeURIComponent, DecodesHighBytesAndNul) {
    EXPECT_EQ(Decoded("%ff%00b"), std::string("\xff\0b", 3));
}

TEST(DecodeURIComponent, CutsTheOutputAtItsLimit) {
    EXPECT_EQ(Decoded("%41bcdef", 3), "Abc");
    EXPECT_EQ(Decoded("abc", 3), "abc");
    EXPECT_EQ(Decoded("abc", 0), "");
}

TEST(DecodeURIComponent, WritesNothingBehindTheTerminator) {
    std::vector<char> output(8, 'x');

    decodeURIComponent("abcdefgh", output.data(), 3);

    EXPECT_EQ(std::string(output.data(), output.size()), std::string("abc\0xxxx", 8));
}

TEST(DecodeURIComponent, DecodesInPlace) {
    char text[] = "%41b%43";

    const int length = decodeURIComponent(text, text, sizeof text - 1);

    EXPECT_EQ(length, 3);
    EXPECT_STREQ(text, "AbC");
}

TEST(NormalizeString, LeavesACleanStringAlone) {
    EXPECT_EQ(Normalized("/var/www"), "/var/www");
    EXPECT_EQ(Normalized(""), "");
}

TEST(NormalizeString, KeepsTheTailBehindWhatMovedUp) {
    EXPECT_EQ(Normalized("a b"), "abb");
    EXPECT_EQ(Normalized("\"ab;\""), "abb;\"");
}

TEST(NormalizeString, KeepsASlashAtTheEnd) {
    EXPECT_EQ(Normalized("/var/www/"), "/var/www/");
}

TEST(NormalizeString, DoesNotMoveASlashAtTheEnd) {
    EXPECT_EQ(Normalized(" a/"), "aa/");
}

TEST(NormalizeString, MovesASlashInside) {
    EXPECT_EQ(Normalized(" /b"), "/bb");
}

TEST(Split, CutsAtTheDelimiter) {
    EXPECT_THAT(Pieces("a=1&b=2", "&"), ElementsAre("a=1", "b=2"));
}

TEST(Split, CutsAtAnyOfTheDelimitersAndSkipsEmptyPieces) {
    EXPECT_THAT(Pieces("&a;;b&", ";&"), ElementsAre("a", "b"));
}

TEST(Split, StoresAtMost127Pieces) {
    std::string text;
    for (int i = 0; i < 200; ++i) {
        text += "x ";
    }

    EXPECT_EQ(Pieces(text, " ").size(), 127U);
}

TEST(Split, LeavesItsOutputAloneWithoutPieces) {
    char text[] = "&&";
    char other[] = "other";
    char* out[128] = {other};

    split(out, text, nullptr, "&");

    EXPECT_EQ(out[0], other);
}
