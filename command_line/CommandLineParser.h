// SPDX-License-Identifier: MIT

#pragma once

#include <chrono>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

// One option or argument; a handle, good as long as its parser.
class CommandLineArgument {
  public:
    // What is wrong with a text, or nothing.
    using Check = std::function<std::string(const std::string& text)>;

    explicit CommandLineArgument(CLI::Option* option) : m_option(option) {}

    CommandLineArgument require();
    CommandLineArgument check(const Check& check);
    CommandLineArgument check_one_of(const std::set<std::string>& texts);
    CommandLineArgument check_one_of_in_any_case(const std::set<std::string>& texts);
    CommandLineArgument check_range(double least, double most);
    // A text of that many bytes; `what` names it.
    CommandLineArgument check_length(std::size_t least, std::size_t most, const std::string& what);
    CommandLineArgument exclude(CommandLineArgument other);
    // Of many values: one behind each mention of the option, or so many at most.
    CommandLineArgument take_one_each_time();
    CommandLineArgument take_at_most(int count);
    // The help tells the value that it has now.
    CommandLineArgument show_default();

  private:
    CLI::Option* m_option;
};

// What a program or one of its verbs takes. Words are as the help shows them: "-t,--timeout SECONDS" of an option with
// its value, "KEY" of an argument. Variables outlive the parser's work; those of what is not given stay as they are. A
// handle, good as long as its parser.
class CommandLineOptions {
  public:
    explicit CommandLineOptions(CLI::App* app) : m_app(app) {}

    CommandLineArgument add_flag(const char* names, bool& value, const std::string& description);
    CommandLineArgument add(const char* words, std::string& value, const std::string& description);
    CommandLineArgument add(const char* words, std::optional<std::string>& value,
                            const std::string& description);
    CommandLineArgument add(const char* words, std::vector<std::string>& values,
                            const std::string& description);
    CommandLineArgument add(const char* words, unsigned& value, const std::string& description);
    CommandLineArgument add(const char* words, double& value, const std::string& description);
    // At least 1.
    CommandLineArgument add(const char* words, std::optional<int>& value, const std::string& description);
    CommandLineArgument add(const char* words, std::optional<std::chrono::seconds>& value,
                            const std::string& description);
    // What stands below the help.
    void set_footer(const std::string& text);

  protected:
    CLI::App* m_app;
};

// CommandLineParser: the command line of a program. It has -h, --help and --version by itself. The library behind it is
// compiled here alone: its header takes longer than all of a program.
class CommandLineParser : public CommandLineOptions {
  public:
    static constexpr int kUsageStatus = 2;

    CommandLineParser(const std::string& program, const std::string& description);
    CommandLineParser(const CommandLineParser&) = delete;
    CommandLineParser& operator=(const CommandLineParser&) = delete;
    ~CommandLineParser();

    // A program with verbs wants one; `on_chosen` runs when it is this one. The program's options stand
    // before or behind a verb; its help names them ("-a and --json").
    CommandLineOptions add_verb(const std::string& name, const std::string& description,
                                const std::string& common_options, const std::function<void()>& on_chosen);

    // Nothing when all is well; else the status to end with (0 or kUsageStatus), and help, version or what is wrong has
    // been printed.
    [[nodiscard]] std::optional<int> parse(int argc, const char* const* argv);
    // Prints what is wrong with the arguments; the status to end with.
    [[nodiscard]] int fail(const std::string& argument, const std::string& problem) const;

  private:
    std::unique_ptr<CLI::App> m_owned_app;
    bool m_has_verbs = false;
};
