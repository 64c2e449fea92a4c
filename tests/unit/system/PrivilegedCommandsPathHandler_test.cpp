// SPDX-License-Identifier: MIT

#include "src/system/PrivilegedCommandsPathHandler.h"

#include "CommandsFixture.h"

namespace {

class PrivilegedCommandsCollection : public CommandsFixture {};

// Stubs of "ip": one that waits to be told its exit code, one that ends at once.
constexpr const char* kWaits = "read code < $GATE\nexit $code";
constexpr const char* kEnds = "exit 3";

}  // namespace

TEST_F(PrivilegedCommandsCollection, IsEmptyAtFirst) {
    EXPECT_EQ(list(), (Answer{200, "[]", ""}));
}

TEST_F(PrivilegedCommandsCollection, StartsAnAllowedCommand) {
    m_programs.write("ip", kWaits);

    EXPECT_EQ(create(R"({"command":"ip"})"),
              (Answer{201, ipEntry(1, "RUNNING", 0), "/system/oem/privileged-cmds/1"}));

    EXPECT_EQ(m_text, ipEntry(1, "RUNNING", 0));  // sent without blanks
    EXPECT_EQ(read("1"), (Answer{200, ipEntry(1, "RUNNING", 0), ""}));
    EXPECT_EQ(list(), (Answer{200, "[" + ipEntry(1, "RUNNING", 0) + "]", ""}));
}

TEST_F(PrivilegedCommandsCollection, ShowsTheExitCode) {
    m_programs.write("ip", kEnds);

    ASSERT_EQ(createIp(), 201);

    ASSERT_TRUE(ends("1"));
    EXPECT_EQ(read("1").json, ipEntry(1, "EXITED", 3));
}

TEST_F(PrivilegedCommandsCollection, ShowsTheCodeZeroOfACommandThatASignalKilled) {
    m_programs.write("ip", "kill -TERM $$");

    ASSERT_EQ(createIp(), 201);

    ASSERT_TRUE(ends("1"));
    EXPECT_EQ(read("1").json, ipEntry(1, "EXITED", 0));
}

TEST_F(PrivilegedCommandsCollection, ShowsTheErrorNumberOfAProgramThatIsNotThere) {
    ASSERT_EQ(create(R"({"command":"dnslookup"})").status, 201);

    ASSERT_TRUE(ends("1"));
    EXPECT_NE(read("1").json.find(R"("status":"EXITED")"), std::string::npos);
    EXPECT_NE(read("1").json.find(R"("exitcode":2)"), std::string::npos);
}

TEST_F(PrivilegedCommandsCollection, RunsAdjacentArgumentsTogether) {
    m_programs.write("tcpdump", "printf '%s|' \"$0\" \"$@\" > $DIR/words");

    const Answer answer = create(R"({"command":"tcpdump","arguments":["-i","eth0"]})");

    EXPECT_NE(answer.json.find(R"("arguments":["-i","eth0"])"), std::string::npos);
    ASSERT_TRUE(ends("1"));
    EXPECT_EQ(m_programs.text("words"), m_programs.file("tcpdump") + "|-ieth0|");
}

TEST_F(PrivilegedCommandsCollection, SplitsAnArgumentWithBlanks) {
    m_programs.write("ip", "printf '%s|' \"$@\" > $DIR/words");

    ASSERT_EQ(create(R"({"command":"ip","arguments":["route add"," default"]})").status, 201);

    ASSERT_TRUE(ends("1"));
    EXPECT_EQ(m_programs.text("words"), "route|add|default|");
}

TEST_F(PrivilegedCommandsCollection, StartsNoShell) {
    m_programs.write("ip", "printf '%s|' \"$@\" > $DIR/words");

    ASSERT_EQ(create(R"({"command":"ip","arguments":["$(touch $DIR/ran); touch $DIR/ran"]})").status, 201);

    ASSERT_TRUE(ends("1"));
    EXPECT_EQ(m_programs.text("words"), "$(touch|$DIR/ran);|touch|$DIR/ran|");
}

TEST_F(PrivilegedCommandsCollection, RedirectsTheStreams) {
    m_programs.write("ip", "read line; echo out $line; echo err $line >&2");
    m_programs.writeFile("in", "hello\n");

    const Answer answer = create(R"({"command":"ip","stdin":")" + m_programs.file("in") + R"(","stdout":")" +
                                 m_programs.file("out") + R"(","stderr":")" + m_programs.file("err") + "\"}");

    EXPECT_EQ(answer.status, 201);
    EXPECT_NE(answer.json.find(R"("stdout":")" + m_programs.file("out") + '"'), std::string::npos);
    ASSERT_TRUE(ends("1"));
    EXPECT_EQ(m_programs.text("out"), "out hello\n");
    EXPECT_EQ(m_programs.text("err"), "err hello\n");
}

