// SPDX-License-Identifier: MIT

#include <regex.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz_check.h"
#include "src/base/json_helpers.h"
#include "src/http/AccessMap.h"
#include "tests/support/TempDirectory.h"

namespace {

const TempDirectory& directory() {
    static const TempDirectory files;
    return files;
}

bool is_repetition(char c) {
    return c == '*' || c == '+' || c == '?';
}

// Expressions are the operator's, and the C library takes its time and memory for some: repetitions by number and of
// repetitions (each doubles what is there), groups in groups, what refers back to a group.
bool is_cheap(const cJSON* map) {
    for (const cJSON* member = map->child; member != nullptr; member = member->next) {
        const std::string_view name(member->string);
        const auto repeated = std::ranges::adjacent_find(
            name, [](char left, char right) { return is_repetition(left) && is_repetition(right); });
        if (name.size() > 100 || repeated != name.end() ||
            name.find_first_of("{\\") != std::string_view::npos || std::ranges::count(name, '(') > 3) {
            return false;
        }
    }
    return true;
}

bool matches(const char* name, const char* uri) {
    regex_t regex;
    if (regcomp(&regex, ("^" + std::string(name)).c_str(), REG_EXTENDED | REG_NOSUB) != 0) {
        return false;
    }
    const bool is_match = regexec(&regex, uri, 0, nullptr, 0) == 0;
    regfree(&regex);
    return is_match;
}

// -1: the rule says nothing of the method.
int level_of(const cJSON* rule, const char* upper, const char* lower) {
    const cJSON* level = cJSON_GetObjectItemCaseSensitive(rule, upper);
    if (level == nullptr) {
        level = cJSON_GetObjectItemCaseSensitive(rule, lower);
    }
    if (level == nullptr) {
        return -1;
    }
    return cJSON_IsNumber(level) ? level->valueint : INT_MAX;
}

// The highest level of the rules that match; without one nobody gets in.
int required(const cJSON* map, const char* uri, const char* upper, const char* lower) {
    int highest = -1;
    for (const cJSON* rule = map == nullptr ? nullptr : map->child; rule != nullptr; rule = rule->next) {
        if (matches(rule->string, uri)) {
            highest = std::max(highest, level_of(rule, upper, lower));
        }
    }
    return highest < 0 ? INT_MAX : highest;
}

}  // namespace

// A URI, a line end, accessmap.json: the levels that the map answers are those that its rules say one by one.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    const size_t end = std::min(input.find('\n'), size);
    const std::string uri(input.substr(0, end).substr(0, input.find('\0')));
    const std::string text(input.substr(std::min(end + 1, size)));
    const JsonPtr json = json_parse(text.starts_with("\xEF\xBB\xBF") ? text.substr(3) : text);
    const cJSON* rules = cJSON_IsObject(json.get()) ? json.get() : nullptr;
    if (rules != nullptr && !is_cheap(rules)) {
        return 0;
    }
    directory().write("accessmap.json", text);
    const AccessMap map(directory().path());
    fuzz_check(map.getAccessLevel(uri.c_str(), "GET") == required(rules, uri.c_str(), "GET", "get"));
    fuzz_check(map.getAccessLevel(uri.c_str(), "put") == required(rules, uri.c_str(), "PUT", "put"));
    fuzz_check(map.getAccessLevel(uri.c_str(), "Post") == required(rules, uri.c_str(), "POST", "post"));
    fuzz_check(map.getAccessLevel(uri.c_str(), "DELETE") == required(rules, uri.c_str(), "DELETE", "delete"));
    fuzz_check(map.getAccessLevel(uri.c_str(), "HEAD") == INT_MAX);
    return 0;
}
