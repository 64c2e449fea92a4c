// SPDX-License-Identifier: MIT

#include <gmock/gmock.h>
#include <pty.h>
#include <unistd.h>

#include "ProgramFixture.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* kDataBody = R"("result": {"code": 200, "data": {"a": "x", "b": [1, 2]}})";

class ApictlProgram : public ProgramFixture {
  protected:
    // Starts the program, answers its one request and waits for its end.
    int StatusOfCall(const std::vector<std::string>& arguments, std::string_view body) {
        Program program = Start(arguments);
        m_request = m_api.Accept().Serve(body);
        const int status = StatusOf(program);
        m_printed = program.output();
        return status;
    }
    int StatusWithoutCall(const std::vector<std::string>& arguments) {
        Program program = Start(arguments);
        const int status = StatusOf(program);
        m_printed = program.output();
        EXPECT_FALSE(m_api.IsCalled());
        return status;
    }

    std::string m_request;
    std::string m_printed;
};

}  // namespace

TEST_F(ApictlProgram, ReadPrintsTheDataOnOneLine) {
    EXPECT_EQ(StatusOfCall({"read", "/system/x"}, kDataBody), 0);

    EXPECT_THAT(m_request, HasSubstr(R"("method":"read","params":{"path":"/system/x"})"));
    EXPECT_EQ(m_printed, "{\"a\":\"x\",\"b\":[1,2]}\n");
    EXPECT_EQ(Complaints(), "");
}

TEST_F(ApictlProgram, ReadPrintsTheDataIndentedOnATerminal) {
    int terminal = -1;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child == 0) {
        execl(APICTL_PROGRAM, "apictl", "read", "/system/x", nullptr);
        _exit(127);
    }
    const UniqueFd owner(terminal);

    m_api.Accept().Serve(R"("result": {"code": 200, "data": {"a": "x"}})");

    std::string printed;
    char piece[1000];
    for (ssize_t count = 0; (count = read(terminal, piece, sizeof piece)) > 0;) {
        printed.append(piece, static_cast<size_t>(count));
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(printed, "{\r\n\t\"a\":\t\"x\"\r\n}\r\n");
}

TEST_F(ApictlProgram, RawPrintsTheWholeResponse) {
    EXPECT_EQ(StatusOfCall({"read", "/system/x", "--raw"}, kDataBody), 0);

    EXPECT_EQ(
        m_printed,
        "{\"jsonrpc\":\"2.0\",\"result\":{\"code\":200,\"data\":{\"a\":\"x\",\"b\":[1,2]}},\"id\":1}\n");
}

TEST_F(ApictlProgram, AnErrorAnswerIsStatusOneWithCodeAndMessageOnStandardError) {
    EXPECT_EQ(StatusOfCall({"read", "/system/x"}, kNotFoundBody), 1);

    EXPECT_EQ(m_printed, "");
    EXPECT_EQ(Complaints(), "apictl: 404 Not Found\n");
}

TEST_F(ApictlProgram, RawPrintsAnErrorAnswerTooAndTheStatusStaysOne) {
    EXPECT_EQ(StatusOfCall({"--raw", "read", "/system/x"}, kNotFoundBody), 1);

    EXPECT_EQ(m_printed,
              "{\"jsonrpc\":\"2.0\",\"error\":{\"code\":404,\"message\":\"Not Found\"},\"id\":1}\n");
    EXPECT_EQ(Complaints(), "apictl: 404 Not Found\n");
}

