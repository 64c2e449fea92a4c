// SPDX-License-Identifier: MIT

#include "src/system/PrivilegedCommandObject.h"

#include <cstring>

#include "src/base/json_helpers.h"
#include "src/rest/CjsonValidate.h"

namespace {

constexpr std::size_t kMaxText = 128;
// An entry is kept until it is deleted: what a client may put into one has an end.
constexpr std::size_t kMaxArguments = 1024;
constexpr std::size_t kMaxArgumentBytes = 65536;

// An absent member leaves the text as it is.
bool read_text(const cJSON* body, const char* name, std::string& text) {
    char* value = nullptr;
    const int result = CjsonValidate::getAttributeString(body, name, &value);
    if (result == CjsonValidate::kValid) {
        text = value;
    }
    return result != CjsonValidate::kInvalid;
}

// One that is too long, or no text, counts as not given.
void read_path(const cJSON* body, const char* name, std::string& path) {
    std::string text;
    if (read_text(body, name, text) && text.size() <= kMaxText) {
        path = text;
    }
}

bool read_arguments(const cJSON* body, std::vector<std::string>& arguments) {
    const cJSON* const array = cJSON_GetObjectItemCaseSensitive(body, "arguments");
    if (array == nullptr) {
        return true;
    }
    if (!cJSON_IsArray(array)) {
        return false;
    }
    std::size_t bytes = 0;
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, array) {
        const char* const text = cJSON_GetStringValue(item);
        if (text == nullptr || std::strlen(text) > kMaxText || arguments.size() == kMaxArguments) {
            return false;
        }
        bytes += std::strlen(text);
        arguments.emplace_back(text);
    }
    return bytes <= kMaxArgumentBytes;
}

JsonPtr json_text(const std::string& text) {
    return JsonPtr(cJSON_CreateString(text.c_str()));
}

JsonPtr json_array(const std::vector<std::string>& texts) {
    JsonPtr array(cJSON_CreateArray());
    for (const std::string& text : texts) {
        json_append(array.get(), json_text(text));
    }
    return array;
}

}  // namespace

bool PrivilegedCommandObject::readFrom(const cJSON* body) {
    read_path(body, "stdin", stdin_path);
    read_path(body, "stdout", stdout_path);
    read_path(body, "stderr", stderr_path);
    return cJSON_GetObjectItemCaseSensitive(body, "command") != nullptr &&
           read_text(body, "command", command) && read_arguments(body, arguments);
}

// Nothing stands between the arguments, on purpose: clients put a blank in front of an argument that is to be a word of
// its own, and leave it out to lengthen the one before.
std::string PrivilegedCommandObject::commandLine() const {
    std::string line = command + " ";
    for (const std::string& argument : arguments) {
        line += argument;
    }
    return line;
}

JsonPtr PrivilegedCommandObject::toJson() const {
    JsonPtr json(cJSON_CreateObject());
    json_add(json.get(), "cmd_id", JsonPtr(cJSON_CreateNumber(cmd_id)));
    json_add(json.get(), "status", json_text(status));
    json_add(json.get(), "command", json_text(command));
    json_add(json.get(), "arguments", json_array(arguments));
    json_add(json.get(), "stdin", json_text(stdin_path));
    json_add(json.get(), "stdout", json_text(stdout_path));
    json_add(json.get(), "stderr", json_text(stderr_path));
    json_add(json.get(), "exitcode", JsonPtr(cJSON_CreateNumber(exitcode)));
    return json;
}
