// SPDX-License-Identifier: MIT

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <csignal>

#include <gtest/gtest.h>

#include <memory>

#include "RecordingCallback.h"
#include "StubPrograms.h"
#include "src/system/Process.h"
#include "tests/support/CapturedLog.h"

// What the program of a process finds when it starts.

namespace {

using Strings = std::vector<std::string>;

std::string link_of(const std::string& path) {
    return std::filesystem::read_symlink(path);
}

// The mask in a line of /proc/self/status.
unsigned long long signals_of(const std::string& line) {
    return std::stoull(line.substr(line.find('\t')), nullptr, 16);
}

constexpr unsigned long long bit_of(int sig) {
    return 1ULL << (sig - 1);
}

constexpr const char* kShowStreams =
    "streams=$(readlink /proc/$$/fd/0 /proc/$$/fd/1 /proc/$$/fd/2)\n"
    "echo \"$streams\" > $DIR/streams";

class ChildProgram : public testing::Test {
  protected:
    // Runs a script, its output in the file "out".
    void run(const std::string& script) {
        m_programs.write("stub", script);
        Process process("stub");
        process.setStdoutPath(m_programs.file("out"));
        ASSERT_EQ(process.run(), 0);
    }
    [[nodiscard]] std::string out() const { return m_programs.text("out"); }

    StubPrograms m_programs;
    CapturedLog m_log;
};

// Gives a signal another handler while it lives.
class HandledBy {
  public:
    HandledBy(int sig, void (*handler)(int)) : m_sig(sig), m_before(std::signal(sig, handler)) {}
    ~HandledBy() { static_cast<void>(std::signal(m_sig, m_before)); }
    HandledBy(const HandledBy&) = delete;
    HandledBy& operator=(const HandledBy&) = delete;

  private:
    int m_sig;
    void (*m_before)(int);
};

}  // namespace

TEST_F(ChildProgram, HasTheNullDeviceForItsStreams) {
    m_programs.write("stub", kShowStreams);

    EXPECT_EQ(Process("stub").run(), 0);

    EXPECT_EQ(m_programs.text("streams"), "/dev/null\n/dev/null\n/dev/null\n");
}

TEST_F(ChildProgram, HasTheFilesThatWereAskedFor) {
    m_programs.write("stub", "read line; echo out $line; echo err $line >&2");
    Process process("stub");
    m_programs.writeFile("in", "hello\n");
    process.setStdinPath(m_programs.file("in"));
    process.setStdoutPath(m_programs.file("out"));
    process.setStderrPath(m_programs.file("err"));

    EXPECT_EQ(process.run(), 0);

    EXPECT_EQ(m_programs.text("out"), "out hello\n");
    EXPECT_EQ(m_programs.text("err"), "err hello\n");
}

TEST_F(ChildProgram, EmptiesTheFilesThatItWrites) {
    m_programs.writeFile("out", "a longer text from before");

    run("echo new");

    EXPECT_EQ(out(), "new\n");
}

TEST_F(ChildProgram, CreatesFilesThatEverybodyMayUse) {
    const mode_t mask_before = umask(0);

    run("true");

    umask(mask_before);
    struct stat status = {};
    ASSERT_EQ(stat(m_programs.file("out").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0777U);
}

TEST_F(ChildProgram, KeepsAStreamWhosePathCannotBeOpened) {
    m_programs.write("stub", kShowStreams);
    Process process("stub");
    process.setStdinPath("/no/input");
    process.setStdoutPath("/no/output");
    process.setStderrPath("/no/errors");

    EXPECT_EQ(process.run(), 0);

    EXPECT_EQ(m_programs.text("streams"), link_of("/proc/self/fd/0") + "\n" + link_of("/proc/self/fd/1") +
                                              "\n" + link_of("/proc/self/fd/2") + "\n");
    EXPECT_EQ(m_log.lines(),
              (Strings{"3 src/Process: process: Error opening /no/input: No such file or directory",
                       "3 src/Process: process: Error opening /no/output: No such file or directory",
                       "3 src/Process: process: Error opening /no/errors: No such file or directory",
                       "6 src/Process: process: stub ::exited with exitcode: 0"}));
}

TEST_F(ChildProgram, AStreamsPathCannotMakeALogLineOfItsOwn) {
    m_programs.write("stub", "true");
    Process process("stub");
    process.setStdoutPath("/no/output\n3 forged");

    EXPECT_EQ(process.run(), 0);

    EXPECT_TRUE(
        m_log.has("3 src/Process: process: Error opening /no/output?3 forged: No such file or directory"));
}

TEST_F(ChildProgram, HasItsStreamsEvenIfThisProgramHasNone) {
    UniqueFd kept[] = {UniqueFd(fcntl(0, F_DUPFD_CLOEXEC, 10)), UniqueFd(fcntl(1, F_DUPFD_CLOEXEC, 10)),
                       UniqueFd(fcntl(2, F_DUPFD_CLOEXEC, 10))};
    m_programs.write("stub", "read line; echo out $line; echo err $line >&2");
    m_programs.writeFile("in", "hello\n");
    auto process = std::make_unique<Process>("stub");
    process->setStdinPath(m_programs.file("in"));
    process->setStdoutPath(m_programs.file("out"));
    process->setStderrPath(m_programs.file("err"));
    for (int fd = 0; fd <= 2; ++fd) {
        UniqueFd closed(fd);
    }

    const int result = process->run();
    process.reset();  // its descriptors may have taken the free numbers
    for (int fd = 0; fd <= 2; ++fd) {
        dup2(kept[fd].get(), fd);
    }

    EXPECT_EQ(result, 0);
    EXPECT_EQ(out(), "out hello\n");
    EXPECT_EQ(m_programs.text("err"), "err hello\n");
    EXPECT_EQ(m_log.lines(), Strings{"6 src/Process: process: stub ::exited with exitcode: 0"});
}

TEST_F(ChildProgram, FindsStandardStreamsThatThisProgramOnlyHoldsPlacesFor) {
    const UniqueFd kept(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 10));
    const UniqueFd placeholder(open("/", O_PATH | O_CLOEXEC));
    ASSERT_EQ(dup3(placeholder.get(), STDIN_FILENO, O_CLOEXEC), STDIN_FILENO);
    m_programs.write("stub", "readlink /proc/$$/fd/0");
    Process process("stub");
    process.setStdinPath("/no/input");
    process.setStdoutPath(m_programs.file("out"));

    const int result = process.run();
    dup2(kept.get(), STDIN_FILENO);

    EXPECT_EQ(result, 0);
    EXPECT_EQ(out(), "/\n");
}

