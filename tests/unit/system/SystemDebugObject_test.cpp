// SPDX-License-Identifier: MIT

#include "src/system/SystemDebugObject.h"

#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DebugFixture.h"
#include "tests/support/CapturedLog.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr const char* kReportKey = "ram.diag.save";
constexpr const char* kReportPath = R"("/tmp/diag_report.tar.gz")";

class SystemDebugObjectTest : public DebugFixture {
  protected:
    int put(const std::string& payload) { return DebugFixture::put(kDebug, payload); }
    std::string attribute(const char* name) { return member(kDebug, name); }
    bool rebootFileExists() { return std::filesystem::exists(m_flags.file("debug.no_reboot")); }
    bool watchdogFileExists() { return std::filesystem::exists(m_flags.file("debug.watchdog.disable")); }

    // What the maker of the report answers.
    void reportState(const std::string& state) {
        m_database.setString(kReportKey, state);
        announce({kReportKey});
    }
    int requestReport() {
        const int status = put(R"({"request":"DIAG_REPORT"})");
        settle();
        return status;
    }
};

}  // namespace

TEST_F(SystemDebugObjectTest, HasNoSwitchOnAndNoReportAtFirst) {
    EXPECT_EQ(get(kDebug), (Answer{200, R"({"prevent_reboot":false,"watchdog_disable":false,)"
                                        R"("request":"READY","diagnostic_report":null})"}));
}

TEST_F(SystemDebugObjectTest, LooksForItsMarkerFilesBelowMisc) {
    const CapturedLog log;

    static_cast<void>(SystemDebugObject().getRebootFlag());
    static_cast<void>(SystemDebugObject().getWatchdogFlag());

    EXPECT_EQ(
        log.lines(),
        (std::vector<std::string>{
            "7 src/SystemDebugObject: SystemDebugObject::getRebootFlag filename = /misc/debug.no_reboot",
            "7 src/SystemDebugObject: SystemDebugObject::getWatchdogFlag filename = "
            "/misc/debug.watchdog.disable"}));
}

TEST_F(SystemDebugObjectTest, ShowsASwitchWhileItsFileExists) {
    m_flags.write("debug.no_reboot", "");
    EXPECT_EQ(attribute("prevent_reboot"), "true");
    EXPECT_EQ(attribute("watchdog_disable"), "false");

    std::filesystem::remove(m_flags.file("debug.no_reboot"));
    m_flags.write("debug.watchdog.disable", "");
    EXPECT_EQ(attribute("prevent_reboot"), "false");
    EXPECT_EQ(attribute("watchdog_disable"), "true");
}

TEST_F(SystemDebugObjectTest, CreatesTheRebootFileAndRemovesIt) {
    EXPECT_EQ(put(R"({"prevent_reboot":true})"), 200);
    EXPECT_TRUE(rebootFileExists());
    EXPECT_EQ(attribute("prevent_reboot"), "true");

    EXPECT_EQ(put(R"({"prevent_reboot":false})"), 200);
    EXPECT_FALSE(rebootFileExists());
    EXPECT_EQ(attribute("prevent_reboot"), "false");
}

TEST_F(SystemDebugObjectTest, MakesTheDirectoryOfItsMarkerFiles) {
    const TempDirectory parent;
    const SystemDebugObject debug(parent.file("m/").c_str());

    const mode_t before = umask(0);
    debug.setRebootFlag(true);
    umask(before);

    EXPECT_TRUE(debug.getRebootFlag());
    // A daemon runs without a umask.
    EXPECT_EQ(std::filesystem::status(parent.file("m")).permissions(), std::filesystem::perms{0755});
    std::filesystem::remove_all(parent.file("m"));
}

TEST_F(SystemDebugObjectTest, CreatesTheWatchdogFileAndRemovesIt) {
    EXPECT_EQ(put(R"({"watchdog_disable":true})"), 200);
    EXPECT_TRUE(watchdogFileExists());
    EXPECT_FALSE(rebootFileExists());

    EXPECT_EQ(put(R"({"watchdog_disable":false})"), 200);
    EXPECT_FALSE(watchdogFileExists());
}

