#include "tools/configctl/command_line.h"

#include <utility>

#include "config_client/config_client_api.h"
#include "tools/common/command_line_parts.h"

namespace {

using Verb = CommandLine::Verb;

constexpr std::size_t kMaxKeyBytes = 255;
// Behind "config.readm." in the name of a message, which the client cuts at 511.
constexpr std::size_t kMaxPatternBytes = 498;

// What the command line is read into; the rest of it is a CommandLine already.
struct Arguments {
    CommandLine command;
    std::string key;  // of set
    std::string pattern;
    std::string type;
    std::optional<int> timeout_s;
};

// A key that is too long would be cut on its way and reach another one.
CLI::Validator length_check(std::size_t least, std::size_t most, const std::string& what) {
    return {[least, most, what](const std::string& text) {
                return text.size() >= least && text.size() <= most
                           ? std::string()
                           : what + " has " + std::to_string(least) + " to " + std::to_string(most) +
                                 " bytes";
            },
            "", what};
}

CLI::App* add_verb(CLI::App& app, Arguments& arguments, Verb verb, const std::string& name,
                   const std::string& description) {
    CLI::App* command = command_line_add_verb(app, name, description, "-a and --json");
    command->callback([&arguments, verb] { arguments.command.verb = verb; });
    return command;
}

void add_keys(CLI::App* command, Arguments& arguments) {
    command->add_option("KEY", arguments.command.keys, "the keys")
        ->required()
        ->check(length_check(1, kMaxKeyBytes, "a key"));
}

void add_pattern(CLI::App* command, Arguments& arguments) {
    command
        ->add_option("PATTERN", arguments.pattern,
                     "keys, with * for a component, (a|b) and [1,2]; all keys without one")
        ->check(length_check(1, kMaxPatternBytes, "a pattern"));
}

void add_reading_verbs(CLI::App& app, Arguments& arguments) {
    add_keys(add_verb(app, arguments, Verb::kGet, "get", "Print values"), arguments);
    add_pattern(add_verb(app, arguments, Verb::kList, "list", "Print keys with their values"), arguments);
    add_keys(add_verb(app, arguments, Verb::kStat, "stat",
                      "Print type, tree and whether the value is the factory's"),
             arguments);
    CLI::App* watch =
        add_verb(app, arguments, Verb::kWatch, "watch", "Print a line for every change, until interrupted");
    watch->add_option("PREFIX", arguments.command.keys, "what the keys begin with")
        ->required()
        ->check(length_check(0, kMaxKeyBytes, "a prefix"));
    command_line_add_count(watch, arguments.command.count, "changes");
    command_line_add_timeout(watch, arguments.timeout_s);
    add_pattern(
        add_verb(app, arguments, Verb::kExport, "export", "Print keys in the form of the factory file"),
        arguments);
}

void add_writing_verbs(CLI::App& app, Arguments& arguments) {
    CLI::App* set = add_verb(app, arguments, Verb::kSet, "set", "Write a value");
    set->add_option("KEY", arguments.key, "the key")
        ->required()
        ->check(length_check(1, kMaxKeyBytes, "a key"));
    set->add_option("VALUE", arguments.command.value, "text, integer or hex text, as the type says")
        ->required();
    set->add_option("--type", arguments.type, "int, string or binary (that of the stored value, else string)")
        ->check(CLI::IsMember({"int", "string", "binary"}));
    add_keys(add_verb(app, arguments, Verb::kDelete, "delete", "Delete keys, all or none"), arguments);
    CLI::App* import =
        add_verb(app, arguments, Verb::kImport, "import", "Write what export has printed, all or nothing");
    import->add_option("FILE", arguments.command.file, "the file, - for standard input (-)");
    add_verb(app, arguments, Verb::kSync, "sync", "Move what was written into the store's file proper");
    CLI::App* reset = add_verb(app, arguments, Verb::kFactoryReset, "factory-reset",
                               "Set the stored keys back to their factory values and delete the others");
    reset->add_flag("-y,--yes", arguments.command.is_confirmed, "do not ask");
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

CommandLine finish(const Arguments& arguments) {
    CommandLine command = arguments.command;
    command.bus = command_line_bus(command.bus);
    command.type = type_of(arguments.type);
    if (!arguments.key.empty()) {
        command.keys = {arguments.key};
    }
    if (!arguments.pattern.empty()) {
        command.pattern = arguments.pattern;
    }
    if (arguments.timeout_s) {
        command.timeout = std::chrono::seconds(*arguments.timeout_s);
    }
    return command;
}

}  // namespace

std::variant<CommandLine, int> command_line_parse(int argc, const char* const* argv) {
    Arguments arguments;
    CLI::App app("Reads, writes and watches the keys of the unit's configuration database over the bus.",
                 "configctl");
    command_line_set_up(app, "the database");
    command_line_add_bus(app, arguments.command.bus);
    app.add_flag("--json", arguments.command.is_json, "print JSON, everything on one line");
    add_reading_verbs(app, arguments);
    add_writing_verbs(app, arguments);
    if (const std::optional<int> status = command_line_read(app, argc, argv)) {
        return *status;
    }
    return finish(arguments);
}
