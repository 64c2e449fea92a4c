#include "tools/apictl/command_line.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cctype>
#include <cstdlib>

#include "tools/common/command_line_parts.h"

namespace {

using Verb = CommandLine::Verb;

// What the command line is read into; the rest of it is a CommandLine already.
struct Arguments {
    CommandLine command;
    std::string path;  // of a call
    std::string payload;
    std::optional<int> timeout_s;
};

CLI::Validator path_check() {
    return {[](const std::string& path) {
                return path.starts_with('/') ? std::string() : "'" + path + "': a path begins with '/'";
            },
            "", "path"};
}

// Nothing below which something could be subscribed stands before the name of an API.
CLI::Validator resource_check() {
    return {[](const std::string& path) {
                return path.find_first_not_of('/') != std::string::npos ? std::string()
                                                                        : "'" + path + "': no resource";
            },
            "", "resource"};
}

CLI::App* add_verb(CLI::App& app, Arguments& arguments, Verb verb, const std::string& name,
                   const std::string& description) {
    CLI::App* command = command_line_add_verb(app, name, description, "-s, --raw and --json");
    command->callback([&arguments, verb] { arguments.command.verb = verb; });
    return command;
}

void add_call(CLI::App& app, Arguments& arguments, Verb verb, const std::string& name,
              const std::string& description) {
    CLI::App* command = add_verb(app, arguments, verb, name, description);
    command->add_option("PATH", arguments.path, "the resource")->required()->check(path_check());
    if (verb != Verb::kRead) {
        command->add_option("DATA", arguments.payload,
                            "JSON, - to read it from standard input, @FILE from a file");
    }
}

void add_subscription_options(CLI::App* command, Arguments& arguments) {
    command->add_flag("-r,--recursive", arguments.command.is_recursive, "changes below the paths as well");
    command
        ->add_option("-i,--include", arguments.command.include,
                     "what comes with a change: all of the data, updated members or none (all)")
        ->check(CLI::IsMember({"all", "updated", "none"}, CLI::ignore_case));
}

void add_watch(CLI::App& app, Arguments& arguments) {
    CLI::App* command =
        add_verb(app, arguments, Verb::kWatch, "watch", "Print a line for every change, until interrupted");
    command->add_option("PATH", arguments.command.paths, "the resources")
        ->required()
        ->check(path_check())
        ->check(resource_check());
    add_subscription_options(command, arguments);
    command_line_add_count(command, arguments.command.count, "changes");
    command_line_add_timeout(command, arguments.timeout_s);
}

void add_subscriptions(CLI::App& app, Arguments& arguments) {
    CLI::App* command = add_verb(app, arguments, Verb::kSubscriptions, "subscriptions",
                                 "List the subscriptions of the connection, after subscribing the paths");
    command->add_option("PATH", arguments.command.paths, "subscribe these first")
        ->check(path_check())
        ->check(resource_check());
    add_subscription_options(command, arguments);
}

void describe(CLI::App& app, Arguments& arguments) {
    command_line_set_up(app, "the unit");
    app.add_option("-s,--socket", arguments.command.socket,
                   "socket of the daemon (ORVALE_API, else " + default_socket() + ")");
    CLI::Option* raw =
        app.add_flag("--raw", arguments.command.is_raw, "print whole messages, not their data");
    app.add_flag("--json", arguments.command.is_json,
                 "one line of JSON for everything, on a terminal and in a watch too")
        ->excludes(raw);
    add_call(app, arguments, Verb::kRead, "read", "Print a resource");
    add_call(app, arguments, Verb::kUpdate, "update", "Change a resource");
    add_call(app, arguments, Verb::kCreate, "create", "Create a resource");
    add_call(app, arguments, Verb::kDelete, "delete", "Delete a resource");
    add_watch(app, arguments);
    add_subscriptions(app, arguments);
}

std::string chosen_socket(const CLI::App& app, const std::string& option) {
    if (app.count("-s") > 0) {
        return option;
    }
    const char* environment = getenv("ORVALE_API");
    return environment != nullptr && *environment != '\0' ? environment : default_socket();
}

CommandLine finish(const CLI::App& app, const Arguments& arguments) {
    CommandLine command = arguments.command;
    const CLI::App* verb = app.get_subcommands().front();
    command.socket = chosen_socket(app, command.socket);
    const auto is_given = [verb](const char* name) {
        const CLI::Option* option = verb->get_option_no_throw(name);
        return option != nullptr && option->count() > 0;
    };
    for (char& letter : command.include) {
        letter = static_cast<char>(std::toupper(static_cast<unsigned char>(letter)));
    }
    if (command.paths.empty() && !arguments.path.empty()) {
        command.paths = {arguments.path};
    }
    if (is_given("DATA")) {
        command.payload = arguments.payload;
    }
    if (arguments.timeout_s) {
        command.timeout = std::chrono::seconds(*arguments.timeout_s);
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
    CLI::App app(
        "Reads, changes and watches the resources of the unit over the JSON-RPC socket of its daemon.",
        "apictl");
    describe(app, arguments);
    if (const std::optional<int> status = command_line_read(app, argc, argv)) {
        return *status;
    }
    return finish(app, arguments);
}
