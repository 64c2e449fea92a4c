// SPDX-License-Identifier: MIT

#include "device/configd/FactoryFile.h"

#include <utility>
#include <variant>

#include "config_client/config_client_api.h"
#include "config_values/value_json.h"
#include "device/configd/startup_error.h"
#include "src/base/json_helpers.h"
#include "src/base/text_file.h"

std::optional<ConfigValues> factory_file_read(const char* path) {
    std::string text;
    if (text_file_read(path, "configd", text) != TextFileResult::kRead) {
        startup_error("cannot read the factory values in '%s'", path);
        return std::nullopt;
    }
    const JsonPtr json = json_parse(text);
    if (!cJSON_IsObject(json.get())) {
        startup_error("the factory values in '%s' are no JSON object", path);
        return std::nullopt;
    }
    auto entries = value_json_parse(*json);
    if (const auto* error = std::get_if<ValueJsonError>(&entries)) {
        startup_error("factory value '%s' in '%s': %s", error->key.c_str(), path, error->problem.c_str());
        return std::nullopt;
    }
    ConfigValues values;
    for (ConfigEntry& entry : std::get<std::vector<ConfigEntry>>(entries)) {
        ConfigElement element{std::move(entry.key), std::move(entry.value), CONFIG_OK};
        if (config_element_check(element) != CONFIG_OK) {
            startup_error("factory value '%s' in '%s': the database takes no such key or value",
                          element.key.c_str(), path);
            return std::nullopt;
        }
        values.emplace(std::move(element.key), std::move(element.value));
    }
    return values;
}
