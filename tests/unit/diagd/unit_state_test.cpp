// SPDX-License-Identifier: MIT

#include "device/diagd/unit_state.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include "Unpacked.h"

using testing::HasSubstr;
using testing::MatchesRegex;

TEST(UnitState, TellsWhenAndWhereTheReportWasMade) {
    Report report;
    char host[256];
    ASSERT_EQ(gethostname(host, sizeof host), 0);

    report_add_title(report);

    EXPECT_THAT(
        TextOf(report, "report.txt"),
        MatchesRegex("made [0-9]+-[0-9]+-[0-9]+ [0-9]+:[0-9]+:[0-9]+ UTC\nhost .*\nsystem Linux .*\n"));
    EXPECT_THAT(TextOf(report, "report.txt"), HasSubstr(std::string("\nhost ") + host + "\n"));
}

TEST(UnitState, TellsAboutTheKernel) {
    Report report;

    report_add_unit_state(report);

    EXPECT_EQ(TextOf(report, "kernel/version.txt"), FileText("/proc/version"));
    EXPECT_THAT(TextOf(report, "kernel/meminfo.txt"), HasSubstr("MemTotal:"));
}

TEST(UnitState, TellsAboutTheNetwork) {
    Report report;

    report_add_unit_state(report);

    EXPECT_THAT(TextOf(report, "network/interfaces.txt"), HasSubstr(" lo:"));
    EXPECT_NE(TextOf(report, "network/addresses.txt"), "(none)");
}

TEST(UnitState, TheLogOfTheKernelIsThereOrANoteWhyNot) {
    Report report;

    report_add_unit_state(report);

    EXPECT_NE(TextOf(report, "log/kernel.txt") != "(none)",
              report.notes().find("log/kernel.txt: the kernel's log cannot be read: ") != std::string::npos);
}

TEST(UnitState, EverySourceIsThereOrHasANote) {
    const TempDirectory directory;
    const std::string path = directory.write("file", "text");
    const ReportSource sources[] = {{"none", "/nowhere/log", 10, FilePart::kTail},
                                    {"there", path.c_str(), 10, FilePart::kHead},
                                    {"pipe", "/dev/null", 10, FilePart::kHead}};
    Report report;

    report_add_sources(report, sources);

    EXPECT_EQ(TextOf(report, "there"), "text");
    EXPECT_EQ(report.notes(),
              "none: /nowhere/log cannot be read: No such file or directory\n"
              "pipe: /dev/null cannot be read: Invalid argument\n");
}

TEST(UnitState, ALogIsThereWithItsLastLines) {
    const TempDirectory directory;
    const std::string path = directory.write("log", "older\nnew\nlast\n");
    const ReportSource sources[] = {{"log", path.c_str(), 10, FilePart::kTail}};
    Report report;

    report_add_sources(report, sources);

    EXPECT_EQ(TextOf(report, "log"), "new\nlast\n");
}
