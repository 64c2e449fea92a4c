// SPDX-License-Identifier: MIT

#pragma once

#include <optional>
#include <string>

#include "src/base/owners.h"
#include "src/http/StatusCode.h"

class CjsonCollectionPathHandler;
class CjsonCollectionUpdateHelp;
struct config_data_t;

// test_entry: the entries of the test collections. The attributes "abc" and "def" of an entry lie in keys of their own,
// "<key of the collection>.<id>.<attribute>".

struct TestEntryKey {
    std::string id;
    std::string attribute;  // all that stands behind the id, cut to 20 characters
    bool hasFurtherLevels;  // there is a dot in what stands behind the id
};

// Nothing for a key of another form, or with an id of more than 20 characters.
[[nodiscard]] std::optional<TestEntryKey> test_entry_parse_key(const char* collection_key, const char* key);

// {"id": id, "abc": null, "def": null}; null without memory.
[[nodiscard]] JsonPtr test_entry_create(JsonPtr id);

// Takes the value of a key over into its entry and notes it in `changes`. False when the entry is the same as before:
// the value is the same, is no text, or belongs to no entry or attribute.
bool test_entry_update(const CjsonCollectionPathHandler& collection, const TestEntryKey& key,
                       const config_data_t& data, CjsonCollectionUpdateHelp& changes);

// Writes the attributes that the body (null will do) holds. Answers 200, 400 for a body that holds none or one that
// is no text (nothing is written then), or 500 when the bus is out of reach.
[[nodiscard]] StatusCode::Value test_entry_write(const cJSON* body, const char* collection_key,
                                                 const char* id);
