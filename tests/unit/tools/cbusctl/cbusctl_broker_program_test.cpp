// SPDX-License-Identifier: MIT

#include <gmock/gmock.h>
#include <sys/wait.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>

#include "MonitorBytes.h"
#include "StatusText.h"
#include "cbus/socket_helpers.h"
#include "tests/support/Program.h"
#include "tests/support/TempDirectory.h"

namespace {

using namespace std::string_literals;
using testing::HasSubstr;
using testing::MatchesRegex;

// The real program against a broker that this test plays: what it tells of itself, what it copies, and what no real one
// would send.
class CbusctlBroker : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(m_listener.valid());
        setenv("CBUS_ADDR", m_address.c_str(), 1);
        setenv("ERRORS", m_directory.file("err").c_str(), 1);
    }

    // The program, connected.
    void Start(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(),
                         {"-c", "exec \"$0\" \"$@\" 2>\"$ERRORS\" </dev/null", TOOL_PROGRAM});
        m_program = std::make_unique<Program>("/bin/sh", arguments, std::map<std::string, std::string>{},
                                              m_directory.file("out"));
        m_peer = BusPeer(UniqueFd(socket_create_server_client(m_listener.get())));
    }
    // Answers the next message, a request, and gives its name.
    std::string Answer(const std::string& data) {
        WireMessage request = m_peer.Receive();
        EXPECT_EQ(request.type, CBUS_REQUEST);
        WireMessage reply = request;
        reply.type = CBUS_REPLY;
        reply.data = data;
        m_peer.Send(reply);
        return request.name;
    }
    void Monitor(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "monitor");
        Start(arguments);
        Answer(kStatusText + "\0"s);
        EXPECT_EQ(m_peer.Receive().name, "cbus.monitor");
        // The question by which it finds out whether it may: copied to it, as everything is from now on.
        const WireMessage question = m_peer.Receive();
        WireMessage answer = question;
        answer.type = CBUS_REPLY;
        answer.data = kStatusText;
        Copy(9, 0, question);
        m_peer.Send(answer);
        Copy(0, 9, answer);
    }
    void Copy(uint32_t from, uint32_t to, const WireMessage& message) {
        m_peer.Send(
            {CBUS_SIGNAL, 0, 0, 0, "cbus.monitor", MonitorBytes(from, to, 1763733785000042, message)});
    }
    int Status() {
        const int status = m_program->awaitEnd().value_or(-1);
        return status >= 0 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    [[nodiscard]] std::string Printed() const { return m_program->output(); }
    [[nodiscard]] std::string Complaints() const {
        std::ostringstream text;
        text << std::ifstream(m_directory.file("err")).rdbuf();
        return text.str();
    }

    TempDirectory m_directory;
    std::string m_address = "unix*" + std::filesystem::path(m_directory.path()).filename().string();
    UniqueFd m_listener{socket_create_server(m_address.c_str())};
    std::unique_ptr<Program> m_program;
    int m_asked = 0;
    BusPeer m_peer;
};

}  // namespace

TEST_F(CbusctlBroker, ItsStatusIsPrinted) {
    Start({"status"});

    EXPECT_EQ(Answer(kStatusText + "\0"s), "cbus.status");

    EXPECT_EQ(Status(), 0);
    EXPECT_THAT(Printed(), testing::StartsWith("uptime_s 12\nmessages 9\n"));
    EXPECT_THAT(Printed(), HasSubstr("configd\n"));
}

TEST_F(CbusctlBroker, ItsStatusIsPrintedAsItSaidItAsJson) {
    Start({"status", "--json"});

    Answer("{\"uptime_s\": 1, \"other\": \"\\u001b\"}\0"s);

    EXPECT_EQ(Status(), 0);
    EXPECT_EQ(Printed(), "{\"uptime_s\":1,\"other\":\"\\u001b\"}\n");
}

TEST_F(CbusctlBroker, ItsNamesAndFiltersArePrinted) {
    Start({"list"});

    Answer(kStatusText + "\0"s);

    EXPECT_EQ(Status(), 0);
    EXPECT_EQ(Printed(), "name config configd/1 waiting web_app/2\nfilter config.write configd/1\n");
}

TEST_F(CbusctlBroker, WithoutAStatusIsStatusOne) {
    for (const std::string& reply : {""s, "no JSON\0"s, "[]\0"s}) {
        Start({"status"});

        Answer(reply);

        EXPECT_EQ(Status(), 1);
        EXPECT_EQ(Complaints(), "cbusctl: the bus does not tell its status\n");
    }
}

TEST_F(CbusctlBroker, IsAskedUntilTheNameIsProvided) {
    Start({"wait-for", "events.x"});

    Answer(kStatusText + "\0"s);
    Answer(R"({"names": [{"name": "events", "provider": 3}]})");

    EXPECT_EQ(Status(), 0);
    EXPECT_EQ(Complaints(), "");
}

TEST_F(CbusctlBroker, ANameThatNobodyProvidesInTimeIsStatusOne) {
    Start({"wait-for", "events", "--timeout", "1"});

    while (m_program->isRunning() && m_peer.Receive().type == CBUS_REQUEST) {
        m_peer.Send({CBUS_REPLY, 0, m_asked++, 0, "cbus.status", "{}"});
    }

    EXPECT_EQ(Status(), 1);
    EXPECT_EQ(Complaints(), "cbusctl: events: nobody provides it\n");
}

