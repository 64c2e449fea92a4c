// SPDX-License-Identifier: MIT

#include "tools/cbusctl/command_line.h"

#include "cbus/bus_address.h"
#include "src/base/hex_text.h"
#include "tools/common/command_line_parts.h"

namespace {

using Verb = CommandLine::Verb;

constexpr std::size_t kMaxNameBytes = 65'534;
// The broker ends the connection of who sends a longer filter.
constexpr std::size_t kMaxFilterBytes = 511;

constexpr const char* kCommonOptions = "-a and --json";

// To the bus, "-" in front of a filter takes the filter away.
std::string filter_problem(const std::string& text) {
    return text.starts_with('-') ? "'" + text + "': no name begins with '-'" : std::string();
}

CommandLineOptions add_verb(CommandLineParser& parser, CommandLine& command, Verb verb,
                            const std::string& name, const std::string& description) {
    return parser.add_verb(name, description, kCommonOptions, [&command, verb] { command.verb = verb; });
}

void add_name(CommandLineOptions verb, CommandLine& command, const std::string& description) {
    verb.add("NAME", command.name, description).require().check_length(1, kMaxNameBytes, "a name");
}

CommandLineOptions add_sending_verb(CommandLineParser& parser, CommandLine& command, Verb verb,
                                    const std::string& name, const std::string& description) {
    CommandLineOptions options = add_verb(parser, command, verb, name, description);
    add_name(options, command, "the name of the message");
    options.add("DATA", command.data, "a text, which is sent with its NUL, or hex text with --hex");
    return options;
}

void add_waiting_options(CommandLineOptions verb, CommandLine& command) {
    verb.add_flag("--hex", command.is_hex, "print data as hex text");
    command_line_add_count(verb, command.count, "messages");
    command_line_add_timeout(verb, command.timeout);
}

void add_watching_verbs(CommandLineParser& parser, CommandLine& command) {
    CommandLineOptions listen = add_verb(parser, command, Verb::kListen, "listen",
                                         "Print a line for every signal, until interrupted");
    listen.add("PREFIX", command.prefixes, "what the names begin with")
        .require()
        .check_length(0, kMaxFilterBytes, "a prefix")
        .check(filter_problem);
    add_waiting_options(listen, command);
    CommandLineOptions monitor = add_verb(parser, command, Verb::kMonitor, "monitor",
                                          "Print a line for every message on the bus, until interrupted");
    monitor.add("PREFIX", command.prefixes, "what the names begin with").take_at_most(1);
    add_waiting_options(monitor, command);
    CommandLineOptions wait =
        add_verb(parser, command, Verb::kWaitFor, "wait-for", "Wait until a name is provided");
    add_name(wait, command, "the name of a request");
    command_line_add_timeout(wait, command.timeout);
}

// From what the user wrote to the bytes to send: none when it is no hex text.
std::optional<std::string> data_bytes(const CommandLine& command) {
    const std::string& text = *command.data;
    return command.is_hex ? hex_bytes(text) : std::string(text.c_str(), text.size() + 1);
}

}  // namespace

std::variant<CommandLine, int> command_line_parse(int argc, const char* const* argv) {
    CommandLine command;
    CommandLineParser parser("cbusctl", "Shows and speaks to the unit's message bus.");
    command_line_explain_statuses(parser, "the bus");
    command_line_add_bus(parser, command.bus);
    parser.add_flag("--json", command.is_json, "print JSON, everything on one line");
    add_verb(parser, command, Verb::kStatus, "status", "Print the clients and counters of the bus");
    add_verb(parser, command, Verb::kList, "list", "Print the names and filters and who holds them");
    add_sending_verb(parser, command, Verb::kCall, "call", "Send a request and print its reply")
        .add_flag("--hex", command.is_hex, "data and reply are hex text");
    add_sending_verb(parser, command, Verb::kSend, "send", "Send a signal")
        .add_flag("--hex", command.is_hex, "data is hex text");
    add_watching_verbs(parser, command);
    if (const std::optional<int> status = parser.parse(argc, argv)) {
        return *status;
    }
    command.bus = bus_address_choose(command.bus);
    if (command.data) {
        std::optional<std::string> bytes = data_bytes(command);
        if (!bytes) {
            return parser.fail("DATA", "'" + *command.data + "' is no hex text");
        }
        command.data = std::move(bytes);
    }
    return command;
}
