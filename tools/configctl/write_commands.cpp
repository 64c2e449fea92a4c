// SPDX-License-Identifier: MIT

#include "config_client/config_client_api.h"
#include "tools/common/config_value.h"
#include "tools/configctl/commands.h"
#include "tools/configctl/stored_value.h"

namespace {

// Names every entry that kept the write from being done.
ExitStatus write_entries(const CommandContext& context, const std::vector<ConfigEntry>& entries) {
    const auto statuses = context.database.modify(entries);
    if (!statuses) {
        return command_unanswered(context);
    }
    ExitStatus result = ExitStatus::kDone;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if ((*statuses)[i] != CONFIG_OK) {
            context.output.complain(entries[i].key + ": " + config_status_text((*statuses)[i]));
            result = ExitStatus::kRefused;
        }
    }
    return result;
}

}  // namespace

ExitStatus command_set(const CommandContext& context) {
    const CommandLine& command = context.command;
    const std::string& key = command.keys.front();
    const auto stored = context.database.information(key);
    if (!stored) {
        return command_unanswered(context);
    }
    const std::uint32_t type = command.type.value_or(stored->is_there ? stored->type : CONFIG_TYPE_STRING);
    const auto value = stored_value_parse(type, command.value);
    if (!value) {
        context.output.complain(key + ": '" + command.value + "' is no " + config_type_name(type));
        return ExitStatus::kUsage;
    }
    return write_entries(context, {{key, *value}});
}

ExitStatus command_delete(const CommandContext& context) {
    std::vector<ConfigEntry> entries;
    bool is_all = true;
    for (const std::string& key : context.command.keys) {
        const auto stored = context.database.information(key);
        if (!stored) {
            return command_unanswered(context);
        }
        if (stored->is_there) {
            entries.push_back({key, {}});
        } else {
            context.output.complain(key + ": no value");
            is_all = false;
        }
    }
    if (!is_all) {
        return ExitStatus::kRefused;
    }
    return write_entries(context, entries);
}

ExitStatus command_import(const CommandContext& context, const std::vector<ConfigEntry>& entries) {
    // The database takes no write of nothing.
    if (entries.empty()) {
        return context.database.isThere() ? ExitStatus::kDone : command_unanswered(context);
    }
    return write_entries(context, entries);
}

ExitStatus command_sync(const CommandContext& context) {
    return context.database.sync() ? ExitStatus::kDone : command_unanswered(context);
}

ExitStatus command_factory_reset(const CommandContext& context) {
    const auto status = context.database.resetToFactory();
    if (!status) {
        return command_unanswered(context);
    }
    if (*status != CONFIG_OK) {
        context.output.complain("factory-reset: " + config_status_text(*status));
        return ExitStatus::kRefused;
    }
    return ExitStatus::kDone;
}