TEST_F(PrivilegedCommandsCollection, SendsOutputWithoutAPathToTheNullDevice) {
    m_programs.write("ip", "output=$(readlink /proc/$$/fd/1)\necho \"$output\" > $DIR/output");

    ASSERT_EQ(createIp(), 201);

    ASSERT_TRUE(ends("1"));
    EXPECT_EQ(m_programs.text("output"), "/dev/null\n");
}

TEST_F(PrivilegedCommandsCollection, SendsOutputWithAPathThatIsTooLongToTheNullDevice) {
    m_programs.write("ip", "output=$(readlink /proc/$$/fd/1)\necho \"$output\" > $DIR/output");

    const Answer answer = create(R"({"command":"ip","stdout":"/)" + std::string(128, 'x') + "\"}");

    EXPECT_EQ(answer.status, 201);
    EXPECT_EQ(answer.json, ipEntry(1, "RUNNING", 0));
    ASSERT_TRUE(ends("1"));
    EXPECT_EQ(m_programs.text("output"), "/dev/null\n");
}

TEST_F(PrivilegedCommandsCollection, AllowsTheseProgramsOnly) {
    for (const char* allowed :
         {"ip", "iptables", "iptables-restore", "tcpdump", "dnsmasq", "lighttpd", "dnslookup"}) {
        EXPECT_TRUE(PrivilegedCommandsPathHandler::checkCommand(allowed)) << allowed;
    }
    for (const char* other : {"", "sh", "IP", "ip ", " ip", "ipt", "/sbin/ip", "ip\n", "iptables-restore2"}) {
        EXPECT_FALSE(PrivilegedCommandsPathHandler::checkCommand(other)) << other;
    }
}

TEST_F(PrivilegedCommandsCollection, RefusesOtherProgramsAndUsesUpAnId) {
    m_programs.write("ip", kEnds);

    EXPECT_EQ(create(R"({"command":"sh"})"), (Answer{400, "", ""}));

    EXPECT_EQ(list().json, "[]");
    EXPECT_EQ(create(R"({"command":"ip"})").location, "/system/oem/privileged-cmds/2");
}

TEST_F(PrivilegedCommandsCollection, RefusesBadBodiesAndUsesUpAnIdForEach) {
    m_programs.write("ip", kEnds);
    const std::string too_long(129, 'x');

    for (const std::string& body :
         {std::string(), std::string("{"), std::string("[]"), std::string(R"({"command":"ip"})"),
          std::string(R"({"data":null})"), std::string(R"({"data":["command"]})"),
          std::string(R"({"data":{"arguments":[]}})"), std::string(R"({"data":{"command":7}})"),
          std::string(R"({"data":{"command":"ip","arguments":"-v"}})"),
          std::string(R"({"data":{"command":"ip","arguments":[7]}})"),
          R"({"data":{"command":"ip","arguments":[")" + too_long + "\"]}}"}) {
        EXPECT_EQ(ask("POST", kUri, body), (Answer{400, "", ""})) << body;
    }

    EXPECT_EQ(list().json, "[]");
    EXPECT_EQ(create(R"({"command":"ip"})").location, "/system/oem/privileged-cmds/12");
}

TEST_F(PrivilegedCommandsCollection, RefusesTheThirtyThirdEntryWithoutUsingUpAnId) {
    m_programs.write("ip", kEnds);
    for (int i = 0; i < 32; ++i) {
        ASSERT_EQ(createIp(), 201);
    }

    EXPECT_EQ(create(R"({"command":"ip"})"), (Answer{409, "", ""}));
    EXPECT_EQ(create(R"({"command":"sh"})").status, 409);

    ASSERT_TRUE(ends("32"));
    ASSERT_EQ(remove("32"), 202);
    EXPECT_EQ(create(R"({"command":"ip"})").location, "/system/oem/privileged-cmds/33");
}

TEST_F(PrivilegedCommandsCollection, ShowsTheEndOfEachOfManyThatEndAtOnce) {
    m_programs.write("ip", kEnds);
    for (int i = 0; i < 32; ++i) {
        ASSERT_EQ(createIp(), 201);
    }
    ASSERT_TRUE(m_loop.turnUntil([this] { return list().json.find("RUNNING") == std::string::npos; }));

    for (int id = 1; id <= 32; ++id) {
        EXPECT_EQ(read(std::to_string(id)).json, ipEntry(id, "EXITED", 3));
    }
}

TEST_F(PrivilegedCommandsCollection, ListsItsEntriesInTheOrderOfTheirIdsAsTexts) {
    m_programs.write("ip", kEnds);
    for (int i = 0; i < 10; ++i) {
        ASSERT_EQ(createIp(), 201);
    }

    EXPECT_TRUE(list().json.starts_with("[" + ipEntry(1, "RUNNING", 0) + "," + ipEntry(10, "RUNNING", 0) +
                                        "," + ipEntry(2, "RUNNING", 0)));
}

