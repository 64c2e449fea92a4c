// SPDX-License-Identifier: MIT

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <csignal>

#include "Unpacked.h"
#include "tests/support/RunningDatabase.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* kKey = "ram.diag.save";
constexpr const char* kRequest = "/tmp/";

class DiagnosticProgram : public RunningDatabase {
  protected:
    void Serve() { ServeInto(m_reports.path()); }
    void ServeInto(const std::string& directory) {
        m_program = Start(DIAGD_PROGRAM, {"-a", m_address, "-o", directory});
        ASSERT_TRUE(m_program->awaitOutput("serving")) << m_program->output();
    }
    // Asks for a report and waits until the key tells something else.
    std::string Request() {
        EXPECT_EQ(Write(kKey, kRequest), 0);
        return Answer();
    }
    std::string Answer() {
        EXPECT_TRUE(Await([] { return Read(kKey) != kRequest; })) << m_program->output();
        return Read(kKey);
    }
    // How many reports it has begun.
    [[nodiscard]] int Begun() const {
        const std::string log = m_program->output();
        int count = 0;
        for (size_t at = 0; (at = log.find("making a report\n", at)) != std::string::npos; ++at) {
            ++count;
        }
        return count;
    }

    TempDirectory m_reports;
    std::string m_report = m_reports.file("diag_report.tar.gz");
    std::unique_ptr<Program> m_program;
};

}  // namespace

TEST_F(DiagnosticProgram, MakesAReportAndSaysOk) {
    Serve();

    EXPECT_EQ(Request(), "OK");

    EXPECT_EQ(NamesIn(m_reports.path()), std::vector<std::string>{"diag_report.tar.gz"});
    EXPECT_TRUE(Unpacked(m_report).is_whole());
}

TEST_F(DiagnosticProgram, TheReportHoldsTheConfiguration) {
    Serve();
    ASSERT_EQ(Write("cfg.password", "secret"), 0);
    ASSERT_EQ(Request(), "OK");

    const Unpacked unpacked(m_report);

    EXPECT_THAT(unpacked.text("config/cfg.txt"), HasSubstr("cfg.password = secret\n"));
    EXPECT_THAT(unpacked.text("config/cfg.txt"), HasSubstr("cfg.sysconf.serial_number = HM24071983\n"));
    EXPECT_THAT(unpacked.text("config/ram.txt"), HasSubstr("ram.status.system = 6\n"));
    EXPECT_THAT(unpacked.text("config/ram.txt"), HasSubstr("ram.diag.save = /tmp/\n"));
}

TEST_F(DiagnosticProgram, TheReportHoldsTheStateOfTheUnit) {
    Serve();
    ASSERT_EQ(Request(), "OK");

    const Unpacked unpacked(m_report);

    EXPECT_THAT(unpacked.text("report.txt"), StartsWith("made 20"));
    EXPECT_EQ(unpacked.text("kernel/version.txt"), FileText("/proc/version"));
    EXPECT_THAT(unpacked.text("network/interfaces.txt"), HasSubstr(" lo:"));
    EXPECT_THAT(unpacked.text("processes.txt"), HasSubstr(" cbusd  "));
    EXPECT_THAT(unpacked.text("processes.txt"), HasSubstr(" " + std::to_string(m_program->pid()) + " "));
}

TEST_F(DiagnosticProgram, WhatIsNotThereHasANote) {
    Serve();
    ASSERT_EQ(Request(), "OK");

    const Unpacked unpacked(m_report);

    EXPECT_FALSE(unpacked.has("config/txt.txt"));
    EXPECT_THAT(unpacked.text("notes.txt"), HasSubstr("config/txt.txt: the database gives no keys\n"));
}

TEST_F(DiagnosticProgram, TheReportIsForItsOwnerAlone) {
    Serve();
    ASSERT_EQ(Request(), "OK");
    struct stat status {};

    ASSERT_EQ(stat(m_report.c_str(), &status), 0);

    EXPECT_EQ(status.st_mode & 07777, 0600U);
}

TEST_F(DiagnosticProgram, OnlyTheRequestTextStartsAReport) {
    Serve();
    for (const char* text : {"OK", "error: x", "/tmp", "/tmp//", " /tmp/", ""}) {
        ASSERT_EQ(Write(kKey, text), 0);
    }

    EXPECT_EQ(Request(), "OK");

    EXPECT_EQ(Begun(), 1);
}

TEST_F(DiagnosticProgram, ADeletedKeyIsNoRequest) {
    Serve();
    ASSERT_EQ(Request(), "OK");
    config_delete(kKey);

    EXPECT_EQ(Request(), "OK");

    EXPECT_EQ(Begun(), 2);
}

