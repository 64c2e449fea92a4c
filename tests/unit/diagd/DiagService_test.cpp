// SPDX-License-Identifier: MIT

#include "device/diagd/DiagService.h"

#include <gmock/gmock.h>
#include <sys/resource.h>

#include <csignal>
#include <fstream>

#include "Unpacked.h"
#include "tests/support/RunningDatabase.h"

namespace {

constexpr unsigned kRetrySeconds = 1;

// The service in this process.
class DiagServiceTest : public RunningDatabase {
  protected:
    void Serve() { m_service = std::make_unique<DiagService>(m_loop.get(), m_reports.path(), kRetrySeconds); }
    // What the key says when it is no longer the request.
    std::string Answer() {
        EXPECT_TRUE(Await([] { return Read(DiagService::kKey) != DiagService::kRequest; }));
        return Read(DiagService::kKey);
    }

    TempDirectory m_reports;
    std::unique_ptr<DiagService> m_service;
};

// No file of this process and of those that it starts grows beyond `bytes` while this lives.
class FileSizeLimit {
  public:
    explicit FileSizeLimit(rlim_t bytes) {
        signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit limit{bytes, m_before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &m_before);
        signal(SIGXFSZ, SIG_DFL);
    }

  private:
    rlimit m_before{};
};

}  // namespace

TEST_F(DiagServiceTest, ServesARequestFromBeforeItsStart) {
    ASSERT_EQ(Write(DiagService::kKey, "/tmp/"), 0);

    Serve();

    EXPECT_EQ(Answer(), "OK");
    EXPECT_EQ(NamesIn(m_reports.path()), std::vector<std::string>{"diag_report.tar.gz"});
}

TEST_F(DiagServiceTest, TriesAgainAReportThatHadFailedBeforeItsStart) {
    ASSERT_EQ(Write(DiagService::kKey, "error: no space"), 0);

    Serve();

    EXPECT_TRUE(Await([] { return Read(DiagService::kKey) == DiagService::kDone; }));
}

// Who asked may not ask again before the key says that the report is there.
TEST_F(DiagServiceTest, TriesAReportThatFailedAgainByItself) {
    std::filesystem::create_directory(m_reports.file("diag_report.tar.gz"));
    Serve();
    ASSERT_EQ(Write(DiagService::kKey, "/tmp/"), 0);
    ASSERT_THAT(Answer(), testing::StartsWith("error: cannot put the report"));

    std::filesystem::remove(m_reports.file("diag_report.tar.gz"));

    EXPECT_TRUE(Await([] { return Read(DiagService::kKey) == DiagService::kDone; }));
}

TEST_F(DiagServiceTest, ARequestBeforeTheNextTryIsServedAtOnce) {
    std::filesystem::create_directory(m_reports.file("diag_report.tar.gz"));
    m_service = std::make_unique<DiagService>(m_loop.get(), m_reports.path(), 3600);
    ASSERT_EQ(Write(DiagService::kKey, "/tmp/"), 0);
    ASSERT_THAT(Answer(), testing::StartsWith("error: cannot put the report"));
    std::filesystem::remove(m_reports.file("diag_report.tar.gz"));

    ASSERT_EQ(Write(DiagService::kKey, "/tmp/"), 0);

    EXPECT_EQ(Answer(), "OK");
}

TEST_F(DiagServiceTest, RemovesWhatAKilledOneLeft) {
    std::ofstream(m_reports.file(".diag_report.abcdef")) << "unfinished";
    std::ofstream(m_reports.file(".diag_other")) << "of somebody else";

    Serve();

    EXPECT_EQ(NamesIn(m_reports.path()), std::vector<std::string>{".diag_other"});
}

TEST_F(DiagServiceTest, LeavesNothingOfAReportThatIsNotDoneAtItsEnd) {
    ASSERT_EQ(Write(DiagService::kKey, "/tmp/"), 0);
    Serve();
    ASSERT_EQ(NamesIn(m_reports.path()).size(), 1U);

    m_service.reset();

    EXPECT_TRUE(NamesIn(m_reports.path()).empty());
    EXPECT_EQ(Read(DiagService::kKey), "/tmp/");
}

TEST_F(DiagServiceTest, LeavesNothingOfAReportThatDoesNotFit) {
    Serve();
    const FileSizeLimit limit(100);

    ASSERT_EQ(Write(DiagService::kKey, "/tmp/"), 0);

    EXPECT_EQ(Answer(), "error: cannot write the archive: File too large");
    EXPECT_TRUE(NamesIn(m_reports.path()).empty());
}

TEST_F(DiagServiceTest, AReportThatFailsLeavesTheLastOne) {
    m_reports.write("diag_report.tar.gz", "the last one");
    Serve();
    const FileSizeLimit limit(100);

    ASSERT_EQ(Write(DiagService::kKey, "/tmp/"), 0);

    EXPECT_NE(Answer(), "OK");
    EXPECT_EQ(FileText(m_reports.file("diag_report.tar.gz")), "the last one");
}

TEST_F(DiagServiceTest, WritesItsResultOnceTheDatabaseIsThereAgain) {
    Serve();
    ASSERT_EQ(Write(DiagService::kKey, "/tmp/"), 0);
    ASSERT_TRUE(Await([this] { return !NamesIn(m_reports.path()).empty(); }));
    m_database.reset();
    ASSERT_TRUE(Await(
        [this] { return NamesIn(m_reports.path()) == std::vector<std::string>{"diag_report.tar.gz"}; }));

    StartDatabase();

    EXPECT_TRUE(Await([] { return Read(DiagService::kKey) == DiagService::kDone; }));
}

TEST_F(DiagServiceTest, HearsNothingOnceItIsGone) {
    Serve();
    m_service.reset();

    ASSERT_EQ(Write(DiagService::kKey, "/tmp/"), 0);
    for (int i = 0; i < 10; ++i) {
        fdloop_run(m_loop.get());
    }

    EXPECT_TRUE(NamesIn(m_reports.path()).empty());
}