TEST_F(SystemDebugObjectTest, SetsBothSwitchesAtOnce) {
    m_flags.write("debug.watchdog.disable", "");

    EXPECT_EQ(put(R"({"prevent_reboot":true,"watchdog_disable":false})"), 200);

    EXPECT_TRUE(rebootFileExists());
    EXPECT_FALSE(watchdogFileExists());
}

TEST_F(SystemDebugObjectTest, PassesOverASwitchOfAnotherType) {
    EXPECT_EQ(put(R"({"prevent_reboot":1,"watchdog_disable":true})"), 200);

    EXPECT_FALSE(rebootFileExists());
    EXPECT_TRUE(watchdogFileExists());
}

TEST_F(SystemDebugObjectTest, TakesASwitchBesideAnUnknownRequest) {
    EXPECT_EQ(put(R"({"request":"OTHER","prevent_reboot":true})"), 200);

    EXPECT_TRUE(rebootFileExists());
    EXPECT_EQ(sent("config.write.ram.diag.save"), 0);
}

TEST_F(SystemDebugObjectTest, AnswersOkThoughAMarkerFileCannotBeWritten) {
    m_controller.addPathHandler("nowhere", new SystemDebugObject("/nowhere/at/all/"));

    EXPECT_EQ(DebugFixture::put("/system/nowhere", R"({"prevent_reboot":true,"watchdog_disable":false})"),
              200);
    EXPECT_EQ(member("/system/nowhere", "prevent_reboot"), "false");
}

TEST_F(SystemDebugObjectTest, CutsThePathsOfItsMarkerFilesTo63Characters) {
    const CapturedLog log;

    static_cast<void>(SystemDebugObject(("/" + std::string(58, 'd') + "/").c_str()).getRebootFlag());
    static_cast<void>(SystemDebugObject(("/" + std::string(5000, 'd')).c_str()).getWatchdogFlag());

    const std::string line = "7 src/SystemDebugObject: SystemDebugObject::";
    EXPECT_TRUE(log.has(line + "getRebootFlag filename = /" + std::string(58, 'd') + "/deb"));
    EXPECT_TRUE(log.has(line + "getWatchdogFlag filename = /" + std::string(62, 'd')));
}

TEST_F(SystemDebugObjectTest, RefusesABodyWithoutAnythingItKnows) {
    EXPECT_EQ(put("{}"), 400);
    EXPECT_EQ(put("[]"), 400);
    EXPECT_EQ(put("\"DIAG_REPORT\""), 400);
    EXPECT_EQ(put(R"({"request":5})"), 400);
    EXPECT_EQ(put(R"({"prevent_reboot":"true"})"), 400);
    EXPECT_EQ(put(R"({"prevent_reboot":null,"watchdog_disable":0})"), 400);
    EXPECT_EQ(put(R"({"PREVENT_REBOOT":true})"), 400);
    EXPECT_FALSE(rebootFileExists());
}

TEST_F(SystemDebugObjectTest, RefusesAnUnknownRequestAlone) {
    EXPECT_EQ(put(R"({"request":"READY"})"), 400);
    EXPECT_EQ(put(R"({"request":"diag_report"})"), 400);
    EXPECT_EQ(put(R"({"request":""})"), 400);
}

TEST_F(SystemDebugObjectTest, AnswersServerErrorWithoutABody) {
    EXPECT_EQ(ask("PUT", kDebug).status, 500);
    EXPECT_EQ(ask("PUT", kDebug, "{not json").status, 500);
    EXPECT_EQ(ask("PUT", kDebug, "{}").status, 500);
    EXPECT_EQ(put("null"), 500);
}

TEST_F(SystemDebugObjectTest, AsksForAReport) {
    EXPECT_EQ(put(R"({"request":"DIAG_REPORT"})"), 200);
    waitForDatabase();

    EXPECT_EQ(m_database.text(kReportKey), "/tmp/");
}

TEST_F(SystemDebugObjectTest, ShowsTheRequestOnlyWhenTheDatabaseReportsIt) {
    put(R"({"request":"DIAG_REPORT"})");
    EXPECT_EQ(attribute("request"), R"("READY")");

    settle();

    EXPECT_EQ(attribute("request"), R"("DIAG_REPORT")");
    EXPECT_EQ(attribute("diagnostic_report"), "null");
}

