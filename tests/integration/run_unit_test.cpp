// SPDX-License-Identifier: MIT

#include <gmock/gmock.h>
#include <sys/wait.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "HttpClient.h"
#include "OtherProgram.h"
#include "RunningUnit.h"
#include "config_client/config_client_api.h"
#include "tests/support/Program.h"
#include "tests/support/TempDirectory.h"

// The script that runs a whole unit.

namespace {

using testing::HasSubstr;

// Sooner or later, within so many seconds.
bool Await(const std::function<bool()>& condition, int seconds = 10) {
    for (int i = 0; i < 100 * seconds && !condition(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return condition();
}

bool LogHas(const std::filesystem::path& log, const std::string& text) {
    std::ifstream file(log);
    return std::string(std::istreambuf_iterator<char>(file), {}).find(text) != std::string::npos;
}

// The process of that name whose parent it is; 0 when there is none.
pid_t ChildOf(pid_t parent, const std::string& name) {
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        std::ifstream file(entry.path() / "stat");
        std::string pid;
        std::string comm;
        std::string state;
        pid_t found_parent = 0;
        if (file >> pid >> comm >> state >> found_parent && found_parent == parent && state != "Z" &&
            comm == "(" + name + ")") {
            return std::stoi(pid);
        }
    }
    return 0;
}

class RunUnit : public testing::Test {
  protected:
    static std::string Bin() { return std::filesystem::path(WEB_APP_PROGRAM).parent_path(); }
    std::unique_ptr<Program> Start(std::vector<std::string> arguments, int port) {
        arguments.insert(arguments.end(), {"--port", std::to_string(port), "--bus", m_bus});
        return std::make_unique<Program>(RUN_UNIT_SCRIPT, arguments,
                                         std::map<std::string, std::string>{{"ORVALE_BIN", Bin()}},
                                         m_directory.file("log" + std::to_string(++m_started)));
    }
    void Run(const std::vector<std::string>& arguments) {
        m_script = Start(arguments, m_port);
        ASSERT_TRUE(m_script->awaitOutput("The unit runs")) << m_script->output();
    }
    [[nodiscard]] pid_t Child(const std::string& name) const { return ChildOf(m_script->pid(), name); }
    void Kill(const std::string& name) const {
        const pid_t child = Child(name);
        ASSERT_GT(child, 0) << name << ": " << m_script->output();  // 0 would be this process and its parents
        kill(child, SIGKILL);
    }
    // Whether one runs that is not the process that it was.
    [[nodiscard]] bool IsAnother(const std::string& name, pid_t before) const {
        const pid_t now = Child(name);
        return now != 0 && now != before;
    }
    [[nodiscard]] bool Answers() const {
        return HttpClient(m_port).request("GET", "/system/info", "", {"Accept: application/json"}).status ==
               200;
    }
    // Of nearly 1 MiB each, below a key that the daemon follows once it has been asked.
    void WriteLargeValues(int count) const {
        const OtherProgram program(m_bus);
        const std::string value(1000000, 'x');
        for (int i = 0; i < count; ++i) {
            config_write_string(("ram.system.test.large" + std::to_string(i)).c_str(), value.c_str());
        }
    }
    void TearDown() override {
        if (m_script != nullptr) {
            m_script->signal(SIGTERM);
            EXPECT_TRUE(m_script->awaitEnd().has_value());
        }
    }

    TempDirectory m_directory;
    int m_started = 0;
    int m_port = free_port();
    std::string m_bus = "unix*run-unit-" + std::to_string(getpid());
    std::unique_ptr<Program> m_script;
};

}  // namespace

TEST_F(RunUnit, StartsEveryProgramOfTheUnit) {
    Run({});

    for (const char* name : {"cbusd", "configd", "eventd", "diagd", "web_app", "terminald"}) {
        EXPECT_NE(Child(name), 0) << name;
    }
    EXPECT_TRUE(Answers());
}

TEST_F(RunUnit, AStillUnitHasNoTerminal) {
    Run({"--still"});

    EXPECT_NE(Child("web_app"), 0);
    EXPECT_EQ(Child("terminald"), 0);
}

TEST_F(RunUnit, EndsAllOfItOnASignal) {
    Run({});
    std::vector<pid_t> children;
    for (const char* name : {"cbusd", "configd", "eventd", "diagd", "web_app", "terminald"}) {
        children.push_back(Child(name));
    }

    m_script->signal(SIGTERM);

    EXPECT_EQ(WEXITSTATUS(m_script->awaitEnd().value_or(0)), 143);
    for (const pid_t child : children) {
        EXPECT_NE(kill(child, 0), 0);
    }
    EXPECT_FALSE(std::filesystem::exists("/tmp/mrv_json_rpc_" + std::to_string(getuid())));
}

TEST_F(RunUnit, StartsADaemonAgainThatWasKilled) {
    Run({"--still"});

    Kill("web_app");

    EXPECT_TRUE(m_script->awaitOutput("run: web_app has ended: starting it again"));
    EXPECT_TRUE(Await([this] { return Answers(); })) << m_script->output();
}

TEST_F(RunUnit, ADatabaseThatWasKilledComesBackWithItsVolatileValues) {
    Run({"--still"});
    HttpClient client(m_port);
    ASSERT_EQ(client
                  .request("PUT", "/example/test", R"({"data": {"a": "kept"}})",
                           {"Accept: application/json", "Content-Type: application/json"})
                  .status,
              200);
    const pid_t database = Child("configd");
    // The resources write by signals, which nobody acknowledges.
    Program sync(Bin() + "/configctl", {"-a", m_bus, "sync"}, {}, m_directory.file("sync"));
    ASSERT_EQ(sync.awaitEnd(), 0);

    Kill("configd");

    ASSERT_TRUE(Await([&] { return IsAnother("configd", database); }));
    // The daemon that starts anew asks the database that did.
    Kill("web_app");
    EXPECT_TRUE(Await([this] {
        return HttpClient(m_port)
                   .request("GET", "/example/test", "", {"Accept: application/json"})
                   .body.find("kept") != std::string::npos;
    })) << m_script->output();
}

// The daemon's connection to the bus is for life: it ends with it, and is started again as well.
TEST_F(RunUnit, ServesAgainAfterItsBusWasKilled) {
    Run({"--still"});
    const pid_t daemon = Child("web_app");

    Kill("cbusd");

    ASSERT_TRUE(Await([&] { return IsAnother("web_app", daemon) && Answers(); })) << m_script->output();
    EXPECT_TRUE(Await([this] {
        return HttpClient(m_port)
                   .request("GET", "/system/info", "", {"Accept: application/json"})
                   .body.find("HM24071983") != std::string::npos;
    }));
}

TEST_F(RunUnit, ServesAgainAfterSeveralOfItsProgramsWereKilledAtOnce) {
    Run({"--still"});
    const pid_t daemon = Child("web_app");

    for (const char* name : {"cbusd", "configd", "diagd"}) {
        Kill(name);
    }

    EXPECT_TRUE(Await([&] { return IsAnother("web_app", daemon) && Answers(); })) << m_script->output();
    EXPECT_TRUE(Await([&] { return Child("diagd") != 0 && Child("configd") != 0; })) << m_script->output();
    EXPECT_THAT(HttpClient(m_port).request("GET", "/system/info", "", {"Accept: application/json"}).body,
                HasSubstr("HM24071983"));
}

// One that was stopped too long; its signals are some 12 MiB by then.
TEST_F(RunUnit, ServesAgainAfterItsBusHasCutTheDaemonOff) {
    const std::filesystem::path state = m_directory.file("state");
    Run({"--still", "--state", state});
    const pid_t daemon = Child("web_app");
    ASSERT_GT(daemon, 0);
    // A resource follows its keys from the first request on.
    HttpClient(m_port).request("GET", "/example/test", "", {"Accept: application/json"});
    kill(daemon, SIGSTOP);

    WriteLargeValues(12);
    const bool isCutOff = Await([&] { return LogHas(state / "cbusd.log", "has taken nothing"); }, 30);
    kill(daemon, SIGCONT);

    ASSERT_TRUE(isCutOff);
    EXPECT_TRUE(Await([&] { return IsAnother("web_app", daemon) && Answers(); }, 30)) << m_script->output();
}

TEST_F(RunUnit, TellsOfAPortThatIsTaken) {
    Run({"--still"});

    const std::unique_ptr<Program> second = Start({"--still"}, m_port);

    EXPECT_EQ(WEXITSTATUS(second->awaitEnd().value_or(0)), 1);
}

TEST_F(RunUnit, TellsWhatItsConfigurationLacks) {
    const std::unique_ptr<Program> script = Start({"--config", m_directory.path()}, m_port);

    EXPECT_EQ(WEXITSTATUS(script->awaitEnd().value_or(0)), 1);
    EXPECT_THAT(script->output(), HasSubstr("/accessmap.json"));
}
