// SPDX-License-Identifier: MIT

#include "tools/apictl/command_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>

#include "tests/support/CommandLineFixture.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;
using Verb = CommandLine::Verb;

class ApictlCommandLine : public CommandLineFixture<CommandLine> {
  protected:
    ApictlCommandLine()
        : CommandLineFixture("apictl", command_line_parse, {"ORVALE_API", "MRV_JSON_RPC_TEST"}) {}
};

}  // namespace

TEST_F(ApictlCommandLine, ReadsAPath) {
    const CommandLine command = Accept({"read", "/system/info"});

    EXPECT_EQ(command.verb, Verb::kRead);
    EXPECT_THAT(command.paths, ElementsAre("/system/info"));
    EXPECT_FALSE(command.payload.has_value());
    EXPECT_FALSE(command.is_raw);
}

TEST_F(ApictlCommandLine, CreatesUpdatesAndDeletesWithData) {
    EXPECT_EQ(Accept({"create", "/a", "{}"}).verb, Verb::kCreate);
    EXPECT_EQ(Accept({"update", "/a", "{}"}).verb, Verb::kUpdate);
    EXPECT_EQ(Accept({"delete", "/a", "{}"}).verb, Verb::kDelete);
    EXPECT_EQ(Accept({"update", "/a", "{}"}).payload, "{}");
}

TEST_F(ApictlCommandLine, DataMayBeLeftOut) {
    EXPECT_FALSE(Accept({"create", "/a"}).payload.has_value());
    EXPECT_FALSE(Accept({"update", "/a"}).payload.has_value());
    EXPECT_FALSE(Accept({"delete", "/a"}).payload.has_value());
}

TEST_F(ApictlCommandLine, EmptyDataIsNotLeftOut) {
    EXPECT_EQ(Accept({"update", "/a", ""}).payload, "");
}

TEST_F(ApictlCommandLine, TakesEveryKindOfDataAsItStands) {
    for (const char* data : {"-", "-5", "[1,2]", "[]", "\"text\"", "@file", "{\"a\": \"b\"}"}) {
        EXPECT_EQ(Accept({"update", "/a", data}).payload, data);
    }
}

TEST_F(ApictlCommandLine, WatchesSeveralPaths) {
    const CommandLine command = Accept({"watch", "/a", "/b/c"});

    EXPECT_EQ(command.verb, Verb::kWatch);
    EXPECT_THAT(command.paths, ElementsAre("/a", "/b/c"));
    EXPECT_FALSE(command.is_recursive);
    EXPECT_EQ(command.include, "ALL");
    EXPECT_FALSE(command.count.has_value());
    EXPECT_FALSE(command.timeout.has_value());
}

TEST_F(ApictlCommandLine, WatchesWithOptionsWhereverTheyStand) {
    const CommandLine command = Accept(
        {"watch", "--recursive", "/a", "--include", "updated", "--count", "3", "/b", "--timeout", "5"});

    EXPECT_THAT(command.paths, ElementsAre("/a", "/b"));
    EXPECT_TRUE(command.is_recursive);
    EXPECT_EQ(command.include, "UPDATED");
    EXPECT_EQ(command.count, 3);
    EXPECT_EQ(command.timeout, std::chrono::seconds(5));
}

TEST_F(ApictlCommandLine, TakesTheShortOptions) {
    const CommandLine command = Accept({"watch", "-r", "-i", "none", "-n", "1", "-t", "2", "/a"});

    EXPECT_TRUE(command.is_recursive);
    EXPECT_EQ(command.include, "NONE");
    EXPECT_EQ(command.count, 1);
    EXPECT_EQ(command.timeout, std::chrono::seconds(2));
}

TEST_F(ApictlCommandLine, SpellsTheIncludeAsTheDaemonDoes) {
    EXPECT_EQ(Accept({"watch", "/a", "--include", "all"}).include, "ALL");
    EXPECT_EQ(Accept({"watch", "/a", "--include", "NONE"}).include, "NONE");
    EXPECT_EQ(Refuse({"watch", "/a", "--include", "some"}), 2);
}

