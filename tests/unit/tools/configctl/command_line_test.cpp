// SPDX-License-Identifier: MIT

#include "tools/configctl/command_line.h"

#include <gmock/gmock.h>

#include <cstdlib>

#include "config_client/config_client_api.h"
#include "tests/support/CommandLineFixture.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using Verb = CommandLine::Verb;

class ConfigctlCommandLine : public CommandLineFixture<CommandLine> {
  protected:
    ConfigctlCommandLine() : CommandLineFixture("configctl", command_line_parse, {"CBUS_ADDR"}) {}
};

}  // namespace

TEST_F(ConfigctlCommandLine, GetsDeletesAndStatsKeys) {
    EXPECT_EQ(Accept({"get", "a", "b"}).verb, Verb::kGet);
    EXPECT_THAT(Accept({"get", "a", "b"}).keys, ElementsAre("a", "b"));
    EXPECT_EQ(Accept({"delete", "a"}).verb, Verb::kDelete);
    EXPECT_EQ(Accept({"stat", "a"}).verb, Verb::kStat);
}

TEST_F(ConfigctlCommandLine, SetsAKeyWithATypeOrTheStoredOne) {
    const CommandLine command = Accept({"set", "a", "5", "--type", "int"});

    EXPECT_EQ(command.verb, Verb::kSet);
    EXPECT_THAT(command.keys, ElementsAre("a"));
    EXPECT_EQ(command.value, "5");
    EXPECT_EQ(command.type, CONFIG_TYPE_INT);
    EXPECT_EQ(Accept({"set", "a", "5"}).type, std::nullopt);
    EXPECT_EQ(Accept({"set", "a", "5", "--type", "binary"}).type, CONFIG_TYPE_BINARY);
    EXPECT_EQ(Accept({"set", "a", "5", "--type", "string"}).type, CONFIG_TYPE_STRING);
}

TEST_F(ConfigctlCommandLine, TakesANegativeNumberAsAValue) {
    EXPECT_EQ(Accept({"set", "a", "-5"}).value, "-5");
}

TEST_F(ConfigctlCommandLine, TakesAnyValueBehindTwoDashes) {
    EXPECT_EQ(Accept({"set", "--", "a", "--json"}).value, "--json");
}

TEST_F(ConfigctlCommandLine, TakesAnEmptyValue) {
    EXPECT_EQ(Accept({"set", "a", ""}).value, "");
}

TEST_F(ConfigctlCommandLine, ListsAndExportsWithAPatternOrWithout) {
    EXPECT_EQ(Accept({"list"}).pattern, std::nullopt);
    EXPECT_EQ(Accept({"list", "cfg.*"}).pattern, "cfg.*");
    EXPECT_EQ(Accept({"export", "cfg.*"}).pattern, "cfg.*");
    EXPECT_EQ(Accept({"export"}).verb, Verb::kExport);
}

TEST_F(ConfigctlCommandLine, ImportsAFileOrStandardInput) {
    EXPECT_EQ(Accept({"import", "f"}).file, "f");
    EXPECT_EQ(Accept({"import", "-"}).file, "-");
    EXPECT_EQ(Accept({"import"}).file, "-");
}

TEST_F(ConfigctlCommandLine, WatchesWithCountAndTimeout) {
    const CommandLine command = Accept({"watch", "cfg.", "ram.", "-n", "2", "--timeout", "3"});

    EXPECT_THAT(command.keys, ElementsAre("cfg.", "ram."));
    EXPECT_EQ(command.count, 2);
    EXPECT_EQ(command.timeout, std::chrono::seconds(3));
    EXPECT_EQ(Refuse({"watch", "a", "--count", "0"}), 2);
}

TEST_F(ConfigctlCommandLine, ResetsWithAWordOfConsent) {
    EXPECT_FALSE(Accept({"factory-reset"}).is_confirmed);
    EXPECT_TRUE(Accept({"factory-reset", "--yes"}).is_confirmed);
}

TEST_F(ConfigctlCommandLine, TakesTheCommonOptionsBeforeAndBehindTheVerb) {
    EXPECT_TRUE(Accept({"--json", "list"}).is_json);
    EXPECT_TRUE(Accept({"list", "--json"}).is_json);
    EXPECT_EQ(Accept({"-a", "unix*x", "sync"}).bus, "unix*x");
    EXPECT_EQ(Accept({"sync", "-a", "unix*x"}).bus, "unix*x");
}

TEST_F(ConfigctlCommandLine, ChoosesTheBusByOptionThenEnvironmentThenTheUnits) {
    EXPECT_EQ(Accept({"sync"}).bus, "unix*cbus");
    setenv("CBUS_ADDR", "unix*env", 1);
    EXPECT_EQ(Accept({"sync"}).bus, "unix*env");
    EXPECT_EQ(Accept({"sync", "-a", "unix*x"}).bus, "unix*x");
}

TEST_F(ConfigctlCommandLine, RefusesKeysThatWouldBeCutOnTheirWay) {
    const std::string key(255, 'k');
    EXPECT_THAT(Accept({"get", key.c_str()}).keys, ElementsAre(key));

    EXPECT_EQ(Refuse({"get", (key + "k").c_str()}), 2);
    EXPECT_EQ(Refuse({"set", "", "x"}), 2);
    EXPECT_EQ(Refuse({"list", std::string(499, '*').c_str()}), 2);
}

TEST_F(ConfigctlCommandLine, RefusesWhatItDoesNotKnow) {
    EXPECT_EQ(Refuse({}), 2);
    EXPECT_EQ(Refuse({"frob"}), 2);
    EXPECT_EQ(Refuse({"get"}), 2);
    EXPECT_EQ(Refuse({"set", "a", "1", "--type", "float"}), 2);
    EXPECT_THAT(m_complaint, HasSubstr("Try configctl -h."));
}

TEST_F(ConfigctlCommandLine, ExplainsItself) {
    EXPECT_EQ(Refuse({"-h"}), 0);
    EXPECT_THAT(m_printed, HasSubstr("factory-reset"));
    EXPECT_EQ(Refuse({"--version"}), 0);
    EXPECT_THAT(m_printed, testing::StartsWith("configctl "));
}
