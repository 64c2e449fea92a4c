// SPDX-License-Identifier: MIT

#include "tools/cbusctl/command_line.h"

#include <gmock/gmock.h>

#include <cstdlib>

#include "tests/support/CommandLineFixture.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using Verb = CommandLine::Verb;

class CbusctlCommandLine : public CommandLineFixture<CommandLine> {
  protected:
    CbusctlCommandLine() : CommandLineFixture("cbusctl", command_line_parse, {"CBUS_ADDR"}) {}
};

}  // namespace

TEST_F(CbusctlCommandLine, AsksForStatusAndList) {
    EXPECT_EQ(Accept({"status"}).verb, Verb::kStatus);
    EXPECT_EQ(Accept({"list"}).verb, Verb::kList);
}

TEST_F(CbusctlCommandLine, CallsAndSendsWithATextAndItsNul) {
    const CommandLine command = Accept({"call", "ping", "abc"});

    EXPECT_EQ(command.verb, Verb::kCall);
    EXPECT_EQ(command.name, "ping");
    EXPECT_EQ(command.data, std::string("abc\0", 4));
    EXPECT_EQ(Accept({"send", "ping", ""}).data, std::string("\0", 1));
    EXPECT_EQ(Accept({"send", "ping"}).data, std::nullopt);
}

TEST_F(CbusctlCommandLine, CallsAndSendsWithHexText) {
    EXPECT_EQ(Accept({"call", "ping", "00fF", "--hex"}).data, std::string("\0\xff", 2));
    EXPECT_EQ(Refuse({"call", "ping", "0", "--hex"}), 2);
    EXPECT_THAT(m_complaint, HasSubstr("'0' is no hex text"));
}

TEST_F(CbusctlCommandLine, ListensToPrefixes) {
    const CommandLine command = Accept({"listen", "a", "b", "-n", "2", "-t", "3"});

    EXPECT_EQ(command.verb, Verb::kListen);
    EXPECT_THAT(command.prefixes, ElementsAre("a", "b"));
    EXPECT_EQ(command.count, 2);
    EXPECT_EQ(command.timeout, std::chrono::seconds(3));
    EXPECT_THAT(Accept({"listen", ""}).prefixes, ElementsAre(""));
}

TEST_F(CbusctlCommandLine, RefusesPrefixesThatTheBusWouldNotTake) {
    EXPECT_EQ(Refuse({"listen"}), 2);
    EXPECT_EQ(Refuse({"listen", std::string(512, 'a').c_str()}), 2);
    EXPECT_EQ(Refuse({"listen", "--", "-a"}), 2);
}

TEST_F(CbusctlCommandLine, MonitorsAllOrOnePrefix) {
    EXPECT_EQ(Accept({"monitor"}).verb, Verb::kMonitor);
    EXPECT_THAT(Accept({"monitor", "config.", "--hex"}).prefixes, ElementsAre("config."));
    EXPECT_EQ(Refuse({"monitor", "a", "b"}), 2);
}

TEST_F(CbusctlCommandLine, WaitsForAName) {
    const CommandLine command = Accept({"wait-for", "config", "--timeout", "5"});

    EXPECT_EQ(command.verb, Verb::kWaitFor);
    EXPECT_EQ(command.name, "config");
    EXPECT_EQ(command.timeout, std::chrono::seconds(5));
    EXPECT_EQ(Refuse({"wait-for", "a", "--timeout", "0"}), 2);
}

TEST_F(CbusctlCommandLine, TakesTheCommonOptionsBeforeAndBehindTheVerb) {
    EXPECT_TRUE(Accept({"--json", "list"}).is_json);
    EXPECT_TRUE(Accept({"list", "--json"}).is_json);
    EXPECT_EQ(Accept({"-a", "unix*x", "list"}).bus, "unix*x");
    EXPECT_EQ(Accept({"list", "-a", "unix*x"}).bus, "unix*x");
    EXPECT_EQ(Accept({"list"}).bus, "unix*cbus");
}

TEST_F(CbusctlCommandLine, RefusesWhatItDoesNotKnow) {
    EXPECT_EQ(Refuse({}), 2);
    EXPECT_EQ(Refuse({"frob"}), 2);
    EXPECT_EQ(Refuse({"call"}), 2);
    EXPECT_EQ(Refuse({"call", ""}), 2);
    EXPECT_THAT(m_complaint, HasSubstr("Try cbusctl -h."));
}

TEST_F(CbusctlCommandLine, ExplainsItself) {
    EXPECT_EQ(Refuse({"-h"}), 0);
    EXPECT_THAT(m_printed, HasSubstr("wait-for"));
}

TEST_F(CbusctlCommandLine, HelpSaysWhatIsHexText) {
    EXPECT_EQ(Refuse({"call", "-h"}), 0);
    EXPECT_THAT(m_printed, HasSubstr("data and reply are hex text"));
    EXPECT_EQ(Refuse({"send", "-h"}), 0);
    EXPECT_THAT(m_printed, HasSubstr("data is hex text"));
}