TEST_F(ApictlCommandLine, ListsSubscriptionsWithAndWithoutPaths) {
    EXPECT_EQ(Accept({"subscriptions"}).verb, Verb::kSubscriptions);
    EXPECT_TRUE(Accept({"subscriptions"}).paths.empty());
    EXPECT_THAT(Accept({"subscriptions", "/a", "/b", "-r"}).paths, ElementsAre("/a", "/b"));
}

TEST_F(ApictlCommandLine, CommonOptionsStandBeforeOrBehindTheVerb) {
    EXPECT_EQ(Accept({"-s", "/run/a", "--raw", "read", "/a"}).socket, "/run/a");
    EXPECT_TRUE(Accept({"-s", "/run/a", "--raw", "read", "/a"}).is_raw);
    EXPECT_EQ(Accept({"read", "/a", "--socket", "/run/a", "--raw"}).socket, "/run/a");
    EXPECT_TRUE(Accept({"read", "/a", "--socket", "/run/a", "--raw"}).is_raw);
}

TEST_F(ApictlCommandLine, TheSocketIsThatOfTheDaemon) {
    EXPECT_EQ(Accept({"read", "/a"}).socket, "/var/run/ORVALE_API");
}

TEST_F(ApictlCommandLine, TheSocketIsTheUsersOwnWhereTheDaemonsIs) {
    setenv("MRV_JSON_RPC_TEST", "", 1);

    EXPECT_EQ(Accept({"read", "/a"}).socket, "/tmp/mrv_json_rpc_" + std::to_string(getuid()));
}

TEST_F(ApictlCommandLine, TheEnvironmentChoosesAnotherSocket) {
    setenv("MRV_JSON_RPC_TEST", "1", 1);
    setenv("ORVALE_API", "/run/b", 1);

    EXPECT_EQ(Accept({"read", "/a"}).socket, "/run/b");
}

TEST_F(ApictlCommandLine, AnEmptyEnvironmentChoosesNothing) {
    setenv("ORVALE_API", "", 1);

    EXPECT_EQ(Accept({"read", "/a"}).socket, "/var/run/ORVALE_API");
}

TEST_F(ApictlCommandLine, TheOptionGoesBeforeTheEnvironment) {
    setenv("ORVALE_API", "/run/b", 1);

    EXPECT_EQ(Accept({"read", "/a", "-s", "/run/a"}).socket, "/run/a");
}

TEST_F(ApictlCommandLine, HelpIsPrintedWithStatusZero) {
    for (const char* option : {"-h", "--help"}) {
        EXPECT_EQ(Refuse({option}), 0);
        EXPECT_THAT(m_printed, HasSubstr("Usage: apictl"));
        for (const char* verb : {"read", "update", "create", "delete", "watch", "subscriptions"}) {
            EXPECT_THAT(m_printed, HasSubstr(std::string("\n  ") + verb + " "));
        }
    }
}

TEST_F(ApictlCommandLine, EveryVerbHasHelp) {
    for (const char* verb : {"read", "update", "create", "delete", "watch", "subscriptions"}) {
        EXPECT_EQ(Refuse({verb, "-h"}), 0);
        EXPECT_THAT(m_printed, HasSubstr(std::string("Usage: apictl ") + verb));
    }
}

TEST_F(ApictlCommandLine, HelpSaysWhatAnOptionTakes) {
    EXPECT_EQ(Refuse({"-h"}), 0);
    EXPECT_THAT(m_printed, HasSubstr("-s,--socket PATH "));

    EXPECT_EQ(Refuse({"watch", "-h"}), 0);
    EXPECT_THAT(m_printed, HasSubstr("-i,--include WHAT:{all,none,updated}\n"));
    EXPECT_THAT(m_printed, HasSubstr("-n,--count N "));
    EXPECT_THAT(m_printed, HasSubstr("-t,--timeout SECONDS "));
}