TEST_F(SystemDebugObjectTest, LeavesTheSwitchesAloneWhenItStartsAReport) {
    EXPECT_EQ(put(R"({"request":"DIAG_REPORT","prevent_reboot":true,"watchdog_disable":true})"), 200);

    EXPECT_FALSE(rebootFileExists());
    EXPECT_FALSE(watchdogFileExists());
    EXPECT_EQ(sent("config.write.ram.diag.save"), 1);
}

TEST_F(SystemDebugObjectTest, RefusesASecondReportWhileOneIsBeingMade) {
    ASSERT_EQ(requestReport(), 200);

    EXPECT_EQ(requestReport(), 400);
    EXPECT_EQ(sent("config.write.ram.diag.save"), 1);
}

TEST_F(SystemDebugObjectTest, SetsASwitchWhileAReportIsBeingMade) {
    ASSERT_EQ(requestReport(), 200);

    EXPECT_EQ(put(R"({"prevent_reboot":true})"), 200);

    EXPECT_TRUE(rebootFileExists());
}

TEST_F(SystemDebugObjectTest, ShowsWhereTheFinishedReportLies) {
    requestReport();

    reportState("OK");

    EXPECT_EQ(attribute("request"), R"("READY")");
    EXPECT_EQ(attribute("diagnostic_report"), kReportPath);
}

TEST_F(SystemDebugObjectTest, MakesAnotherReportOnceTheFirstIsDone) {
    requestReport();
    reportState("OK");

    EXPECT_EQ(requestReport(), 200);

    EXPECT_EQ(attribute("request"), R"("DIAG_REPORT")");
    EXPECT_EQ(attribute("diagnostic_report"), "null");
}

TEST_F(SystemDebugObjectTest, ShowsAFailedReportAndRefusesFurtherOnesUntilItsMakerIsDone) {
    requestReport();

    reportState("disk full");
    EXPECT_EQ(attribute("request"), R"("DIAG_REPORT")");
    EXPECT_EQ(attribute("diagnostic_report"), R"("error")");
    EXPECT_EQ(requestReport(), 400);

    reportState("OK");
    EXPECT_EQ(requestReport(), 200);
}

TEST_F(SystemDebugObjectTest, TakesAnyOtherTextForAFailure) {
    get(kDebug);

    for (const char* state : {"", "ok", "OK ", "/tmp", "/tmp//"}) {
        reportState("OK");
        reportState(state);
        EXPECT_EQ(attribute("diagnostic_report"), R"("error")") << state;
        EXPECT_EQ(attribute("request"), R"("READY")") << state;
    }
}

TEST_F(SystemDebugObjectTest, AnswersOkThoughTheRequestDoesNotReachTheDatabase) {
    get(kDebug);
    cutBus();

    EXPECT_EQ(put(R"({"request":"DIAG_REPORT"})"), 200);
    EXPECT_EQ(attribute("request"), R"("READY")");
}

TEST_F(SystemDebugObjectTest, ReadsATextWithoutATerminatorUpToItsLength) {
    get(kDebug);

    report({{kReportKey, "OK"}});

    EXPECT_EQ(attribute("diagnostic_report"), kReportPath);
}

TEST_F(SystemDebugObjectTest, IgnoresValuesThatAreNoText) {
    requestReport();
    const Answer before = get(kDebug);
    const CapturedLog log;

    m_database.setInt(kReportKey, 1);
    announce({kReportKey});
    m_database.setBinary(kReportKey, "OK");
    announce({kReportKey});

    EXPECT_EQ(get(kDebug), before);
    EXPECT_EQ(log.count("3 src/SystemDebugObject: SystemDebug: Unsupported config type : 3"), 1);
    EXPECT_EQ(log.count("3 src/SystemDebugObject: SystemDebug: Unsupported config type : 16"), 1);
    EXPECT_EQ(
        log.count("4 src/SystemDebugObject: Received message data unexpected, Name=ram.diag.save, Type=3"),
        1);
}

