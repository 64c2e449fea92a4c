// SPDX-License-Identifier: MIT

#include <utility>

#include "config_client/config_client_api.h"
#include "src/base/json_helpers.h"
#include "src/base/printable_text.h"
#include "tools/common/config_value.h"
#include "tools/configctl/commands.h"
#include "tools/configctl/value_file.h"

namespace {

using Result = Output::Result;

// `is_all` is whether everything asked for was there.
ExitStatus end_status(Result written, bool is_all) {
    if (written == Result::kFailed) {
        return ExitStatus::kUnreachable;
    }
    return is_all ? ExitStatus::kDone : ExitStatus::kRefused;
}

std::string line_of(const ConfigEntry& entry, const Paint& paint) {
    return paint(Paint::Colour::kName, text_printable(entry.key)) + " = " +
           config_value_text(entry.value.type, entry.value.data);
}

Result write_lines(const std::vector<ConfigEntry>& entries, const Output& output) {
    Result written = Result::kWritten;
    for (const ConfigEntry& entry : entries) {
        if (written == Result::kWritten) {
            written = output.writeLine(line_of(entry, output.paint()));
        }
    }
    return written;
}

Result write_found(const CommandContext& context, const std::vector<ConfigEntry>& found) {
    if (context.command.is_json) {
        return context.output.writeJson(*value_file_json(found));
    }
    if (context.command.keys.size() == 1 && found.size() == 1) {
        const ConfigValue& value = found.front().value;
        return context.output.writeLine(config_value_text(value.type, value.data));
    }
    return write_lines(found, context.output);
}

// Nothing without an answer; complains when nothing matches.
std::optional<std::vector<ConfigEntry>> match(const CommandContext& context) {
    auto entries = context.database.match(context.command.pattern.value_or(database_all_keys()));
    if (entries && entries->empty()) {
        context.output.complain("no key matches, or more than one message holds");
    }
    return entries;
}

JsonPtr information_json(const Database::Information& information) {
    JsonPtr json(cJSON_CreateObject());
    cJSON_AddStringToObject(json.get(), "type", config_type_name(information.type).c_str());
    cJSON_AddBoolToObject(json.get(), "persists", information.persists ? 1 : 0);
    cJSON_AddBoolToObject(json.get(), "factory", information.is_factory_value ? 1 : 0);
    return json;
}

std::string information_text(const std::string& key, const Database::Information& information,
                             const Paint& paint) {
    return paint(Paint::Colour::kName, text_printable(key)) + ' ' + config_type_name(information.type) +
           (information.persists ? " stored" : " memory") +
           (information.is_factory_value ? " factory" : " changed");
}

}  // namespace

ExitStatus command_get(const CommandContext& context) {
    std::vector<ConfigEntry> found;
    bool is_all = true;
    for (const std::string& key : context.command.keys) {
        auto answer = context.database.read(key);
        if (!answer) {
            return command_unanswered(context);
        }
        if (answer->status == CONFIG_OK) {
            found.push_back({key, std::move(answer->value)});
        } else {
            context.output.complain(key + ": " + config_status_text(answer->status));
            is_all = false;
        }
    }
    return end_status(write_found(context, found), is_all);
}

ExitStatus command_stat(const CommandContext& context) {
    const JsonPtr all(cJSON_CreateObject());
    bool is_all = true;
    Result written = Result::kWritten;
    for (const std::string& key : context.command.keys) {
        const auto information = context.database.information(key);
        if (!information) {
            return command_unanswered(context);
        }
        if (!information->is_there) {
            context.output.complain(key + ": no value");
            is_all = false;
        } else if (context.command.is_json) {
            json_add(all.get(), key.c_str(), information_json(*information));
        } else if (written == Result::kWritten) {
            written = context.output.writeLine(information_text(key, *information, context.output.paint()));
        }
    }
    if (context.command.is_json) {
        written = context.output.writeJson(*all);
    }
    return end_status(written, is_all);
}

ExitStatus command_list(const CommandContext& context) {
    const auto entries = match(context);
    if (!entries) {
        return command_unanswered(context);
    }
    const Result written = context.command.is_json ? context.output.writeJson(*value_file_json(*entries))
                                                   : write_lines(*entries, context.output);
    return end_status(written, !entries->empty());
}

// What does not come back from JSON as it went in is left out aloud: a restored unit must not differ in silence.
ExitStatus command_export(const CommandContext& context) {
    auto entries = match(context);
    if (!entries) {
        return command_unanswered(context);
    }
    bool is_all = !entries->empty();
    std::erase_if(*entries, [&](const ConfigEntry& entry) {
        if (config_value_survives_json(entry.value.type, entry.value.data)) {
            return false;
        }
        context.output.complain(entry.key + ": cannot be written as JSON, left out");
        is_all = false;
        return true;
    });
    const Result written = context.command.is_json ? context.output.writeJson(*value_file_json(*entries))
                                                   : context.output.writeLine(value_file_text(*entries));
    return end_status(written, is_all);
}
