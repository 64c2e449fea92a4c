// SPDX-License-Identifier: MIT

#include "device/diagd/report_archive.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "Unpacked.h"
#include "runtime/c_owner.h"

namespace {

class ReportArchiveWrite : public testing::Test {
  protected:
    Unpacked WriteAndUnpack() {
        const UniqueFd fd(open(m_path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
        EXPECT_EQ(report_archive_write(fd.get(), m_report), "");
        return Unpacked(m_path);
    }
    std::string WriteTo(const char* path, int flags) {
        const UniqueFd fd(open(path, flags | O_CLOEXEC));
        return report_archive_write(fd.get(), m_report);
    }

    TempDirectory m_directory;
    std::string m_path = m_directory.file("archive");
    Report m_report;
};

}  // namespace

TEST_F(ReportArchiveWrite, PacksEveryEntryUnderItsName) {
    m_report.add("config/cfg.txt", "cfg.a = 1\n");
    m_report.add("empty.txt", "");

    const Unpacked unpacked = WriteAndUnpack();

    EXPECT_TRUE(unpacked.is_whole());
    EXPECT_EQ(unpacked.text("config/cfg.txt"), "cfg.a = 1\n");
    EXPECT_TRUE(unpacked.has("empty.txt"));
}

TEST_F(ReportArchiveWrite, PacksTheNotes) {
    m_report.note("log", "not there");

    EXPECT_EQ(WriteAndUnpack().text("notes.txt"), "log: not there\n");
}

TEST_F(ReportArchiveWrite, AnEmptyReportIsAnArchiveToo) {
    const Unpacked unpacked = WriteAndUnpack();

    EXPECT_TRUE(unpacked.is_whole());
    EXPECT_TRUE(unpacked.has("notes.txt"));
}

TEST_F(ReportArchiveWrite, CarriesAnyBytes) {
    std::string bytes(3 << 20, '\0');
    unsigned state = 1;
    for (char& c : bytes) {
        state = state * 1664525U + 1013904223U;
        c = static_cast<char>(state >> 24);
    }
    m_report.add("bytes", bytes);

    EXPECT_TRUE(WriteAndUnpack().text("bytes") == bytes);
}

TEST_F(ReportArchiveWrite, TheUnpackedFilesAreForTheirOwnerAlone) {
    m_report.add("a", "secret");
    struct stat status {};

    const Unpacked unpacked = WriteAndUnpack();

    ASSERT_EQ(stat(unpacked.path("a").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600U);
}

TEST_F(ReportArchiveWrite, TellsThatTheDiskIsFull) {
    EXPECT_EQ(WriteTo("/dev/full", O_WRONLY), "cannot write the archive: No space left on device");
}

TEST_F(ReportArchiveWrite, TellsThatTheDescriptorCannotBeWritten) {
    EXPECT_EQ(WriteTo("/dev/null", O_RDONLY), "cannot write the archive: Bad file descriptor");
}
