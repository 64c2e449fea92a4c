// SPDX-License-Identifier: MIT

#include "src/system/PrivilegedCommandObject.h"

#include <gtest/gtest.h>

#include "src/base/json_helpers.h"

namespace {

using Strings = std::vector<std::string>;

class CommandObject : public testing::Test {
  protected:
    bool read(const std::string& body) { return m_object.readFrom(json_parse(body).get()); }
    // A body whose member "command" is "ip", with further members.
    bool readWith(const std::string& members) { return read(R"({"command":"ip",)" + members + "}"); }
    [[nodiscard]] std::string json() const {
        return JsonText(cJSON_PrintUnformatted(m_object.toJson().get())).get();
    }

    PrivilegedCommandObject m_object;
};

const std::string k128(128, 'x');
const std::string k129(129, 'x');

}  // namespace

TEST_F(CommandObject, HasNoCommandAtFirst) {
    EXPECT_EQ(json(), R"({"cmd_id":-1,"status":"","command":"","arguments":[],)"
                      R"("stdin":"","stdout":"","stderr":"","exitcode":-1})");
}

TEST_F(CommandObject, TakesItsFieldsFromABody) {
    EXPECT_TRUE(
        read(R"({"stderr":"/e","stdout":"/o","stdin":"/i","arguments":["-i"," eth0"],"command":"tcpdump"})"));

    EXPECT_EQ(json(), R"({"cmd_id":-1,"status":"","command":"tcpdump","arguments":["-i"," eth0"],)"
                      R"("stdin":"/i","stdout":"/o","stderr":"/e","exitcode":-1})");
}

TEST_F(CommandObject, LeavesIdStatusAndExitcodeToItsOwner) {
    EXPECT_TRUE(readWith(R"("cmd_id":7,"status":"EXITED","exitcode":5)"));

    EXPECT_EQ(m_object.cmd_id, -1);
    EXPECT_EQ(m_object.status, "");
    EXPECT_EQ(m_object.exitcode, -1);
}

TEST_F(CommandObject, NeedsNothingButTheCommand) {
    EXPECT_TRUE(read(R"({"command":"ip"})"));

    EXPECT_EQ(m_object.command, "ip");
    EXPECT_EQ(m_object.arguments, Strings{});
    EXPECT_EQ(m_object.stdout_path, "");
}

TEST_F(CommandObject, NeedsTheCommand) {
    EXPECT_FALSE(read(R"({"arguments":[]})"));
    EXPECT_FALSE(read(R"({"Command":"ip"})"));
}

TEST_F(CommandObject, RefusesABodyThatIsNoObject) {
    EXPECT_FALSE(m_object.readFrom(nullptr));
    EXPECT_FALSE(read("[]"));
    EXPECT_FALSE(read(R"(["command"])"));
    EXPECT_FALSE(read(R"("command")"));
    EXPECT_FALSE(read("null"));
    EXPECT_FALSE(read("7"));
}

TEST_F(CommandObject, RefusesACommandThatIsNoString) {
    for (const char* value : {"7", "true", "null", "[]", "{}", R"(["ip"])"}) {
        EXPECT_FALSE(read(std::string(R"({"command":)") + value + "}")) << value;
    }
}

TEST_F(CommandObject, RefusesArgumentsThatAreNoArray) {
    for (const char* value : {"7", "true", "null", "{}", R"("-i")", R"({"0":"-i"})"}) {
        EXPECT_FALSE(readWith(std::string(R"("arguments":)") + value)) << value;
    }
}

TEST_F(CommandObject, RefusesAnArgumentThatIsNoString) {
    for (const char* value : {"7", "true", "null", "[]", R"(["-i"])", R"({"a":"-i"})"}) {
        EXPECT_FALSE(readWith(std::string(R"("arguments":["-v",)") + value + "]")) << value;
    }
}

TEST_F(CommandObject, LeavesPathsThatAreNoStringsEmpty) {
    for (const char* name : {"stdin", "stdout", "stderr"}) {
        for (const char* value : {"7", "true", "null", "[]", "{}"}) {
            EXPECT_TRUE(readWith('"' + std::string(name) + "\":" + value)) << name << value;
            EXPECT_EQ(m_object.stdin_path + m_object.stdout_path + m_object.stderr_path, "");
        }
    }
}

TEST_F(CommandObject, TakesArgumentsOf128Bytes) {
    EXPECT_TRUE(readWith(R"("arguments":[")" + k128 + "\"]"));

    EXPECT_EQ(m_object.arguments, Strings{k128});
}

TEST_F(CommandObject, RefusesArgumentsOf129Bytes) {
    EXPECT_FALSE(readWith(R"("arguments":["-v",")" + k129 + "\"]"));
}

TEST_F(CommandObject, TakesAThousandArgumentsAndRefusesMoreThanItsLimit) {
    const auto body = [](int count, const std::string& argument) {
        std::string text = R"({"command": "ip", "arguments": [)";
        for (int i = 0; i < count; ++i) {
            text += (i > 0 ? ",\"" : "\"") + argument + "\"";
        }
        return json_parse(text + "]}");
    };

    EXPECT_TRUE(PrivilegedCommandObject().readFrom(body(1024, "").get()));
    EXPECT_FALSE(PrivilegedCommandObject().readFrom(body(1025, "").get()));
    EXPECT_TRUE(PrivilegedCommandObject().readFrom(body(512, std::string(128, 'x')).get()));
    EXPECT_FALSE(PrivilegedCommandObject().readFrom(body(513, std::string(128, 'x')).get()));
}

TEST_F(CommandObject, TakesPathsOf128Bytes) {
    EXPECT_TRUE(readWith(R"("stdout":")" + k128 + "\""));

    EXPECT_EQ(m_object.stdout_path, k128);
}

TEST_F(CommandObject, LeavesPathsOf129BytesEmpty) {
    EXPECT_TRUE(readWith(R"("stdin":")" + k129 + R"(","stdout":")" + k129 + R"(","stderr":")" + k129 + "\""));

    EXPECT_EQ(m_object.stdin_path, "");
    EXPECT_EQ(m_object.stdout_path, "");
    EXPECT_EQ(m_object.stderr_path, "");
}

TEST_F(CommandObject, RunsItsArgumentsTogether) {
    m_object.command = "tcpdump";
    m_object.arguments = {"-i", "eth0", " -v"};

    EXPECT_EQ(m_object.commandLine(), "tcpdump -ieth0 -v");
}

TEST_F(CommandObject, EndsItsLineInABlankWithoutArguments) {
    m_object.command = "ip";

    EXPECT_EQ(m_object.commandLine(), "ip ");
}
