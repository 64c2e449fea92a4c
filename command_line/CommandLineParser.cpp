// SPDX-License-Identifier: MIT

#include "command_line/CommandLineParser.h"

#include <CLI/CLI.hpp>
#include <limits>

#include "src/base/printable_text.h"

namespace {

// The library's own range lets "nan" through, which is neither below nor above anything.
std::string range_problem(const std::string& text, double least, double most) {
    char* end = nullptr;
    const double number = strtod(text.c_str(), &end);
    const bool is_within = !text.empty() && *end == '\0' && number >= least && number <= most;
    std::ostringstream problem;
    if (!is_within) {
        problem << std::setprecision(10) << text << " is not a number from " << least << " to " << most;
    }
    return problem.str();
}

std::string failure_text(const CLI::App* app, const CLI::Error& error) {
    const std::string& program = app->get_name();
    return program + ": " + text_printable(error.what()) + "\nTry " + program + " -h.\n";
}

struct OptionWords {
    explicit OptionWords(const std::string& words)
        : names(words.substr(0, words.find(' '))),
          value(words.size() > names.size() ? words.substr(names.size() + 1) : "") {}

    std::string names;
    std::string value;  // empty for an argument, whose name says it already
};

template <class Value>
CommandLineArgument add_option(CLI::App* app, const OptionWords& words, Value& value,
                               const std::string& description) {
    return CommandLineArgument(app->add_option(words.names, value, description)->type_name(words.value));
}

// At least 1. The name of the value says enough of it: without a description of its own, the range is not in the help.
CommandLineArgument add_number(CLI::App* app, const OptionWords& words,
                               const std::function<void(const int&)>& set, const std::string& description) {
    CLI::Option* option = app->add_option_function(words.names, set, description);
    option->type_name(words.value)->check(CLI::Range(1, std::numeric_limits<int>::max()).description(""));
    return CommandLineArgument(option);
}

int exit_status(int library_status) {
    return library_status == 0 ? 0 : CommandLineParser::kUsageStatus;
}

}  // namespace

CommandLineArgument CommandLineArgument::require() {
    m_option->required();
    return *this;
}

CommandLineArgument CommandLineArgument::check(const Check& check) {
    m_option->check(check);
    return *this;
}

CommandLineArgument CommandLineArgument::check_one_of(const std::set<std::string>& texts) {
    m_option->check(CLI::IsMember(texts));
    return *this;
}

CommandLineArgument CommandLineArgument::check_one_of_in_any_case(const std::set<std::string>& texts) {
    m_option->check(CLI::IsMember(texts, CLI::ignore_case));
    return *this;
}

CommandLineArgument CommandLineArgument::check_range(double least, double most) {
    return check([least, most](const std::string& text) { return range_problem(text, least, most); });
}

CommandLineArgument CommandLineArgument::check_length(std::size_t least, std::size_t most,
                                                      const std::string& what) {
    return check([least, most, what](const std::string& text) {
        const bool is_fit = text.size() >= least && text.size() <= most;
        return is_fit ? std::string()
                      : what + " has " + std::to_string(least) + " to " + std::to_string(most) + " bytes";
    });
}

CommandLineArgument CommandLineArgument::exclude(CommandLineArgument other) {
    m_option->excludes(other.m_option);
    return *this;
}

CommandLineArgument CommandLineArgument::take_one_each_time() {
    m_option->allow_extra_args(false);
    return *this;
}

CommandLineArgument CommandLineArgument::take_at_most(int count) {
    m_option->expected(0, count);
    return *this;
}

CommandLineArgument CommandLineArgument::show_default() {
    m_option->capture_default_str();
    return *this;
}

CommandLineArgument CommandLineOptions::add_flag(const char* names, bool& value,
                                                 const std::string& description) {
    return CommandLineArgument(m_app->add_flag(names, value, description));
}

CommandLineArgument CommandLineOptions::add(const char* words, std::string& value,
                                            const std::string& description) {
    return add_option(m_app, OptionWords(words), value, description);
}

CommandLineArgument CommandLineOptions::add(const char* words, std::optional<std::string>& value,
                                            const std::string& description) {
    // To the library itself an empty text is an optional without a value.
    const std::function<void(const std::string&)> set = [&value](const std::string& text) { value = text; };
    const OptionWords option(words);
    return CommandLineArgument(
        m_app->add_option_function(option.names, set, description)->type_name(option.value));
}

CommandLineArgument CommandLineOptions::add(const char* words, std::vector<std::string>& values,
                                            const std::string& description) {
    return add_option(m_app, OptionWords(words), values, description);
}

CommandLineArgument CommandLineOptions::add(const char* words, unsigned& value,
                                            const std::string& description) {
    return add_option(m_app, OptionWords(words), value, description);
}

CommandLineArgument CommandLineOptions::add(const char* words, double& value,
                                            const std::string& description) {
    return add_option(m_app, OptionWords(words), value, description);
}

CommandLineArgument CommandLineOptions::add(const char* words, std::optional<int>& value,
                                            const std::string& description) {
    const std::function<void(const int&)> set = [&value](const int& number) { value = number; };
    return add_number(m_app, OptionWords(words), set, description);
}

CommandLineArgument CommandLineOptions::add(const char* words, std::optional<std::chrono::seconds>& value,
                                            const std::string& description) {
    const std::function<void(const int&)> set = [&value](const int& number) {
        value = std::chrono::seconds(number);
    };
    return add_number(m_app, OptionWords(words), set, description);
}

void CommandLineOptions::set_footer(const std::string& text) {
    m_app->footer(text);
}

CommandLineParser::CommandLineParser(const std::string& program, const std::string& description)
    : CommandLineOptions(nullptr), m_owned_app(std::make_unique<CLI::App>(description, program)) {
    m_app = m_owned_app.get();
    m_app->set_version_flag("--version", program + " " ORVALE_VERSION);
    m_app->failure_message(failure_text);
}

CommandLineParser::~CommandLineParser() = default;

CommandLineOptions CommandLineParser::add_verb(const std::string& name, const std::string& description,
                                               const std::string& common_options,
                                               const std::function<void()>& on_chosen) {
    if (!m_has_verbs) {
        m_has_verbs = true;
        // None is allowed here, so that a wrong one is reported as such and not as missing.
        m_app->require_subcommand(0, 1);
        m_app->get_formatter()->label("SUBCOMMAND", "COMMAND");
    }
    CLI::App* verb = m_app->add_subcommand(name, description);
    verb->fallthrough();
    verb->footer(common_options + " are options of all commands, see " + m_app->get_name() + " -h.");
    verb->callback(on_chosen);
    return CommandLineOptions(verb);
}

std::optional<int> CommandLineParser::parse(int argc, const char* const* argv) {
    try {
        m_app->parse(argc, argv);
        if (m_has_verbs && m_app->get_subcommands().empty()) {
            throw CLI::RequiredError("A command");
        }
    } catch (const CLI::ParseError& error) {
        return exit_status(m_app->exit(error));
    }
    return std::nullopt;
}

int CommandLineParser::fail(const std::string& argument, const std::string& problem) const {
    return exit_status(m_app->exit(CLI::ValidationError(argument, problem)));
}
