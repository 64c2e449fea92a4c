// SPDX-License-Identifier: MIT

#include "src/base/options.h"

#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using common::Options;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

// A command line as main() gets it; "web_app" is put before the arguments.
class OptionsExtract : public testing::Test {
  protected:
    Options Extract(const std::string& grammar, std::vector<std::string> arguments) {
        m_texts = std::move(arguments);
        m_texts.insert(m_texts.begin(), "web_app");
        for (std::string& text : m_texts) {
            m_vector.push_back(text.data());
        }
        m_count = static_cast<int>(m_vector.size());
        m_vector.push_back(nullptr);
        return Options::extract(grammar, m_count, m_vector.data());
    }

    std::vector<std::string> Left() const { return {m_vector.begin(), m_vector.begin() + m_count}; }

    std::vector<std::string> m_texts;
    std::vector<char*> m_vector;
    int m_count = 0;
};

}  // namespace

TEST(OptionsParse, TellsFlagsFromOptionsWithAValue) {
    EXPECT_THAT(Options::parse("h,c:,log:"),
                ElementsAre(Pair("c", true), Pair("h", false), Pair("log", true)));
}

TEST(OptionsParse, IgnoresAnItemWithAColonInside) {
    EXPECT_THAT(Options::parse("a:b,c:d:,e::,h"), ElementsAre(Pair("h", false)));
}

TEST(OptionsParse, LetsTheLastOfTwoItemsDecide) {
    EXPECT_THAT(Options::parse("l,l:"), ElementsAre(Pair("l", true)));
}

TEST(OptionsParse, TakesAnEmptyItemForAFlagWithoutName) {
    EXPECT_THAT(Options::parse("h,"), ElementsAre(Pair("", false), Pair("h", false)));
}

TEST_F(OptionsExtract, RecordsAFlagWithAnEmptyValue) {
    const Options options = Extract("h", {"-h"});

    EXPECT_TRUE(options.contains("h"));
    EXPECT_EQ(options.get("h"), "");
}

TEST_F(OptionsExtract, TakesTheValueFromTheNextArgument) {
    EXPECT_EQ(Extract("l:", {"-l", "5"}).get("l"), "5");
}

TEST_F(OptionsExtract, TakesTheValueBehindAnEqualsSign) {
    EXPECT_EQ(Extract("l:", {"-l=5"}).get("l"), "5");
}

TEST_F(OptionsExtract, TakesTwoDashesForOne) {
    EXPECT_EQ(Extract("l:", {"--l", "5"}).get("l"), "5");
}

TEST_F(OptionsExtract, TakesOneDashBeforeALongName) {
    EXPECT_EQ(Extract("c:,config:", {"-config", "etc"}).toString(), "{ config => \"etc\" }");
}

TEST_F(OptionsExtract, TakesAnEmptyValueBehindAnEqualsSign) {
    const Options options = Extract("l:", {"-l=", "5"});

    EXPECT_TRUE(options.contains("l"));
    EXPECT_EQ(options.get("l"), "");
    EXPECT_THAT(Left(), ElementsAre("web_app", "5"));
}

TEST_F(OptionsExtract, LeavesAnOptionAloneWhoseValueBeginsWithADash) {
    const Options options = Extract("l:", {"-l", "-3"});

    EXPECT_FALSE(options.contains("l"));
    EXPECT_THAT(Left(), ElementsAre("web_app", "-l", "-3"));
}

TEST_F(OptionsExtract, TakesAJoinedValueThatBeginsWithADash) {
    EXPECT_EQ(Extract("l:", {"-l=-3"}).get("l"), "-3");
}

TEST_F(OptionsExtract, LeavesAnOptionAloneThatIsLastWithoutItsValue) {
    const Options options = Extract("d:", {"-d"});

    EXPECT_FALSE(options.contains("d"));
    EXPECT_THAT(Left(), ElementsAre("web_app", "-d"));
}

TEST_F(OptionsExtract, LeavesAFlagWithAValueAlone) {
    const Options options = Extract("h", {"-h=1"});

    EXPECT_FALSE(options.contains("h"));
    EXPECT_THAT(Left(), ElementsAre("web_app", "-h=1"));
}

TEST_F(OptionsExtract, LeavesAnArgumentWithTwoEqualsSignsAlone) {
    const Options options = Extract("l:", {"-l=a=b", "c"});

    EXPECT_FALSE(options.contains("l"));
    EXPECT_THAT(Left(), ElementsAre("web_app", "-l=a=b", "c"));
}

TEST_F(OptionsExtract, LeavesAnUnknownOptionInTheVector) {
    Extract("h", {"-x", "-h"});

    EXPECT_THAT(Left(), ElementsAre("web_app", "-x"));
}

TEST_F(OptionsExtract, LeavesOperandsInTheVector) {
    const Options options = Extract("c:", {"-c", "path", "file"});

    EXPECT_EQ(options.get("c"), "path");
    EXPECT_THAT(Left(), ElementsAre("web_app", "file"));
}

TEST_F(OptionsExtract, ClosesTheShortenedVectorWithANull) {
    Extract("c:", {"-c", "path", "file"});

    EXPECT_EQ(m_vector[2], nullptr);
}

TEST_F(OptionsExtract, LetsALaterOccurrenceWin) {
    EXPECT_EQ(Extract("c:", {"-c", "a", "-c", "b"}).toString(), "{ c => \"b\" }");
}

TEST_F(OptionsExtract, SkipsASingleDashAndAnEmptyArgument) {
    const Options options = Extract("h,", {"-", "", "-h"});

    EXPECT_TRUE(options.contains("h"));
    EXPECT_THAT(Left(), ElementsAre("web_app", "-", ""));
}

TEST_F(OptionsExtract, StopsAtANullInTheVector) {
    char program[] = "web_app";
    char flag[] = "-h";
    char* vector[] = {program, nullptr, flag};
    int count = 3;

    const Options options = Options::extract("h", count, vector);

    EXPECT_FALSE(options.contains("h"));
    EXPECT_EQ(count, 3);
}

TEST(Options, GivesAnEmptyTextForAnAbsentName) {
    EXPECT_EQ(Options().get("x"), "");
}

TEST(Options, OverwritesARecordedValue) {
    Options options;
    options.put("l", "5");

    options.put("l", "6");

    EXPECT_EQ(options.get("l"), "6");
}

TEST(Options, ForgetsEverythingOnClear) {
    Options options;
    options.put("l", "5");

    options.clear();

    EXPECT_FALSE(options.contains("l"));
}

TEST(Options, CopiesItsValues) {
    Options options;
    options.put("l", "5");

    const Options copy = options;
    options.clear();

    EXPECT_EQ(copy.get("l"), "5");
}

TEST(Options, PrintsItsValuesInTheOrderOfTheNames) {
    Options options;
    options.put("l", "5");
    options.put("c", "etc");

    EXPECT_EQ(options.toString(), "{ c => \"etc\", l => \"5\" }");
}

TEST(Options, PrintsTwoBlanksWhenEmpty) {
    EXPECT_EQ(Options().toString(), "{  }");
}