TEST_F(ChildProgram, GetsNoOtherDescriptorOfThisProgram) {
    const UniqueFd leaking(open("/dev/null", O_RDONLY));
    const UniqueFd far_away(fcntl(leaking.get(), F_DUPFD, 500));
    ASSERT_GE(far_away.get(), 500);
    Process process("ls /proc/self/fd");
    process.setStdoutPath(m_programs.file("out"));

    EXPECT_EQ(process.run(), 0);

    EXPECT_EQ(out(), "0\n1\n2\n3\n");  // the last one is that of the directory itself
}

TEST_F(ChildProgram, StartsWithoutBlockedSignals) {
    sigset_t blocked;
    sigset_t before;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGCHLD);
    sigaddset(&blocked, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &blocked, &before);

    run("exec grep SigBlk /proc/self/status");

    sigset_t after;
    pthread_sigmask(SIG_SETMASK, &before, &after);
    EXPECT_EQ(signals_of(out()), 0U);
    EXPECT_EQ(sigismember(&after, SIGUSR1), 1);  // this program's own mask is as it was
    EXPECT_EQ(sigismember(&after, SIGUSR2), sigismember(&before, SIGUSR2));
}

// Not through a script in these: a shell sets signals up for itself.
TEST_F(ChildProgram, StartsWithTheDefaultOfSigpipe) {
    const HandledBy ignored(SIGPIPE, SIG_IGN);
    Process process("grep SigIgn /proc/self/status");
    process.setStdoutPath(m_programs.file("out"));

    EXPECT_EQ(process.run(), 0);

    EXPECT_EQ(signals_of(out()) & bit_of(SIGPIPE), 0U);
}

TEST_F(ChildProgram, StartsWithTheDefaultOfSigchld) {
    const HandledBy ignored(SIGCHLD, SIG_IGN);
    Process process("grep SigIgn /proc/self/status");
    process.setStdoutPath(m_programs.file("out"));

    EXPECT_EQ(process.run(), -1);  // an ignored SIGCHLD leaves no status to wait for

    EXPECT_EQ(signals_of(out()) & bit_of(SIGCHLD), 0U);
}

TEST_F(ChildProgram, GoesOnIgnoringWhatWhoeverStartedThisProgramIgnores) {
    const HandledBy ignored(SIGHUP, SIG_IGN);

    run("exec grep SigIgn /proc/self/status");

    EXPECT_NE(signals_of(out()) & bit_of(SIGHUP), 0U);
}

TEST_F(ChildProgram, IsEndedByASignalBeforeItsStart) {
    const HandledBy handler(SIGTERM, [](int) { _exit(99); });
    RecordingCallback callback;
    m_programs.write("stub", "touch $DIR/ran");
    Process process("stub");
    process.setCallback(&callback);
    ASSERT_EQ(process.spawnNoStart(), 0);

    EXPECT_EQ(process.kill(SIGTERM), 0);
    EXPECT_EQ(process.wait(), 0);

    EXPECT_EQ(callback.told(), Strings{"terminated 15"});
    EXPECT_FALSE(m_programs.has("ran"));
}

TEST_F(ChildProgram, IsEndedByASignalWhileItWaitsForTheOtherEndOfAFifo) {
    RecordingCallback callback;
    Process process("true");
    process.setCallback(&callback);
    const std::string fifo = m_programs.file("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    process.setStdoutPath(fifo);
    ASSERT_EQ(process.spawn(), 0);

    EXPECT_EQ(process.kill(SIGTERM), 0);
    EXPECT_EQ(process.wait(), 0);

    EXPECT_EQ(callback.told(), Strings{"terminated 15"});
}
