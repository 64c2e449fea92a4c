#include "tools/cbusctl/command_line.h"

#include "tools/common/command_line_parts.h"
#include "tools/common/exit_status.h"
#include "tools/common/hex_text.h"

namespace {

using Verb = CommandLine::Verb;

constexpr std::size_t kMaxNameBytes = 65'534;
// The broker ends the connection of who sends a longer filter.
constexpr std::size_t kMaxFilterBytes = 511;

// What the command line is read into; the rest of it is a CommandLine already.
struct Arguments {
    CommandLine command;
    std::string data;
    std::optional<int> timeout_s;
};

CLI::Validator length_check(std::size_t least, std::size_t most, const std::string& what) {
    return {[least, most, what](const std::string& text) {
                return text.size() >= least && text.size() <= most
                           ? std::string()
                           : what + " has " + std::to_string(least) + " to " + std::to_string(most) +
                                 " bytes";
            },
            "", what};
}

// To the bus, "-" in front of a filter takes the filter away.
CLI::Validator filter_check() {
    return {[](const std::string& text) {
                return text.starts_with('-') ? "'" + text + "': no name begins with '-'" : std::string();
            },
            "", "filter"};
}

CLI::App* add_verb(CLI::App& app, Arguments& arguments, Verb verb, const std::string& name,
                   const std::string& description) {
    CLI::App* command = command_line_add_verb(app, name, description, "-a and --json");
    command->callback([&arguments, verb] { arguments.command.verb = verb; });
    return command;
}

void add_name(CLI::App* command, Arguments& arguments, const std::string& description) {
    command->add_option("NAME", arguments.command.name, description)
        ->required()
        ->check(length_check(1, kMaxNameBytes, "a name"));
}

void add_sending_verb(CLI::App& app, Arguments& arguments, Verb verb, const std::string& name,
                      const std::string& description) {
    CLI::App* command = add_verb(app, arguments, verb, name, description);
    add_name(command, arguments, "the name of the message");
    command->add_option("DATA", arguments.data, "a text, which is sent with its NUL, or hex text with --hex");
    command->add_flag("--hex", arguments.command.is_hex, "data is hex text");
}

void add_waiting_options(CLI::App* command, Arguments& arguments) {
    command->add_flag("--hex", arguments.command.is_hex, "print data as hex text");
    command_line_add_count(command, arguments.command.count, "messages");
    command_line_add_timeout(command, arguments.timeout_s);
}

void add_watching_verbs(CLI::App& app, Arguments& arguments) {
    CLI::App* listen =
        add_verb(app, arguments, Verb::kListen, "listen", "Print a line for every signal, until interrupted");
    listen->add_option("PREFIX", arguments.command.prefixes, "what the names begin with")
        ->required()
        ->check(length_check(0, kMaxFilterBytes, "a prefix"))
        ->check(filter_check());
    add_waiting_options(listen, arguments);
    CLI::App* monitor = add_verb(app, arguments, Verb::kMonitor, "monitor",
                                 "Print a line for every message on the bus, until interrupted");
    monitor->add_option("PREFIX", arguments.command.prefixes, "what the names begin with")->expected(0, 1);
    add_waiting_options(monitor, arguments);
    CLI::App* wait = add_verb(app, arguments, Verb::kWaitFor, "wait-for", "Wait until a name is provided");
    add_name(wait, arguments, "the name of a request");
    command_line_add_timeout(wait, arguments.timeout_s);
}

std::variant<CommandLine, int> finish(const CLI::App& app, const Arguments& arguments) {
    CommandLine command = arguments.command;
    command.bus = command_line_bus(command.bus);
    if (arguments.timeout_s) {
        command.timeout = std::chrono::seconds(*arguments.timeout_s);
    }
    const CLI::Option* data = app.get_subcommands().front()->get_option_no_throw("DATA");
    if (data == nullptr || data->count() == 0) {
        return command;
    }
    command.data = command.is_hex ? hex_bytes(arguments.data)
                                  : std::string(arguments.data.c_str(), arguments.data.size() + 1);
    if (!command.data) {
        return app.exit(CLI::ValidationError("DATA", "'" + arguments.data + "' is no hex text")) == 0
                   ? 0
                   : static_cast<int>(ExitStatus::kUsage);
    }
    return command;
}

}  // namespace

std::variant<CommandLine, int> command_line_parse(int argc, const char* const* argv) {
    Arguments arguments;
    CLI::App app("Shows and speaks to the unit's message bus.", "cbusctl");
    command_line_set_up(app, "the bus");
    command_line_add_bus(app, arguments.command.bus);
    app.add_flag("--json", arguments.command.is_json, "print JSON, everything on one line");
    add_verb(app, arguments, Verb::kStatus, "status", "Print the clients and counters of the bus");
    add_verb(app, arguments, Verb::kList, "list", "Print the names and filters and who holds them");
    add_sending_verb(app, arguments, Verb::kCall, "call", "Send a request and print its reply");
    add_sending_verb(app, arguments, Verb::kSend, "send", "Send a signal");
    add_watching_verbs(app, arguments);
    if (const std::optional<int> status = command_line_read(app, argc, argv)) {
        return *status;
    }
    return finish(app, arguments);
}
