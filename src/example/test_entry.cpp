// SPDX-License-Identifier: MIT

#include "src/example/test_entry.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "config_client/config_client_api.h"
#include "runtime/logging.h"
#include "src/base/json_helpers.h"
#include "src/rest/CjsonCollectionPathHandler.h"
#include "src/rest/CjsonCollectionUpdateHelp.h"
#include "src/rest/CjsonValidate.h"
#include "src/rest/ConfigWriter.h"
#include "src/rest/config_entry.h"

namespace {

constexpr const char* kModule = "src/TestEntry";

constexpr std::size_t kMaxName = 20;
constexpr const char* kEntryAttributes[] = {"abc", "def"};

// JSON null for a key without a value, a null pointer for a value that is no text.
JsonPtr entry_value(const config_data_t& data) {
    if (data.value == nullptr) {
        return JsonPtr(cJSON_CreateNull());
    }
    return JsonPtr(data.type == CONFIG_TYPE_STRING ? cJSON_CreateString(config_entry_text(data).c_str())
                                                   : nullptr);
}

}  // namespace

// Cut by hand: scanf() would pass blanks in front of a name and everything behind it.
std::optional<TestEntryKey> test_entry_parse_key(const char* collection_key, const char* key) {
    std::string_view rest(key);
    const std::string_view prefix(collection_key);
    if (!rest.starts_with(prefix) || !rest.substr(prefix.size()).starts_with('.')) {
        return std::nullopt;
    }
    rest.remove_prefix(prefix.size() + 1);
    const std::size_t dot = rest.find('.');
    if (dot == std::string_view::npos || dot == 0 || dot > kMaxName || dot + 1 == rest.size()) {
        return std::nullopt;
    }
    const std::string_view attribute = rest.substr(dot + 1);
    return TestEntryKey{std::string(rest.substr(0, dot)), std::string(attribute.substr(0, kMaxName)),
                        attribute.find('.') != std::string_view::npos};
}

JsonPtr test_entry_create(JsonPtr id) {
    JsonPtr entry(cJSON_CreateObject());
    json_add(entry.get(), "id", std::move(id));
    for (const char* attribute : kEntryAttributes) {
        json_add(entry.get(), attribute, JsonPtr(cJSON_CreateNull()));
    }
    return entry;
}

bool test_entry_update(const CjsonCollectionPathHandler& collection, const TestEntryKey& key,
                       const config_data_t& data, CjsonCollectionUpdateHelp& changes) {
    if (std::ranges::find(kEntryAttributes, key.attribute) == std::end(kEntryAttributes)) {
        logger_function(4, kModule, "Unknown attribute");
        return false;
    }
    JsonPtr value = entry_value(data);
    if (value == nullptr) {
        logger_function(4, kModule, "Unsupported config type : %d", static_cast<int>(data.type));
        return false;
    }
    const cJSON* const before =
        cJSON_GetObjectItemCaseSensitive(collection.findEntry(key.id.c_str()), key.attribute.c_str());
    if (CjsonValidate::compareJSON(before, value.get()) ||
        !changes.updateAttribute(key.id.c_str(), key.attribute.c_str(), value.get())) {
        return false;
    }
    static_cast<void>(value.release());
    return true;
}

StatusCode::Value test_entry_write(const cJSON* body, const char* collection_key, const char* id) {
    ConfigWriter writer;
    for (const char* attribute : kEntryAttributes) {
        char* text = nullptr;
        const int result = CjsonValidate::getAttributeString(body, attribute, &text);
        if (result == CjsonValidate::kInvalid) {
            return StatusCode::kBadRequest;
        }
        if (result == CjsonValidate::kValid) {
            writer.putString(text, "%s.%s.%s", collection_key, id, attribute);
        }
    }
    if (writer.getSize() == 0) {
        return StatusCode::kBadRequest;
    }
    return writer.write(nullptr) == CONFIG_OK ? StatusCode::kOk : StatusCode::kInternalServerError;
}
