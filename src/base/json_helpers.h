// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "src/base/owners.h"

// What this program adds to cJSON.

// Parses a whole text. cJSON alone would accept anything behind the value and would cut a string at a NUL; here
// both are errors, as is a NUL byte in the text. Null on an error; `stopped_at`, when given, then points at the
// place in `text` where the parser gave up, and is not touched otherwise.
[[nodiscard]] JsonPtr json_parse(const std::string& text, const char** stopped_at = nullptr);

// Whether a text has more than kMaxForeignValues JSON values. Two bytes make a value, for which the tree takes forty
// times as much: what a client sends is looked at before it is parsed.
constexpr std::size_t kMaxForeignValues = 200000;
[[nodiscard]] bool json_has_too_many_values(std::string_view text);

// json_parse() for what clients send: too many values are an error as well.
[[nodiscard]] JsonPtr json_parse_foreign(const std::string& text, const char** stopped_at = nullptr);

// Members by type. Null when the member is absent or of another type, and for a null object; the result stays the
// object's. Names are case-sensitive, the first of several members with one name counts. The whole type word is
// compared: an item that carries the reference or constant-key flag does not match.
[[nodiscard]] cJSON* cJSON_GetObjectString(const cJSON* object, const char* name);
[[nodiscard]] cJSON* cJSON_GetObjectNumber(const cJSON* object, const char* name);
[[nodiscard]] cJSON* cJSON_GetObjectBoolean(const cJSON* object, const char* name);
[[nodiscard]] cJSON* cJSON_GetObjectArray(const cJSON* object, const char* name);
[[nodiscard]] cJSON* cJSON_GetObjectObject(const cJSON* object, const char* name);

// The tree owns the item from here on; one that it does not take is deleted: null without memory, for a null tree or,
// to replace, without a member of that name (case-sensitive, the first counts). Whether it was taken.
bool json_add(cJSON* object, const char* name, JsonPtr item);
bool json_append(cJSON* array, JsonPtr item);
bool json_replace(cJSON* object, const char* name, JsonPtr item);

// A new number, exact for every int; the caller deletes it. Null without memory.
[[nodiscard]] cJSON* cJSON_CreateInt(int value);

// Writes the node, its following siblings and everything below them to the console, one line each, for debugging.
void cJSON_PrintNodeTree(const cJSON* node);

// Both answer true whatever the two nodes hold, on purpose: they let templates over cJSON compile and decide nothing.
// cJSON_Compare() is the comparison.
bool operator==(const cJSON& left, const cJSON& right);
bool operator!=(const cJSON& left, const cJSON& right);
