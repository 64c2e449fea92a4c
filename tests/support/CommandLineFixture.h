// SPDX-License-Identifier: MIT

#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <utility>
#include <variant>
#include <vector>

// CommandLineFixture: how a tool takes its command line: as a `Command`, or as the status to end with. The variables
// that the tool looks at are not set at first.
template <class Command>
class CommandLineFixture : public testing::Test {
  protected:
    using Parsed = std::variant<Command, int>;
    using Parser = Parsed (*)(int, const char* const*);

    CommandLineFixture(const char* program, Parser parser, std::vector<const char*> variables)
        : m_program(program), m_parser(parser), m_variables(std::move(variables)) {}

    void SetUp() override {
        for (const char* variable : m_variables) {
            unsetenv(variable);
        }
    }
    void TearDown() override { SetUp(); }

    Parsed Parse(std::vector<const char*> arguments) {
        arguments.insert(arguments.begin(), m_program);
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        auto result = m_parser(static_cast<int>(arguments.size()), arguments.data());
        m_printed = testing::internal::GetCapturedStdout();
        m_complaint = testing::internal::GetCapturedStderr();
        return result;
    }
    Command Accept(std::vector<const char*> arguments) {
        const Parsed result = Parse(std::move(arguments));
        EXPECT_TRUE(std::holds_alternative<Command>(result)) << m_complaint;
        return std::holds_alternative<Command>(result) ? std::get<Command>(result) : Command{};
    }
    // The status to end with, -1 when there is none.
    int Refuse(std::vector<const char*> arguments) {
        const Parsed result = Parse(std::move(arguments));
        return std::holds_alternative<int>(result) ? std::get<int>(result) : -1;
    }

    std::string m_printed;
    std::string m_complaint;

  private:
    const char* m_program;
    Parser m_parser;
    std::vector<const char*> m_variables;
};
