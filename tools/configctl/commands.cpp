// SPDX-License-Identifier: MIT

#include "tools/configctl/commands.h"

#include <unistd.h>

#include <cstdio>
#include <utility>

#include "cbus/cbus_wire.h"
#include "config_values/value_json.h"
#include "tools/common/input.h"
#include "tools/configctl/ChangeWatch.h"
#include "tools/configctl/value_file.h"

namespace {

using Verb = CommandLine::Verb;

// Of one message, less what its header and name may take.
constexpr std::size_t kMaxWriteBytes = kCbusMaxMessageBytes - 1024;
// JSON may be longer than what it says.
constexpr std::size_t kMaxFileBytes = 8 * kCbusMaxMessageBytes;

ExitStatus run_connected(const CommandContext& context) {
    switch (context.command.verb) {
        case Verb::kSet:
            return command_set(context);
        case Verb::kDelete:
            return command_delete(context);
        case Verb::kList:
            return command_list(context);
        case Verb::kExport:
            return command_export(context);
        case Verb::kStat:
            return command_stat(context);
        case Verb::kSync:
            return command_sync(context);
        case Verb::kFactoryReset:
            return command_factory_reset(context);
        default:
            return command_get(context);
    }
}

bool connect(const CommandContext& context) {
    if (const auto problem = context.database.connect(context.command.bus)) {
        context.output.complain(*problem);
        return false;
    }
    return true;
}

ExitStatus run_watch(const CommandLine& command) {
    Interruption interruption;
    const Output output("configctl", interruption);
    Database database;
    if (!connect({command, database, output})) {
        return ExitStatus::kUnreachable;
    }
    if (!database.isThere()) {
        return command_unanswered({command, database, output});
    }
    if (!interruption.addSignals()) {
        output.complain("cannot wait for signals");
        return ExitStatus::kUnreachable;
    }
    interruption.addReaderOf(STDOUT_FILENO);
    return ChangeWatch(command, database, interruption, output).run();
}

std::variant<std::vector<ConfigEntry>, InputError> read_entries(const std::string& file) {
    std::variant<std::string, InputError> text = input_read(file, kMaxFileBytes);
    if (auto* error = std::get_if<InputError>(&text)) {
        return std::move(*error);
    }
    std::variant<JsonPtr, InputError> json = input_parse(std::get<std::string>(text));
    if (auto* error = std::get_if<InputError>(&json)) {
        return std::move(*error);
    }
    auto entries = value_json_parse(*std::get<JsonPtr>(json));
    if (const auto* error = std::get_if<ValueJsonError>(&entries)) {
        return InputError{(error->key.empty() ? "the data is" : error->key + ":") + ' ' + error->problem};
    }
    auto& list = std::get<std::vector<ConfigEntry>>(entries);
    if (value_file_message_bytes(list) > kMaxWriteBytes) {
        return InputError{"the data is larger than one write may be"};
    }
    return std::move(list);
}

// Nothing is sent before all of the file is known to be good.
ExitStatus run_import(const CommandContext& context) {
    const auto entries = read_entries(context.command.file);
    if (const auto* error = std::get_if<InputError>(&entries)) {
        context.output.complain(error->text);
        return ExitStatus::kUsage;
    }
    return connect(context) ? command_import(context, std::get<std::vector<ConfigEntry>>(entries))
                            : ExitStatus::kUnreachable;
}

bool is_agreed() {
    std::fputs("Set all stored keys back to their factory values? [y/N] ", stderr);
    char answer[8] = "";
    return std::fgets(answer, sizeof answer, stdin) != nullptr && (answer[0] == 'y' || answer[0] == 'Y');
}

// Nothing when it may go on.
std::optional<ExitStatus> refuse_reset(const CommandLine& command, const Output& output) {
    if (command.verb != Verb::kFactoryReset || command.is_confirmed) {
        return std::nullopt;
    }
    if (isatty(STDIN_FILENO) != 1) {
        output.complain("factory-reset wants --yes where nobody can be asked");
        return ExitStatus::kUsage;
    }
    if (!is_agreed()) {
        output.complain("nothing was reset");
        return ExitStatus::kRefused;
    }
    return std::nullopt;
}

}  // namespace

ExitStatus command_run(const CommandLine& command) {
    if (command.verb == Verb::kWatch) {
        return run_watch(command);
    }
    const Interruption none;
    Output output("configctl", none);
    output.keepJsonOnOneLine();
    if (const auto status = refuse_reset(command, output)) {
        return *status;
    }
    Database database;
    const CommandContext context{command, database, output};
    if (command.verb == Verb::kImport) {
        return run_import(context);
    }
    return connect(context) ? run_connected(context) : ExitStatus::kUnreachable;
}

ExitStatus command_unanswered(const CommandContext& context) {
    context.output.complain("the database does not answer");
    return ExitStatus::kUnreachable;
}
