// SPDX-License-Identifier: MIT

#include "src/system/FileOps.h"

#include <sys/stat.h>

#include <cerrno>
#include <filesystem>

#include <gtest/gtest.h>

#include "tests/support/CapturedLog.h"
#include "tests/support/TempDirectory.h"

namespace fs = std::filesystem;

namespace {

class FileOpsTest : public testing::Test {
  protected:
    TempDirectory m_directory;
    std::string m_file = m_directory.file("marker");
};

}  // namespace

TEST_F(FileOpsTest, CreatesAnEmptyFile) {
    EXPECT_TRUE(FileOps::createFile(m_file.c_str()));

    EXPECT_TRUE(fs::is_regular_file(m_file));
    EXPECT_EQ(fs::file_size(m_file), 0U);
}

TEST_F(FileOpsTest, EmptiesAFileThatIsThere) {
    m_directory.write("marker", "content");

    EXPECT_TRUE(FileOps::createFile(m_file.c_str()));

    EXPECT_EQ(fs::file_size(m_file), 0U);
}

TEST_F(FileOpsTest, SaysWhichFileItCannotCreate) {
    const std::string file = m_directory.file("missing/marker");
    const CapturedLog log;

    EXPECT_FALSE(FileOps::createFile(file.c_str()));

    EXPECT_TRUE(log.has("4 src/FileOps: createFile " + file + " failed, errno = " + std::to_string(ENOENT)));
}

TEST_F(FileOpsTest, DoesNotWaitForTheReaderOfAPipe) {
    ASSERT_EQ(mkfifo(m_file.c_str(), 0600), 0);

    EXPECT_FALSE(FileOps::createFile(m_file.c_str()));
    EXPECT_TRUE(FileOps::existFile(m_file.c_str()));
}

TEST_F(FileOpsTest, FindsAFileThatCanBeOpened) {
    EXPECT_FALSE(FileOps::existFile(m_file.c_str()));

    m_directory.write("marker", "");

    EXPECT_TRUE(FileOps::existFile(m_file.c_str()));
}

TEST_F(FileOpsTest, DeletesAFile) {
    m_directory.write("marker", "content");

    EXPECT_EQ(FileOps::deleteFile(m_file.c_str()), 0);

    EXPECT_FALSE(fs::exists(m_file));
}

TEST_F(FileOpsTest, PassesOnThatThereIsNothingToDelete) {
    EXPECT_EQ(FileOps::deleteFile(m_file.c_str()), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(FileOpsTest, CreatesADirectoryWithEveryRightThatTheUmaskLeaves) {
    const mode_t before = umask(022);

    EXPECT_TRUE(FileOps::createDir(m_file.c_str()));
    umask(before);

    struct stat status {};
    ASSERT_EQ(stat(m_file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, S_IFDIR | mode_t{0755});
}

TEST_F(FileOpsTest, IsContentWithADirectoryThatIsThere) {
    EXPECT_TRUE(FileOps::createDir(m_directory.path()));
}

TEST_F(FileOpsTest, CreatesNoDirectoryInThePlaceOfAFileOrBelowNothing) {
    m_directory.write("marker", "");

    EXPECT_FALSE(FileOps::createDir(m_file.c_str()));
    EXPECT_FALSE(FileOps::createDir(m_directory.file("missing/directory").c_str()));
}
