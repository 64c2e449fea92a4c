// SPDX-License-Identifier: MIT

#include "tools/configctl/command_line.h"

#include <utility>

#include "cbus/bus_address.h"
#include "config_client/config_client_api.h"
#include "tools/common/command_line_parts.h"

namespace {

using Verb = CommandLine::Verb;

constexpr std::size_t kMaxKeyBytes = 255;
// Behind "config.readm." in the name of a message, which the client cuts at 511.
constexpr std::size_t kMaxPatternBytes = 498;

constexpr const char* kCommonOptions = "-a and --json";

// What becomes a part of the command only in the end.
struct Arguments {
    CommandLine command;
    std::string key;  // of set
    std::string type;
};

CommandLineOptions add_verb(CommandLineParser& parser, Arguments& arguments, Verb verb,
                            const std::string& name, const std::string& description) {
    return parser.add_verb(name, description, kCommonOptions,
                           [&arguments, verb] { arguments.command.verb = verb; });
}

void add_keys(CommandLineOptions verb, Arguments& arguments) {
    verb.add("KEY", arguments.command.keys, "the keys").require().check_length(1, kMaxKeyBytes, "a key");
}

void add_pattern(CommandLineOptions verb, Arguments& arguments) {
    verb.add("PATTERN", arguments.command.pattern,
             "keys, with * for a component, (a|b) and [1,2]; all keys without one")
        .check_length(1, kMaxPatternBytes, "a pattern");
}

void add_reading_verbs(CommandLineParser& parser, Arguments& arguments) {
    add_keys(add_verb(parser, arguments, Verb::kGet, "get", "Print values"), arguments);
    add_pattern(add_verb(parser, arguments, Verb::kList, "list", "Print keys with their values"), arguments);
    add_keys(add_verb(parser, arguments, Verb::kStat, "stat",
                      "Print type, whether it is stored, and whether the value is the factory's"),
             arguments);
    CommandLineOptions watch = add_verb(parser, arguments, Verb::kWatch, "watch",
                                        "Print a line for every change, until interrupted");
    watch.add("PREFIX", arguments.command.keys, "what the keys begin with")
        .require()
        .check_length(0, kMaxKeyBytes, "a prefix");
    command_line_add_count(watch, arguments.command.count, "changes");
    command_line_add_timeout(watch, arguments.command.timeout);
    add_pattern(
        add_verb(parser, arguments, Verb::kExport, "export", "Print keys in the form of the factory file"),
        arguments);
}

void add_writing_verbs(CommandLineParser& parser, Arguments& arguments) {
    CommandLineOptions set = add_verb(parser, arguments, Verb::kSet, "set", "Write a value");
    set.add("KEY", arguments.key, "the key").require().check_length(1, kMaxKeyBytes, "a key");
    set.add("VALUE", arguments.command.value, "text, integer or hex text, as the type says").require();
    set.add("--type TYPE", arguments.type, "int, string or binary (that of the stored value, else string)")
        .check_one_of({"int", "string", "binary"});
    add_keys(add_verb(parser, arguments, Verb::kDelete, "delete", "Delete keys, all or none"), arguments);
    CommandLineOptions import =
        add_verb(parser, arguments, Verb::kImport, "import", "Write what export has printed, all or nothing");
    import.add("FILE", arguments.command.file, "the file, - for standard input (-)");
    add_verb(parser, arguments, Verb::kSync, "sync", "Move what was written into the store's file proper");
    CommandLineOptions reset =
        add_verb(parser, arguments, Verb::kFactoryReset, "factory-reset",
                 "Set the stored keys back to their factory values and delete the others");
    reset.add_flag("-y,--yes", arguments.command.is_confirmed, "do not ask");
}

std::optional<std::uint32_t> type_of(const std::string& name) {
    static constexpr std::pair<const char*, std::uint32_t> kTypes[] = {
        {"int", CONFIG_TYPE_INT}, {"string", CONFIG_TYPE_STRING}, {"binary", CONFIG_TYPE_BINARY}};
    for (const auto& [known, type] : kTypes) {
        if (name == known) {
            return type;
        }
    }
    return std::nullopt;
}

CommandLine finish(Arguments arguments) {
    CommandLine command = std::move(arguments.command);
    command.bus = bus_address_choose(command.bus);
    command.type = type_of(arguments.type);
    if (!arguments.key.empty()) {
        command.keys = {std::move(arguments.key)};
    }
    return command;
}

}  // namespace

std::variant<CommandLine, int> command_line_parse(int argc, const char* const* argv) {
    Arguments arguments;
    CommandLineParser parser(
        "configctl", "Reads, writes and watches the keys of the unit's configuration database over the bus.");
    command_line_explain_statuses(parser, "the database");
    command_line_add_bus(parser, arguments.command.bus);
    parser.add_flag("--json", arguments.command.is_json, "print JSON, everything on one line");
    add_reading_verbs(parser, arguments);
    add_writing_verbs(parser, arguments);
    if (const std::optional<int> status = parser.parse(argc, argv)) {
        return *status;
    }
    return finish(std::move(arguments));
}