TEST_F(ApictlCommandLine, HelpHasOneNameForAnArgument) {
    EXPECT_EQ(Refuse({"update", "-h"}), 0);
    EXPECT_THAT(m_printed, HasSubstr("\n  PATH REQUIRED  "));
    EXPECT_THAT(m_printed, HasSubstr("\n  DATA  "));
}

TEST_F(ApictlCommandLine, VersionIsThatOfTheProject) {
    EXPECT_EQ(Refuse({"--version"}), 0);
    EXPECT_EQ(m_printed, "apictl " ORVALE_VERSION "\n");
}

TEST_F(ApictlCommandLine, RefusesAPathThatDoesNotBeginWithASlash) {
    EXPECT_EQ(Refuse({"read", "system/info"}), 2);
    EXPECT_THAT(m_complaint, StartsWith("apictl: PATH: 'system/info': a path begins with '/'\n"));
    EXPECT_EQ(Refuse({"watch", "/a", "b"}), 2);
    EXPECT_EQ(Refuse({"subscriptions", "b"}), 2);
    EXPECT_EQ(Refuse({"read", ""}), 2);
}

TEST_F(ApictlCommandLine, RefusesToSubscribeToNoResource) {
    EXPECT_EQ(Refuse({"watch", "/"}), 2);
    EXPECT_EQ(Refuse({"subscriptions", "//"}), 2);
}

TEST_F(ApictlCommandLine, RefusesAMissingPath) {
    for (const char* verb : {"read", "update", "create", "delete", "watch"}) {
        EXPECT_EQ(Refuse({verb}), 2) << verb;
        EXPECT_THAT(m_complaint, HasSubstr("PATH is required"));
    }
}

TEST_F(ApictlCommandLine, RefusesMoreThanItTakes) {
    EXPECT_EQ(Refuse({"read", "/a", "/b"}), 2);
    EXPECT_EQ(Refuse({"update", "/a", "{}", "{}"}), 2);
}

TEST_F(ApictlCommandLine, RefusesNoVerbAndAnUnknownOne) {
    EXPECT_EQ(Refuse({}), 2);
    EXPECT_THAT(m_complaint, HasSubstr("A command is required"));
    EXPECT_EQ(Refuse({"list", "/a"}), 2);
    EXPECT_THAT(m_complaint, HasSubstr("not expected"));
}

TEST_F(ApictlCommandLine, RefusesAnUnknownOptionAndOneOfAnotherVerb) {
    EXPECT_EQ(Refuse({"read", "/a", "--colour"}), 2);
    EXPECT_EQ(Refuse({"read", "/a", "--count", "1"}), 2);
    EXPECT_EQ(Refuse({"subscriptions", "--timeout", "1"}), 2);
}

TEST_F(ApictlCommandLine, RefusesNumbersThatAreNoneAboveZero) {
    for (const char* option : {"--count", "--timeout"}) {
        for (const char* number : {"0", "-1", "1.5", "x", "", "2147483648"}) {
            EXPECT_EQ(Refuse({"watch", "/a", option, number}), 2) << option << " " << number;
        }
        EXPECT_EQ(Refuse({"watch", "/a", option}), 2) << option;
    }
}

TEST_F(ApictlCommandLine, ShowsWrongArgumentsPrintably) {
    EXPECT_EQ(Refuse({"read", "\x1b[2J"}), 2);

    EXPECT_THAT(m_complaint, HasSubstr("'\\u001b[2J'"));
}

TEST_F(ApictlCommandLine, TakesJsonBeforeAndBehindTheVerb) {
    EXPECT_TRUE(Accept({"--json", "read", "/a"}).is_json);
    EXPECT_TRUE(Accept({"watch", "/a", "--json"}).is_json);
    EXPECT_FALSE(Accept({"read", "/a"}).is_json);
}

TEST_F(ApictlCommandLine, PrintsWholeMessagesOrOneLine) {
    EXPECT_EQ(Refuse({"--raw", "--json", "read", "/a"}), 2);
}
