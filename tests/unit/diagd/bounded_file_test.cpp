// SPDX-License-Identifier: MIT

#include "device/diagd/bounded_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>

#include "tests/support/TempDirectory.h"

namespace {

class BoundedFileRead : public testing::Test {
  protected:
    BoundedFile Read(const std::string& text, size_t max_bytes, FilePart part) const {
        return bounded_file_read(m_directory.write("file", text), max_bytes, part);
    }

    TempDirectory m_directory;
};

}  // namespace

TEST_F(BoundedFileRead, GivesTheWholeOfAShortFile) {
    const BoundedFile file = Read("one\ntwo\n", 100, FilePart::kHead);

    EXPECT_EQ(file.error, 0);
    EXPECT_EQ(file.text, "one\ntwo\n");
    EXPECT_FALSE(file.is_cut);
}

TEST_F(BoundedFileRead, AFileOfExactlyTheLimitIsNotCut) {
    for (const FilePart part : {FilePart::kHead, FilePart::kTail}) {
        const BoundedFile file = Read("12345678", 8, part);

        EXPECT_EQ(file.text, "12345678");
        EXPECT_FALSE(file.is_cut);
    }
}

TEST_F(BoundedFileRead, TheHeadEndsAtTheLimit) {
    const BoundedFile file = Read("123456789", 8, FilePart::kHead);

    EXPECT_EQ(file.text, "12345678");
    EXPECT_TRUE(file.is_cut);
}

TEST_F(BoundedFileRead, TheTailBeginsWithAWholeLine) {
    const BoundedFile file = Read("first\nsecond\nthird\n", 9, FilePart::kTail);

    EXPECT_EQ(file.text, "third\n");
    EXPECT_TRUE(file.is_cut);
}

TEST_F(BoundedFileRead, TheTailOfOneEndlessLineIsItsEnd) {
    EXPECT_EQ(Read("123456789", 4, FilePart::kTail).text, "6789");
}

TEST_F(BoundedFileRead, ReadsMoreThanOnePieceOfALargeFile) {
    const std::string large(300000, 'x');

    EXPECT_EQ(Read(large, large.size(), FilePart::kHead).text, large);
}

TEST_F(BoundedFileRead, AnEmptyFileIsNoError) {
    const BoundedFile file = Read("", 8, FilePart::kTail);

    EXPECT_EQ(file.error, 0);
    EXPECT_EQ(file.text, "");
}

TEST_F(BoundedFileRead, ReadsAFileOfTheKernelThatDoesNotKnowItsSize) {
    const BoundedFile file = bounded_file_read("/proc/self/status", 65536, FilePart::kHead);

    EXPECT_EQ(file.error, 0);
    EXPECT_TRUE(file.text.starts_with("Name:"));
}

TEST_F(BoundedFileRead, TellsThatThereIsNoFile) {
    EXPECT_EQ(bounded_file_read(m_directory.file("none"), 8, FilePart::kHead).error, ENOENT);
}

TEST_F(BoundedFileRead, DoesNotWaitForAPipe) {
    ASSERT_EQ(mkfifo(m_directory.file("pipe").c_str(), 0600), 0);

    EXPECT_EQ(bounded_file_read(m_directory.file("pipe"), 8, FilePart::kHead).error, EINVAL);
}

TEST_F(BoundedFileRead, RefusesADevice) {
    EXPECT_EQ(bounded_file_read("/dev/zero", 8, FilePart::kHead).error, EINVAL);
}

TEST_F(BoundedFileRead, RefusesADirectory) {
    EXPECT_EQ(bounded_file_read(m_directory.path(), 8, FilePart::kHead).error, EINVAL);
}
