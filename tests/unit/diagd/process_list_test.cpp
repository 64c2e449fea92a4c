// SPDX-License-Identifier: MIT

#include "device/diagd/process_list.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include "Unpacked.h"

using testing::HasSubstr;

namespace {

// A tree like that of the kernel.
class ProcessList : public testing::Test {
  protected:
    void Process(const std::string& number, const std::string& status, const std::string& command) const {
        std::filesystem::create_directory(m_proc.file(number));
        m_proc.write(number + "/status", status);
        m_proc.write(number + "/cmdline", command);
    }
    std::string List() {
        report_add_processes(m_report, m_proc.path());
        return TextOf(m_report, "processes.txt");
    }

    TempDirectory m_proc;
    Report m_report;
};

constexpr const char* kHeading = "    PID  PARENT S       MEMORY THREADS NAME  COMMAND\n";

}  // namespace

TEST_F(ProcessList, HasALinePerProcessInTheOrderOfTheirNumbers) {
    Process("12", "Name:\tsh\nState:\tS (sleeping)\nPPid:\t9\nVmRSS:\t    640 kB\nThreads:\t1\n",
            std::string("sh\0-c\0ls\0", 9));
    Process("9", "Name:\tinit\nState:\tR (running)\nPPid:\t0\nVmRSS:\t   1200 kB\nThreads:\t3\n", "/init");

    EXPECT_EQ(List(), std::string(kHeading) +
                          "      9       0 R      1200 kB       3 init  /init\n"
                          "     12       9 S       640 kB       1 sh  sh -c ls\n");
}

TEST_F(ProcessList, AKernelThreadHasNeitherMemoryNorCommand) {
    Process("2", "Name:\tkthreadd\nState:\tS (sleeping)\nPPid:\t0\nThreads:\t1\n", "");

    EXPECT_EQ(List(), std::string(kHeading) + "      2       0 S            -       1 kthreadd\n");
}

TEST_F(ProcessList, WhatIsNoProcessIsNotListed) {
    std::filesystem::create_directory(m_proc.file("sys"));
    m_proc.write("uptime", "1 2");

    EXPECT_EQ(List(), kHeading);
}

TEST_F(ProcessList, AProcessThatHasEndedMeanwhileIsLeftOutWithoutANote) {
    std::filesystem::create_directory(m_proc.file("7"));

    EXPECT_EQ(List(), kHeading);
    EXPECT_EQ(m_report.notes(), "");
}

TEST_F(ProcessList, ACommandStaysOnItsLine) {
    Process("3", "Name:\tx\n", "x\ny\x1b[31m");

    EXPECT_THAT(List(), HasSubstr("x  x y [31m\n"));
}

TEST_F(ProcessList, ALongCommandIsCut) {
    Process("3", "Name:\tx\n", std::string(2000, 'c'));

    EXPECT_THAT(List(), HasSubstr(" x  " + std::string(512, 'c') + "\n"));
}

TEST_F(ProcessList, NotesThatThereIsNoList) {
    report_add_processes(m_report, "/nowhere");

    EXPECT_TRUE(m_report.entries().empty());
    EXPECT_EQ(m_report.notes(), "processes.txt: /nowhere cannot be read: No such file or directory\n");
}

TEST_F(ProcessList, ShowsThisProcess) {
    report_add_processes(m_report);

    EXPECT_THAT(TextOf(m_report, "processes.txt"), HasSubstr(" " + std::to_string(getpid()) + " "));
    EXPECT_THAT(TextOf(m_report, "processes.txt"), HasSubstr(" unit_diagd  "));
}
