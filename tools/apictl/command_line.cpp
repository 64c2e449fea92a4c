// SPDX-License-Identifier: MIT

#include "tools/apictl/command_line.h"

#include <unistd.h>

#include <cctype>
#include <cstdlib>

#include "tools/common/command_line_parts.h"

namespace {

using Verb = CommandLine::Verb;

constexpr const char* kCommonOptions = "-s, --raw and --json";

// What becomes a part of the command only in the end.
struct Arguments {
    CommandLine command;
    std::string path;  // of a call
    std::optional<std::string> socket;
};

std::string path_problem(const std::string& path) {
    return path.starts_with('/') ? std::string() : "'" + path + "': a path begins with '/'";
}

// Nothing below which something could be subscribed stands before the name of an API.
std::string resource_problem(const std::string& path) {
    return path.find_first_not_of('/') != std::string::npos ? std::string() : "'" + path + "': no resource";
}

CommandLineOptions add_verb(CommandLineParser& parser, Arguments& arguments, Verb verb,
                            const std::string& name, const std::string& description) {
    return parser.add_verb(name, description, kCommonOptions,
                           [&arguments, verb] { arguments.command.verb = verb; });
}

void add_call(CommandLineParser& parser, Arguments& arguments, Verb verb, const std::string& name,
              const std::string& description) {
    CommandLineOptions options = add_verb(parser, arguments, verb, name, description);
    options.add("PATH", arguments.path, "the resource").require().check(path_problem);
    if (verb != Verb::kRead) {
        options.add("DATA", arguments.command.payload,
                    "JSON, - to read it from standard input, @FILE from a file");
    }
}

CommandLineArgument add_paths(CommandLineOptions verb, Arguments& arguments, const std::string& description) {
    return verb.add("PATH", arguments.command.paths, description).check(path_problem).check(resource_problem);
}

void add_subscription_options(CommandLineOptions verb, Arguments& arguments) {
    verb.add_flag("-r,--recursive", arguments.command.is_recursive, "changes below the paths as well");
    verb.add("-i,--include WHAT", arguments.command.include,
             "what comes with a change: all of the data, updated members or none (all)")
        .check_one_of_in_any_case({"all", "updated", "none"});
}

void add_watch(CommandLineParser& parser, Arguments& arguments) {
    CommandLineOptions watch = add_verb(parser, arguments, Verb::kWatch, "watch",
                                        "Print a line for every change, until interrupted");
    add_paths(watch, arguments, "the resources").require();
    add_subscription_options(watch, arguments);
    command_line_add_count(watch, arguments.command.count, "changes");
    command_line_add_timeout(watch, arguments.command.timeout);
}

void add_subscriptions(CommandLineParser& parser, Arguments& arguments) {
    CommandLineOptions subscriptions =
        add_verb(parser, arguments, Verb::kSubscriptions, "subscriptions",
                 "List the subscriptions of the connection, after subscribing the paths");
    add_paths(subscriptions, arguments, "subscribe these first");
    add_subscription_options(subscriptions, arguments);
}

void describe(CommandLineParser& parser, Arguments& arguments) {
    command_line_explain_statuses(parser, "the unit");
    parser.add("-s,--socket PATH", arguments.socket,
               "socket of the daemon (ORVALE_API, else " + default_socket() + ")");
    const CommandLineArgument raw =
        parser.add_flag("--raw", arguments.command.is_raw, "print whole messages, not their data");
    parser
        .add_flag("--json", arguments.command.is_json,
                  "one line of JSON for everything, on a terminal and in a watch too")
        .exclude(raw);
    add_call(parser, arguments, Verb::kRead, "read", "Print a resource");
    add_call(parser, arguments, Verb::kUpdate, "update", "Change a resource");
    add_call(parser, arguments, Verb::kCreate, "create", "Create a resource");
    add_call(parser, arguments, Verb::kDelete, "delete", "Delete a resource");
    add_watch(parser, arguments);
    add_subscriptions(parser, arguments);
}

std::string chosen_socket(const std::optional<std::string>& option) {
    if (option) {
        return *option;
    }
    const char* environment = getenv("ORVALE_API");
    return environment != nullptr && *environment != '\0' ? environment : default_socket();
}

CommandLine finish(Arguments arguments) {
    CommandLine command = std::move(arguments.command);
    command.socket = chosen_socket(arguments.socket);
    for (char& letter : command.include) {
        letter = static_cast<char>(std::toupper(static_cast<unsigned char>(letter)));
    }
    if (!arguments.path.empty()) {
        command.paths = {std::move(arguments.path)};
    }
    return command;
}

}  // namespace

std::string default_socket() {
    return getenv("MRV_JSON_RPC_TEST") != nullptr ? "/tmp/mrv_json_rpc_" + std::to_string(getuid())
                                                  : "/var/run/ORVALE_API";
}

std::variant<CommandLine, int> command_line_parse(int argc, const char* const* argv) {
    Arguments arguments;
    CommandLineParser parser(
        "apictl",
        "Reads, changes and watches the resources of the unit over the JSON-RPC socket of its daemon.");
    describe(parser, arguments);
    if (const std::optional<int> status = parser.parse(argc, argv)) {
        return *status;
    }
    return finish(std::move(arguments));
}