TEST_F(PrivilegedCommandsCollection, AnswersAFailedStartWithoutAnEntryAtFirst) {
    failing_calls::fork_error = ENOMEM;

    EXPECT_EQ(create(R"({"command":"ip"})"), (Answer{400, "", ""}));
    failing_calls::fork_error = 0;

    EXPECT_EQ(list().json, "[]");
    m_programs.write("ip", kEnds);
    EXPECT_EQ(create(R"({"command":"ip"})").location, "/system/oem/privileged-cmds/2");
}

TEST_F(PrivilegedCommandsCollection, KeepsAFailedStartAsAnEntryOnceOneHasSucceeded) {
    m_programs.write("ip", kEnds);
    ASSERT_EQ(createIp(), 201);
    failing_calls::fork_error = ENOMEM;

    EXPECT_EQ(create(R"({"command":"ip"})"),
              (Answer{400, ipEntry(2, "RUNNING", -1), "/system/oem/privileged-cmds/2"}));
    failing_calls::fork_error = 0;

    EXPECT_EQ(read("2").json, ipEntry(2, "RUNNING", -1));
}

TEST_F(PrivilegedCommandsCollection, KeepsNoFailedStartAfterARefusedBody) {
    m_programs.write("ip", kEnds);
    ASSERT_EQ(createIp(), 201);
    ASSERT_EQ(create(R"({"command":"sh"})").status, 400);
    failing_calls::fork_error = ENOMEM;

    EXPECT_EQ(create(R"({"command":"ip"})"), (Answer{400, "", ""}));
    failing_calls::fork_error = 0;
}

TEST_F(PrivilegedCommandsCollection, DeletesTheEntryOfAFailedStartAtOnceAndSignalsNobody) {
    m_programs.write("ip", kWaits);
    ASSERT_EQ(createIp(), 201);
    failing_calls::fork_error = ENOMEM;
    ASSERT_EQ(createIp(), 400);
    failing_calls::fork_error = 0;
    subscribe("/2");

    EXPECT_EQ(remove("2"), 202);

    EXPECT_EQ(read("2").status, 404);
    EXPECT_EQ(m_client.told(), Lines{"Deleted /system/oem/privileged-cmds/2 -"});
    EXPECT_EQ(read("1").json, ipEntry(1, "RUNNING", 0));
}

TEST_F(PrivilegedCommandsCollection, AnswersAServerErrorForAnOutcomeThatIsNeitherStartNorFailure) {
    m_programs.write("ip", kEnds);
    ASSERT_EQ(createIp(), 201);
    PrivilegedCommandObject data;

    EXPECT_EQ(m_commands->noteStart(1, data), StatusCode::kInternalServerError);

    EXPECT_EQ(data.status, "ERROR");
    EXPECT_EQ(data.exitcode, -1);
    // As if nothing had ever started.
    failing_calls::fork_error = ENOMEM;
    EXPECT_EQ(create(R"({"command":"ip"})"), (Answer{400, "", ""}));
    failing_calls::fork_error = 0;
}

TEST_F(PrivilegedCommandsCollection, CutsTheLocationTo99Characters) {
    m_programs.write("ip", kEnds);
    const std::string path = "/" + std::string(97, 'p') + "/";
    m_commands->test_setApiAndPath(&m_controller, path.c_str());
    RecordingRequest request("POST", kUri, m_client.session());
    request.setBody(R"({"data":{"command":"ip"}})");

    m_commands->createOperation(&request);

    EXPECT_EQ(request.status(), 201);
    EXPECT_EQ(request.location(), path);  // the id would be the 100th
}

TEST_F(PrivilegedCommandsCollection, HandsOutItsCommandsByNumber) {
    m_programs.write("ip", kEnds);
    ASSERT_EQ(createIp(), 201);

    EXPECT_EQ(m_commands->getCommand(1), m_commands->findEntry("1"));
    ASSERT_NE(m_commands->getCommand(1), nullptr);
    EXPECT_EQ(m_commands->getCommand(1)->data().cmd_id, 1);
    EXPECT_EQ(m_commands->getCommand(2), nullptr);
    EXPECT_EQ(m_commands->getCommand(-1), nullptr);
}

TEST_F(PrivilegedCommandsCollection, OffersNoUpdateAndNoDeletionOfAll) {
    m_programs.write("ip", kEnds);
    ASSERT_EQ(createIp(), 201);

    EXPECT_EQ(ask("PUT", std::string(kUri) + "/1", R"({"data":{}})").status, 405);
    EXPECT_EQ(ask("PUT", std::string(kUri) + "/2", R"({"data":{}})").status, 404);
    EXPECT_EQ(ask("DELETE", kUri).status, 405);
}
