// SPDX-License-Identifier: MIT

#include "src/base/text_file.h"

#include <sys/mman.h>
#include <unistd.h>

#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "runtime/c_owner.h"
#include "runtime/logging.h"

namespace {

// A file that holds the given bytes and is gone with the test.
class TextFile : public testing::Test {
  protected:
    TextFile() {
        set_logger(log_console, nullptr);
        set_log_mask(log_up_to(7));
    }
    ~TextFile() override { set_logger(log_discard, nullptr); }

    TextFileResult Read(std::string_view contents) {
        const UniqueFd file(memfd_create("text", MFD_CLOEXEC));
        EXPECT_EQ(write(file.get(), contents.data(), contents.size()), static_cast<ssize_t>(contents.size()));
        return ReadPath("/proc/self/fd/" + std::to_string(file.get()));
    }

    TextFileResult ReadPath(const std::string& path) {
        testing::internal::CaptureStdout();
        const TextFileResult result = text_file_read(path.c_str(), "src/test", m_text);
        m_log = testing::internal::GetCapturedStdout();
        return result;
    }

    std::string m_text;
    std::string m_log;
};

}  // namespace

TEST_F(TextFile, GivesTheWholeContents) {
    EXPECT_EQ(Read("one\ntwo"), TextFileResult::kRead);
    EXPECT_EQ(m_text, "one\ntwo");
    EXPECT_EQ(m_log, "");
}

TEST_F(TextFile, SkipsAByteOrderMark) {
    EXPECT_EQ(Read("\xEF\xBB\xBF{}"), TextFileResult::kRead);
    EXPECT_EQ(m_text, "{}");
    EXPECT_EQ(m_log, "[debug]: (src/test) UTF-8 BOM present, skipping\n");
}

TEST_F(TextFile, KeepsHalfAByteOrderMark) {
    EXPECT_EQ(Read("\xEF\xBB"), TextFileResult::kRead);
    EXPECT_EQ(m_text, "\xEF\xBB");
}

TEST_F(TextFile, GivesAnEmptyTextForAByteOrderMarkAlone) {
    EXPECT_EQ(Read("\xEF\xBB\xBF"), TextFileResult::kRead);
    EXPECT_EQ(m_text, "");
}

TEST_F(TextFile, ReplacesAnEarlierText) {
    m_text = "something longer";

    EXPECT_EQ(Read("new"), TextFileResult::kRead);
    EXPECT_EQ(m_text, "new");
}

TEST_F(TextFile, CallsAnEmptyFileShort) {
    EXPECT_EQ(Read(""), TextFileResult::kShort);
}

TEST_F(TextFile, CallsADirectoryShort) {
    EXPECT_EQ(ReadPath("/"), TextFileResult::kShort);
}

TEST_F(TextFile, CallsAFileShortThatReadsLessThanItsSize) {
    // The kernel gives this file the size of a page and fewer bytes.
    EXPECT_EQ(ReadPath("/sys/devices/system/cpu/online"), TextFileResult::kShort);
}

TEST_F(TextFile, TellsAFileThatCannotBeOpened) {
    EXPECT_EQ(ReadPath("/nowhere/file"), TextFileResult::kNotOpened);
    EXPECT_EQ(m_log, "");
}