TEST_F(DiagnosticProgram, AKeyThatBeginsLikeItsOwnIsAnother) {
    Serve();
    ASSERT_EQ(Write("ram.diag.saved", kRequest), 0);

    EXPECT_EQ(Request(), "OK");

    EXPECT_EQ(Begun(), 1);
}

TEST_F(DiagnosticProgram, ASecondReportTakesThePlaceOfTheFirst) {
    Serve();
    ASSERT_EQ(Request(), "OK");
    ASSERT_EQ(Write("cfg.second", "1"), 0);

    EXPECT_EQ(Request(), "OK");

    EXPECT_EQ(Begun(), 2);
    EXPECT_THAT(Unpacked(m_report).text("config/cfg.txt"), HasSubstr("cfg.second = 1\n"));
    EXPECT_EQ(NamesIn(m_reports.path()), std::vector<std::string>{"diag_report.tar.gz"});
}

// It sleeps until both requests have been announced: the second is then dispatched right behind the first.
TEST_F(DiagnosticProgram, ARequestWhileAReportIsMadeIsServedByThatOne) {
    Serve();
    m_program->signal(SIGSTOP);
    for (const char* text : {kRequest, "changed", kRequest}) {
        ASSERT_EQ(Write(kKey, text), 0);
    }

    m_program->signal(SIGCONT);

    EXPECT_EQ(Answer(), "OK");
    EXPECT_EQ(Begun(), 1);
    EXPECT_THAT(m_program->output(), HasSubstr("a report is being made already\n"));
}

TEST_F(DiagnosticProgram, APlantedLinkIsReplacedAndItsTargetLeftAlone) {
    const std::string target = m_directory.write("target", "precious");
    std::filesystem::create_symlink(target, m_report);
    Serve();

    EXPECT_EQ(Request(), "OK");

    EXPECT_EQ(FileText(target), "precious");
    EXPECT_FALSE(std::filesystem::is_symlink(m_report));
    EXPECT_TRUE(Unpacked(m_report).is_whole());
}

TEST_F(DiagnosticProgram, TellsThatItCannotCreateTheFileAndServesTheNextRequest) {
    const std::string directory = m_reports.file("later");
    ServeInto(directory);

    EXPECT_EQ(Request(), "error: cannot create a file in '" + directory + "': No such file or directory");

    std::filesystem::create_directory(directory);
    EXPECT_EQ(Request(), "OK");
}

TEST_F(DiagnosticProgram, TellsThatItCannotPutTheReportIntoItsPlace) {
    std::filesystem::create_directory(m_report);
    Serve();

    EXPECT_EQ(Request(),
              std::string("error: cannot put the report into '") + m_reports.path() + "': Is a directory");
    EXPECT_EQ(NamesIn(m_reports.path()), std::vector<std::string>{"diag_report.tar.gz"});
}

TEST_F(DiagnosticProgram, EndsCleanlyOnSigterm) {
    Serve();

    m_program->signal(SIGTERM);

    EXPECT_EQ(m_program->awaitEnd(), 0);
}

TEST_F(DiagnosticProgram, EndsCleanlyOnSigint) {
    Serve();

    m_program->signal(SIGINT);

    EXPECT_EQ(m_program->awaitEnd(), 0);
}

TEST_F(DiagnosticProgram, JoinsABusThatWasStartedAnewAndServes) {
    Serve();

    RestartBus();

    ASSERT_TRUE(Await([] { return Read("cfg.sysconf.serial_number") != "(no value)"; }))
        << m_database->output();
    EXPECT_EQ(Request(), "OK");
    EXPECT_THAT(m_program->output(), HasSubstr("the bus is gone: joining it again\n"));
}

TEST_F(DiagnosticProgram, EndsCleanlyWhileThereIsNoBus) {
    Serve();
    m_bus.reset();
    ASSERT_TRUE(m_program->awaitOutput("joining it again"));

    m_program->signal(SIGTERM);

    EXPECT_EQ(m_program->awaitEnd(), 0);
}

TEST_F(DiagnosticProgram, SaysThatThereIsNoBus) {
    m_program = Start(DIAGD_PROGRAM, {"-a", "unix*nobody-here"});

    EXPECT_EQ(WEXITSTATUS(m_program->awaitEnd().value_or(0)), 1);
    EXPECT_EQ(m_program->output(), "diagd: no bus at 'unix*nobody-here'\n");
}

TEST_F(DiagnosticProgram, WarnsOfTheSecretsInItsHelp) {
    m_program = Start(DIAGD_PROGRAM, {"-h"});

    EXPECT_EQ(m_program->awaitEnd(), 0);
    EXPECT_THAT(m_program->output(), HasSubstr("every secret in it"));
}

TEST_F(DiagnosticProgram, RefusesAnUnknownOption) {
    m_program = Start(DIAGD_PROGRAM, {"--nonsense"});

    EXPECT_NE(m_program->awaitEnd().value_or(0), 0);
}