TEST_F(CbusctlBroker, AnInterruptedWaitIsStatusOne) {
    Start({"wait-for", "events"});
    ASSERT_EQ(m_peer.Receive().type, CBUS_REQUEST);

    m_program->signal(SIGINT);

    EXPECT_EQ(Status(), 1);
}

TEST_F(CbusctlBroker, ReplyWithAnotherNumberAndSignalsArePassedOver) {
    Start({"call", "ping"});
    WireMessage reply = m_peer.Receive();
    reply.type = CBUS_REPLY;
    reply.data = "right\0"s;

    m_peer.Send({CBUS_SIGNAL, 0, 0, 0, "x", "wrong"});
    m_peer.Send({CBUS_REPLY, 0, reply.seqn + 1, 0, "ping", "wrong"});
    m_peer.Send(reply);

    EXPECT_EQ(Status(), 0);
    EXPECT_EQ(Printed(), "right\n");
}

TEST_F(CbusctlBroker, ItsEndDuringACallIsStatusThree) {
    Start({"call", "ping"});
    m_peer.Receive();

    m_peer.Send("half a header"s.substr(0, 7));
    m_peer.Hang();

    EXPECT_EQ(Status(), 3);
    EXPECT_EQ(Complaints(), "cbusctl: the connection has ended\n");
}

TEST_F(CbusctlBroker, AMonitorPrintsEveryMessage) {
    Monitor({"--count", "2"});

    Copy(2, 1, {CBUS_REQUEST, 7, 1, 0, "config.read.cfg.a", "abc"});
    Copy(7, 0, {CBUS_SIGNAL, 7, 2, 0, "x", ""});

    EXPECT_EQ(Status(), 0);
    EXPECT_THAT(Printed(), MatchesRegex("[0-9T:.-]+ request web_app/2 > configd/1 config[.]read[.]cfg[.]a 3\n"
                                        "[0-9T:.-]+ signal 7 > bus x 0\n"));
}

TEST_F(CbusctlBroker, AMonitorPrintsThePayloadOfTheDatabase) {
    Monitor({"config.", "--count", "1"});

    Copy(2, 1, {CBUS_SIGNAL, 7, 2, 0, "x", ""});
    Copy(1, 2, {CBUS_SIGNAL, 7, 1, 0, "config.change.cfg", EntryBytes(2, 0, "cfg.a", "\x1b[2J\0"s)});

    EXPECT_EQ(Status(), 0);
    EXPECT_THAT(Printed(),
                MatchesRegex("[0-9T:.-]+ signal configd/1 > web_app/2 config[.]change[.]cfg 28 cfg[.]a = "
                             "\\\\u001b\\[2J\n"));
}

TEST_F(CbusctlBroker, AMonitorPrintsJson) {
    Monitor({"--json", "--hex", "--count", "1"});

    Copy(2, 1, {CBUS_REPLY, 7, 1, 0, "x", "ab"});

    EXPECT_EQ(Status(), 0);
    EXPECT_THAT(Printed(), HasSubstr(R"("kind":"reply","from":2,"to":1,"name":"x","size":2,"hex":"6162"})"));
}

TEST_F(CbusctlBroker, AMonitorTellsOfLossesWhateverItsPrefix) {
    Monitor({"config."});

    Copy(0, 0, {CBUS_SIGNAL, 0, 0, 0, "cbus.monitor.lost", NumberBytes(uint32_t{7})});

    EXPECT_TRUE(m_program->awaitOutput(" lost 7 messages\n"));
}

TEST_F(CbusctlBroker, AMonitorComplainsAboutWhatIsNoCopyAndGoesOn) {
    Monitor({"--count", "1"});

    m_peer.Send({CBUS_SIGNAL, 0, 0, 0, "cbus.monitor", "abc"});
    Copy(2, 1, {CBUS_SIGNAL, 0, 0, 0, "x", ""});

    EXPECT_EQ(Status(), 0);
    EXPECT_EQ(Complaints(), "cbusctl: a copy that is no message, 3 bytes\n");
    EXPECT_THAT(Printed(), HasSubstr(" x 0\n"));
}

TEST_F(CbusctlBroker, AMonitorPrintsTheQuestionsOfOthers) {
    Monitor({"--count", "2"});

    Copy(7, 0, {CBUS_REQUEST, 7, 2, 0, "cbus.status", ""});
    Copy(0, 7, {CBUS_REPLY, 7, 2, 0, "cbus.status", ""});

    EXPECT_EQ(Status(), 0);
    EXPECT_THAT(Printed(), MatchesRegex("[0-9T:.-]+ request 7 > bus cbus[.]status 0\n"
                                        "[0-9T:.-]+ reply bus > 7 cbus[.]status 0\n"));
}

TEST_F(CbusctlBroker, AMonitorThatIsNotAcceptedIsStatusOne) {
    Start({"monitor"});
    Answer(kStatusText + "\0"s);
    EXPECT_EQ(m_peer.Receive().name, "cbus.monitor");

    Answer(kStatusText + "\0"s);

    EXPECT_EQ(Status(), 1);
    EXPECT_EQ(Printed(), "");
    EXPECT_EQ(Complaints(), "cbusctl: the bus does not let this user monitor it\n");
}

TEST_F(CbusctlBroker, AMonitorThatSeesNothingInTimeIsStatusOne) {
    Monitor({"--timeout", "1"});

    EXPECT_EQ(Status(), 1);
    EXPECT_EQ(Complaints(), "");
}

TEST_F(CbusctlBroker, SigtermIsTheNormalEndOfAMonitor) {
    Monitor({});

    m_program->signal(SIGTERM);

    EXPECT_EQ(Status(), 0);
}