TEST_F(SystemDebugObjectTest, KeysAndTextsOfTheBusCannotMakeLogLinesOfTheirOwn) {
    requestReport();
    const std::string key = std::string(kReportKey) + "\n3 key";
    m_database.setString(kReportKey, "bad\n3 text");
    m_database.setInt(key, 1);
    const CapturedLog log;

    announce({kReportKey});
    announce({key});

    const std::string module = " src/SystemDebugObject: ";
    EXPECT_TRUE(log.has("6" + module + "Received message String data=bad?3 text"));
    EXPECT_TRUE(log.has("6" + module + "SystemDebug Replacing string:bad?3 text "));
    EXPECT_TRUE(log.has("7" + module + "ReplaceItem Attribute diagnostic_report to bad?3 text to "));
    EXPECT_TRUE(log.has("6" + module + "Received message Name = ram.diag.save?3 key, Type = 3"));
    EXPECT_TRUE(log.has("4" + module + "Received message data unexpected, Name=ram.diag.save?3 key, Type=3"));
}

TEST_F(SystemDebugObjectTest, IgnoresADeletedKey) {
    requestReport();
    const Answer before = get(kDebug);
    const CapturedLog log;
    m_database.erase(kReportKey);

    announce({kReportKey});

    EXPECT_EQ(get(kDebug), before);
    EXPECT_EQ(
        log.count("4 src/SystemDebugObject: Received message data unexpected, Name=ram.diag.save, Type=0"),
        1);
    EXPECT_EQ(log.countOf("3 "), 0);
}

TEST_F(SystemDebugObjectTest, IgnoresKeysThatOnlyBeginLikeItsOwn) {
    const Answer before = get(kDebug);
    m_database.setString("ram.diag.save.more", "OK");
    m_database.setString("ram.diag.saved", "OK");

    announce({"ram.diag.save.more", "ram.diag.saved"});

    EXPECT_EQ(get(kDebug), before);
}

TEST_F(SystemDebugObjectTest, TellsItsSubscribersWhatChanged) {
    get(kDebug);
    subscribe(kDebug, "UPDATED");

    requestReport();
    reportState("OK");
    requestReport();
    reportState("failed");

    EXPECT_THAT(
        m_client.told(),
        ElementsAre(R"(Updated /system/debug {"request":"DIAG_REPORT"})",
                    R"(Updated /system/debug {"request":"READY",)"
                    R"("diagnostic_report":"/tmp/diag_report.tar.gz"})",
                    R"(Updated /system/debug {"request":"DIAG_REPORT","diagnostic_report":null})",
                    R"(Updated /system/debug {"request":"DIAG_REPORT","diagnostic_report":"error"})"));
}

TEST_F(SystemDebugObjectTest, TellsTheWholeObjectOncePerMessage) {
    get(kDebug);
    subscribe(kDebug, "ALL");
    const CapturedLog log;

    report({{kReportKey, "/tmp/"}, {kReportKey, "OK"}});

    EXPECT_THAT(m_client.told(),
                ElementsAre(R"(Updated /system/debug {"prevent_reboot":false,"watchdog_disable":false,)"
                            R"("request":"READY","diagnostic_report":"/tmp/diag_report.tar.gz"})"));
    EXPECT_EQ(log.count("7 src/SystemDebugObject: SystemDebug notify Updated, attr update count 2"), 1);
}

TEST_F(SystemDebugObjectTest, TellsNobodyOfASwitch) {
    get(kDebug);
    subscribe(kDebug, "ALL");

    put(R"({"prevent_reboot":true})");
    settle();

    EXPECT_THAT(m_client.told(), IsEmpty());
}

TEST_F(SystemDebugObjectTest, HearsNothingMoreOnceItIsGone) {
    get(kDebug);
    const CapturedLog log;

    m_controller.removePathHandler("debug");
    reportState("OK");

    EXPECT_EQ(log.countOf("6 src/SystemDebugObject:"), 0);
}

