// SPDX-License-Identifier: MIT

#include "device/diagd/ReportFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "Unpacked.h"

namespace {

class ReportFileTest : public testing::Test {
  protected:
    std::unique_ptr<ReportFile> CreateWith(const std::string& text) const {
        std::unique_ptr<ReportFile> file = ReportFile::create(m_directory.path());
        EXPECT_NE(file, nullptr);
        EXPECT_EQ(write(file->fd(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
        return file;
    }
    [[nodiscard]] std::vector<std::string> Names() const { return NamesIn(m_directory.path()); }

    TempDirectory m_directory;
    std::string m_path = m_directory.file(ReportFile::kName);
};

}  // namespace

TEST_F(ReportFileTest, HasItsNameOnlyOnceItIsComplete) {
    const std::unique_ptr<ReportFile> file = CreateWith("new");
    EXPECT_FALSE(std::filesystem::exists(m_path));

    EXPECT_TRUE(file->commit());

    EXPECT_EQ(FileText(m_path), "new");
    EXPECT_EQ(Names(), std::vector<std::string>{"diag_report.tar.gz"});
}

TEST_F(ReportFileTest, GoesWhenItIsNotCommitted) {
    CreateWith("new").reset();

    EXPECT_TRUE(Names().empty());
}

TEST_F(ReportFileTest, StaysOnceItIsCommitted) {
    std::unique_ptr<ReportFile> file = CreateWith("new");
    ASSERT_TRUE(file->commit());

    file.reset();

    EXPECT_EQ(FileText(m_path), "new");
}

TEST_F(ReportFileTest, TheLastReportStaysUntilTheNextIsComplete) {
    m_directory.write(ReportFile::kName, "old");

    const std::unique_ptr<ReportFile> file = CreateWith("new");
    EXPECT_EQ(FileText(m_path), "old");
    EXPECT_TRUE(file->commit());

    EXPECT_EQ(FileText(m_path), "new");
}

TEST_F(ReportFileTest, IsForItsOwnerAloneWhateverTheMask) {
    const mode_t mask = umask(0);
    const std::unique_ptr<ReportFile> file = CreateWith("new");
    umask(mask);
    struct stat status {};

    ASSERT_TRUE(file->commit());

    ASSERT_EQ(stat(m_path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600U);
}

TEST_F(ReportFileTest, ReplacesAPlantedLinkAndLeavesItsTargetAlone) {
    const std::string target = m_directory.write("target", "precious");
    std::filesystem::create_symlink(target, m_path);

    EXPECT_TRUE(CreateWith("new")->commit());

    EXPECT_EQ(FileText(target), "precious");
    EXPECT_FALSE(std::filesystem::is_symlink(m_path));
    EXPECT_EQ(FileText(m_path), "new");
}

TEST_F(ReportFileTest, ReplacesAPlantedLinkToNothing) {
    std::filesystem::create_symlink(m_directory.file("absent"), m_path);

    EXPECT_TRUE(CreateWith("new")->commit());

    EXPECT_FALSE(std::filesystem::exists(m_directory.file("absent")));
    EXPECT_EQ(FileText(m_path), "new");
}

TEST_F(ReportFileTest, CannotReplaceADirectory) {
    std::filesystem::create_directory(m_path);
    std::unique_ptr<ReportFile> file = CreateWith("new");

    EXPECT_FALSE(file->commit());
    EXPECT_EQ(errno, EISDIR);

    file.reset();
    EXPECT_EQ(Names(), std::vector<std::string>{"diag_report.tar.gz"});
}

TEST_F(ReportFileTest, NeedsItsDirectory) {
    EXPECT_EQ(ReportFile::create("/nowhere"), nullptr);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(ReportFileTest, ALeftoverIsRemovedButNotAFileInUse) {
    const std::unique_ptr<ReportFile> in_use = CreateWith("new");
    const std::string leftover = m_directory.write(".diag_report.killed", "half");

    ReportFile::remove_leftovers(m_directory.path());

    EXPECT_FALSE(std::filesystem::exists(leftover));
    EXPECT_EQ(Names().size(), 1U);
    EXPECT_TRUE(in_use->commit());
}

TEST_F(ReportFileTest, ALinkOrDirectoryWithTheNameOfALeftoverStays) {
    const std::string target = m_directory.write("target", "precious");
    std::filesystem::create_symlink(target, m_directory.file(".diag_report.link"));
    std::filesystem::create_directory(m_directory.file(".diag_report.dir"));

    ReportFile::remove_leftovers(m_directory.path());

    EXPECT_EQ(Names().size(), 3U);
    EXPECT_EQ(FileText(target), "precious");
}

TEST_F(ReportFileTest, NoDirectoryHasNoLeftovers) {
    ReportFile::remove_leftovers(m_directory.file("nowhere"));

    EXPECT_TRUE(Names().empty());
}