TEST_F(ApictlProgram, TheVerbsAreTheMethods) {
    for (const char* verb : {"create", "update", "delete"}) {
        EXPECT_EQ(StatusOfCall({verb, "/a", R"({"b": 1})"}, kOkBody), 0);

        EXPECT_THAT(m_request, HasSubstr(std::string(R"("method":")") + verb +
                                         R"(","params":{"path":"/a","data":{"b":1}})"));
    }
}

TEST_F(ApictlProgram, ASuccessWithoutDataPrintsNothing) {
    EXPECT_EQ(StatusOfCall({"update", "/a", "{}"}, kOkBody), 0);

    EXPECT_EQ(m_printed, "");
    EXPECT_EQ(Complaints(), "");
}

TEST_F(ApictlProgram, DataComesFromStandardInput) {
    Program program = Shell(R"(printf '{"b":\n 2}' | "$APICTL" update /a -)");

    const std::string request = m_api.Accept().Serve(kOkBody);

    EXPECT_EQ(StatusOf(program), 0);
    EXPECT_THAT(request, HasSubstr(R"("data":{"b":2})"));
}

TEST_F(ApictlProgram, DataComesFromAFile) {
    EXPECT_EQ(StatusOfCall({"update", "/a", "@" + m_api.directory().write("data", "[3]")}, kOkBody), 0);

    EXPECT_THAT(m_request, HasSubstr(R"("data":[3])"));
}

TEST_F(ApictlProgram, DataThatIsNoJsonIsAUsageErrorBeforeConnecting) {
    EXPECT_EQ(StatusWithoutCall({"update", "/a", "{a: 1}"}), 2);

    EXPECT_EQ(Complaints(), "apictl: the data is no JSON near byte 3: ': 1}'\n");
}

TEST_F(ApictlProgram, AMissingFileIsAUsageErrorBeforeConnecting) {
    EXPECT_EQ(StatusWithoutCall({"update", "/a", "@/nowhere"}), 2);

    EXPECT_EQ(Complaints(), "apictl: cannot read '/nowhere': No such file or directory\n");
}

TEST_F(ApictlProgram, WrongArgumentsAreStatusTwo) {
    EXPECT_EQ(StatusWithoutCall({}), 2);
    EXPECT_EQ(StatusWithoutCall({"read"}), 2);
    EXPECT_EQ(StatusWithoutCall({"read", "system/x"}), 2);
    EXPECT_EQ(StatusWithoutCall({"read", "/a", "--nonsense"}), 2);

    EXPECT_THAT(Complaints(), StartsWith("apictl: "));
}

TEST_F(ApictlProgram, HelpAndVersionAreStatusZero) {
    EXPECT_EQ(StatusWithoutCall({"-h"}), 0);
    EXPECT_THAT(m_printed, HasSubstr("Exit status: 0 done, 1 "));

    EXPECT_EQ(StatusWithoutCall({"--version"}), 0);
    EXPECT_EQ(m_printed, "apictl " ORVALE_VERSION "\n");
}

TEST_F(ApictlProgram, WithoutADaemonTheStatusIsThree) {
    const std::string none = m_api.directory().file("none");

    EXPECT_EQ(StatusWithoutCall({"read", "/a", "-s", none}), 3);

    EXPECT_EQ(Complaints(), "apictl: cannot reach '" + none + "': No such file or directory\n");
}

TEST_F(ApictlProgram, TheOptionChoosesTheSocketBeforeTheEnvironment) {
    setenv("ORVALE_API", "/nowhere", 1);

    EXPECT_EQ(StatusOfCall({"read", "/a", "-s", m_api.path()}, kDataBody), 0);
}

TEST_F(ApictlProgram, ADaemonThatHangsUpIsStatusThree) {
    Program program = Start({"read", "/a"});

    ApiPeer daemon = m_api.Accept();
    daemon.Receive();
    daemon.Hang();

    EXPECT_EQ(StatusOf(program), 3);
    EXPECT_EQ(Complaints(), "apictl: the connection has ended\n");
}

TEST_F(ApictlProgram, AnAnswerThatIsNoJsonIsStatusThree) {
    Program program = Start({"read", "/a"});

    ApiPeer daemon = m_api.Accept();
    daemon.Receive();
    daemon.Send("220 mail.example ESMTP\r\n");

    EXPECT_EQ(StatusOf(program), 3);
    EXPECT_EQ(Complaints(), "apictl: what came is no JSON\n");
}

TEST_F(ApictlProgram, ControlCharactersOfTheDataDoNotReachTheOutput) {
    EXPECT_EQ(
        StatusOfCall({"read", "/a"}, "\"result\": {\"code\": 200, \"data\": \"\\u001b[2J\xC2\x9B\x7f\"}"), 0);

    EXPECT_EQ(m_printed, "\"\\u001b[2J\\u009b\\u007f\"\n");
}

TEST_F(ApictlProgram, AnOutputThatNobodyReadsIsNoError) {
    Program program = Shell(R"({ "$APICTL" read /a; echo "status $?" >&2; } | true)");

    m_api.Accept().Serve(R"("result": {"code": 200, "data": ")" + std::string(1 << 18, 'x') + "\"}");

    StatusOf(program);
    EXPECT_EQ(Complaints(), "status 0\n");
}

TEST_F(ApictlProgram, WithoutAnOutputTheStatusIsThree) {
    Program program = Shell(R"("$APICTL" read /a >&-)");

    m_api.Accept().Serve(kDataBody);

    EXPECT_EQ(StatusOf(program), 3);
    EXPECT_EQ(Complaints(), "apictl: cannot write: Bad file descriptor\n");
}

TEST_F(ApictlProgram, TheConnectionDoesNotBecomeTheMissingStandardOutput) {
    Program program = Shell(R"("$APICTL" read /a <&- >&-)");

    ApiPeer daemon = m_api.Accept();
    daemon.Serve(kDataBody);

    EXPECT_EQ(daemon.Receive(), "");
    EXPECT_EQ(StatusOf(program), 3);
}

TEST_F(ApictlProgram, SubscriptionsListsWhatTheConnectionHolds) {
    Program program = Start({"subscriptions"});

    ApiPeer daemon = m_api.Accept();
    daemon.Serve(kNotFoundBody);
    daemon.Serve(R"("result": {"code": 200, "data": []})");

    EXPECT_EQ(StatusOf(program), 0);
    EXPECT_EQ(program.output(), "[]\n");
}