TEST_F(SystemDebugObjectTest, LogsAReportFromTheRequestToItsEnd) {
    const CapturedLog log;

    requestReport();

    EXPECT_EQ(log.count("6 src/SystemDebugObject: SystemDebugObject::init()"), 1);
    EXPECT_EQ(log.countOf("7 src/SystemDebugObject: Init Diag Report: m_json ptr = 0x"), 1);
    EXPECT_EQ(log.count("7 src/SystemDebugObject: initDiagnosticReport workdir=/tmp/ "), 1);
    EXPECT_EQ(log.count("7 src/SystemDebugObject: SystemDebugController::update->RESPOND OK"), 1);
    EXPECT_EQ(log.count("6 src/SystemDebugObject: onConfigChange: nrec = 1"), 1);
    EXPECT_EQ(log.count("6 src/SystemDebugObject: Received message Name = ram.diag.save, Type = 2"), 1);
    EXPECT_EQ(log.count("6 src/SystemDebugObject: Received message String data=/tmp/"), 1);
    EXPECT_EQ(log.count("6 src/SystemDebugObject: SystemDebug Replacing string:/tmp/ "), 1);
    EXPECT_EQ(log.count("7 src/SystemDebugObject: ReplaceItem Attribute diagnostic_report to /tmp/ to "), 1);
}

TEST_F(SystemDebugObjectTest, LogsTheSwitchesItSets) {
    const CapturedLog log;

    put(R"({"prevent_reboot":true,"watchdog_disable":false})");

    const std::string start = "7 src/SystemDebugObject: ";
    EXPECT_TRUE(log.has(start + "SystemDebugController::update->prevent_reboot"));
    EXPECT_TRUE(log.has(
        start + "SystemDebugObject::setRebootFlag true filename = " + m_flags.file("debug.no_reboot")));
    EXPECT_TRUE(log.has(start + "SystemDebugController::update->setWatchdogFlag"));
    EXPECT_TRUE(log.has(start + "SystemDebugObject::setWatchdogFlag false wd_filename = " +
                        m_flags.file("debug.watchdog.disable")));
}

TEST_F(SystemDebugObjectTest, LogsWhyItRefuses) {
    const CapturedLog log;

    ask("PUT", kDebug);
    put(R"({"request":"OTHER"})");

    EXPECT_EQ(log.count("3 src/SystemDebugObject: updateOperation NO data"), 1);
    EXPECT_EQ(log.count("3 src/SystemDebugObject: updateOperation SET BAD REQUEST "), 1);
}

TEST_F(SystemDebugObjectTest, HasTheSyslogRulesAndTheSelfTestBelowIt) {
    EXPECT_EQ(get("/system/debug/syslog-rules"), (Answer{200, "[]"}));
    EXPECT_EQ(get("/system/debug/post").status, 200);
    EXPECT_EQ(get("/system/debug/other").status, 404);
}

TEST_F(SystemDebugObjectTest, HasTheSelfTestFromTheFirstQuestionBelowItOn) {
    const std::string made = "6 src/SystemPostCollection: SystemPostCollection() Constructor";
    const CapturedLog log;
    get(kDebug);
    EXPECT_FALSE(log.has(made));

    get("/system/debug/other");

    EXPECT_EQ(log.count(made), 1);
}

TEST_F(SystemDebugObjectTest, CanBeNeitherCreatedNorDeleted) {
    EXPECT_EQ(ask("POST", kDebug, R"({"data":{"prevent_reboot":true}})").status, 405);
    EXPECT_EQ(remove(kDebug), 405);
}

TEST_F(SystemDebugObjectTest, TakesAnyParametersOfARead) {
    EXPECT_TRUE(SystemDebugObject::validateJsonReadParams(nullptr));
    EXPECT_TRUE(SystemDebugObject::validateJsonReadParams(parse(R"({"any":1})").get()));
}

TEST(SystemDebugObjectReport, NamesItsFileWithinTheSizeGiven) {
    char name[200];
    SystemDebugObject::getDiagFilename(name, sizeof name);
    EXPECT_STREQ(name, "/tmp/diag_report.tar.gz");

    char cut[10] = "123456789";
    SystemDebugObject::getDiagFilename(cut, 6);
    EXPECT_STREQ(cut, "/tmp/");
    SystemDebugObject::getDiagFilename(cut, -1);
    EXPECT_STREQ(cut, "/tmp/");
}

TEST(SystemDebugObjectReport, ExistsWhenItsFileDoes) {
    const TempDirectory directory;
    const std::string report = directory.write("report", "x");

    EXPECT_TRUE(SystemDebugObject::existDiagnosticFilename(report.c_str()));
    EXPECT_FALSE(SystemDebugObject::existDiagnosticFilename(directory.file("other").c_str()));
}
