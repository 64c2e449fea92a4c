// SPDX-License-Identifier: MIT

#include "src/frame/command_line.h"

#include <string>
#include <vector>

#include "gtest/gtest.h"

namespace {

CommandLine Parse(std::vector<std::string> words) {
    words.insert(words.begin(), "web_app");
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    int argc = static_cast<int>(words.size());
    return command_line_parse(argc, argv.data());
}

TEST(CommandLine, WithoutOptionsStaysInTheForegroundAtLevelSevenInTheCurrentDirectory) {
    const CommandLine line = Parse({});

    EXPECT_FALSE(line.wants_usage);
    EXPECT_FALSE(line.runs_as_daemon);
    EXPECT_EQ(line.config_path, ".");
    EXPECT_EQ(line.log_level, 7);
}

TEST(CommandLine, ALevelAboveSevenIsSeven) {
    EXPECT_EQ(Parse({"-l", "9"}).log_level, 7);
}

TEST(CommandLine, ALevelThatIsNoNumberIsZero) {
    EXPECT_EQ(Parse({"-l", "loud"}).log_level, 0);
}

TEST(CommandLine, AJoinedNegativeLevelIsZero) {
    EXPECT_EQ(Parse({"-l=-3"}).log_level, 0);
}

TEST(CommandLine, ASeparateNegativeLevelIsNotRecorded) {
    EXPECT_EQ(Parse({"-l", "-3"}).log_level, 7);
}

TEST(CommandLine, ALevelBeyondALongIsClamped) {
    EXPECT_EQ(Parse({"-l", "99999999999999999999"}).log_level, 7);
}

TEST(CommandLine, ADaemonOptionWithAPathDetaches) {
    const CommandLine line = Parse({"-d", "/run/web_app.pid", "-c", "/etc/orvale"});

    EXPECT_TRUE(line.runs_as_daemon);
    EXPECT_EQ(line.pid_file, "/run/web_app.pid");
    EXPECT_EQ(line.config_path, "/etc/orvale");
}

TEST(CommandLine, ADaemonOptionWithoutAPathStaysInTheForeground) {
    EXPECT_FALSE(Parse({"-d"}).runs_as_daemon);
}

TEST(CommandLine, AnEmptyJoinedDaemonOptionDetachesWithoutAPidFile) {
    const CommandLine line = Parse({"-d="});

    EXPECT_TRUE(line.runs_as_daemon);
    EXPECT_EQ(line.pid_file, "");
}

TEST(CommandLine, HelpIsFoundAmongOtherOptions) {
    EXPECT_TRUE(Parse({"-l", "3", "-h", "-d", "x"}).wants_usage);
}

TEST(CommandLineUsage, NamesTheProgramAsItWasCalled) {
    testing::internal::CaptureStdout();

    command_line_print_usage("./web_app");
    const std::string text = testing::internal::GetCapturedStdout();

    EXPECT_EQ(text.substr(0, text.find("-h  ")), "./web_app usage:\n\n./web_app [-h] [-d:] [-c:] [-l:]\n\n");
    EXPECT_EQ(text.substr(text.size() - 2), "\n\n");
}

}  // namespace
