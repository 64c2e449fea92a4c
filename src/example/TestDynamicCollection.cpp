// SPDX-License-Identifier: MIT

#include "src/example/TestDynamicCollection.h"

#include <charconv>
#include <optional>

#include "runtime/logging.h"
#include "src/example/test_entry.h"
#include "src/rest/CjsonCollectionUpdateHelp.h"

namespace {

constexpr const char* kModule = "src/TestDynamicCollection";

constexpr const char* kDynamicKey = "ram.system.test.dynamic";
constexpr const char* kAllKeys = "ram.system.test.dynamic.*.*";

// Only the text that the number itself is printed as: requests write under that one, and would never reach the keys of
// an entry "01" or "+1".
std::optional<int> number_of(const std::string& id) {
    int number = 0;
    const char* const end = id.data() + id.size();
    const auto [stop, error] = std::from_chars(id.data(), end, number);
    const bool is_canonical = error == std::errc() && stop == end && std::to_string(number) == id;
    return is_canonical ? std::optional(number) : std::nullopt;
}

}  // namespace

// What one message did to the entries.
struct TestDynamicCollection::Changes {
    explicit Changes(TestDynamicCollection* collection) : updated(collection), filled(collection) {}

    std::set<std::string> created;
    std::set<std::string> deleted;
    std::set<std::string> shrunk;       // entries that lost a key
    CjsonCollectionUpdateHelp updated;  // of entries that were there before
    CjsonCollectionUpdateHelp filled;   // of those that are new: told with their creation
};

void TestDynamicCollection::sync() {
    if (m_synced) {
        return;
    }
    m_synced = true;
    registerConfigChange(kDynamicKey);

    unsigned int count = 0;
    config_data_t* elements = nullptr;
    const int result = config_readm(kAllKeys, &count, &elements);
    const Malloced<config_data_t> owner(elements);
    if (result == CONFIG_OK) {
        // What is there at first is no news to anybody.
        Changes untold(this);
        updateFromConfig(count, elements, untold);
    }
}

bool TestDynamicCollection::isEntry(const char* entry) {
    sync();
    return CjsonCollectionPathHandler::isEntry(entry);
}

void TestDynamicCollection::onConfigChange(unsigned int count, const config_data_t* data) {
    sync();
    Changes changes(this);
    updateFromConfig(count, data, changes);
    notifyChanges(changes);
}

void TestDynamicCollection::updateFromConfig(unsigned int count, const config_data_t* data,
                                             Changes& changes) {
    for (unsigned int i = 0; i < count; ++i) {
        applyKey(data[i], changes);
    }
    // Only now: a message may take one key of an entry and bring another one.
    for (const std::string& id : changes.shrunk) {
        removeIfEmpty(id, changes);
    }
}

void TestDynamicCollection::applyKey(const config_data_t& data, Changes& changes) {
    const auto key = test_entry_parse_key(kDynamicKey, data.key);
    const auto number = key ? number_of(key->id) : std::nullopt;
    // A key with further levels belongs to no entry: neither reading nor deleting the entries reaches it.
    if (!number || key->hasFurtherLevels) {
        logger_function(7, kModule, "NOT Relevant data");
        return;
    }
    const bool is_there = m_keys.contains(key->id);
    if (data.type != CONFIG_TYPE_NONE) {
        m_keys[key->id].insert(data.key);
    } else if (is_there) {
        m_keys[key->id].erase(data.key);
        changes.shrunk.insert(key->id);
    } else {
        return;
    }
    if (!is_there) {
        logger_function(6, kModule, "Create entry %s", key->id.c_str());
        putEntry(key->id.c_str(), test_entry_create(JsonPtr(cJSON_CreateNumber(*number))).release());
        changes.created.insert(key->id);
    }
    test_entry_update(*this, *key, data,
                      changes.created.contains(key->id) ? changes.filled : changes.updated);
}

void TestDynamicCollection::removeIfEmpty(const std::string& id, Changes& changes) {
    const auto found = m_keys.find(id);
    if (found == m_keys.end() || !found->second.empty()) {
        return;
    }
    m_keys.erase(found);
    removeEntry(id.c_str());
    if (changes.created.erase(id) == 0) {
        changes.deleted.insert(id);
    }
}

void TestDynamicCollection::notifyChanges(Changes& changes) {
    for (const std::string& id : changes.created) {
        cJSON* const json = findEntry(id.c_str());
        notifyEntryCreated(id.c_str(), json);
        notifyEntryCreatedOnNewPath(json);
    }
    changes.updated.notifyChanges();
    for (const std::string& id : changes.deleted) {
        notifyEntryDeleted(id.c_str());
    }
}

// Without a location: the entry is not there yet. The number tells nothing of the entries that exist: after a restart
// it is 1 again, and what is written may land in an entry from before. Both are meant to be so.
void TestDynamicCollection::createOperation(HabRequest* request) {
    logger_function(7, kModule, "createOperation");
    sync();
    const std::string id = std::to_string(static_cast<std::int32_t>(m_next_number));
    const StatusCode::Value written =
        test_entry_write(readRequestData(request).get(), kDynamicKey, id.c_str());
    if (written != StatusCode::kOk) {
        request->replyFinish(written);
        return;
    }
    ++m_next_number;
    request->replyFinish(StatusCode::kCreated);
}

void TestDynamicCollection::updateEntryOperation(const char* entry, HabRequest* request) {
    logger_function(7, kModule, "updateEntryOperation id %s", entry);
    if (!isEntry(entry)) {
        request->replyFinish(StatusCode::kNotFound);
        return;
    }
    request->replyFinish(test_entry_write(readRequestData(request).get(), kDynamicKey, entry));
}

void TestDynamicCollection::deleteEntryOperation(const char* entry, HabRequest* request) {
    logger_function(7, kModule, "deleteEntryOperation id %s", entry);
    // The id becomes a part of a pattern: only that of an entry may.
    if (!isEntry(entry)) {
        request->replyFinish(StatusCode::kNotFound);
        return;
    }
    const std::string pattern = std::string(kDynamicKey) + "." + entry + ".*";
    const bool sent = config_deletem(pattern.c_str()) >= 0;
    request->replyFinish(sent ? StatusCode::kOk : StatusCode::kInternalServerError);
}

void TestDynamicCollection::deleteOperation(HabRequest* request) {
    logger_function(7, kModule, "deleteOperation");
    sync();
    const bool sent = config_deletem(kAllKeys) >= 0;
    request->replyFinish(sent ? StatusCode::kOk : StatusCode::kInternalServerError);
}
