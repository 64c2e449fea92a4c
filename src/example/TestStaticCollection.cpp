// SPDX-License-Identifier: MIT

#include "src/example/TestStaticCollection.h"

#include "runtime/logging.h"
#include "src/base/assertion.h"
#include "src/base/printable_text.h"
#include "src/example/test_entry.h"
#include "src/rest/CjsonCollectionUpdateHelp.h"

namespace {

constexpr const char* kModule = "src/TestStaticCollection";

constexpr const char* kStaticKey = "ram.system.test.static";
constexpr const char* kIds[] = {"x", "y", "z"};

}  // namespace

void TestStaticCollection::sync() {
    if (m_synced) {
        return;
    }
    m_synced = true;
    logger_function(6, kModule, "SystemTestObject::sync() initialize entry map");
    registerConfigChange(kStaticKey);
    for (const char* id : kIds) {
        JsonPtr json = test_entry_create(JsonPtr(cJSON_CreateString(id)));
        ORVALE_ASSERT(json != nullptr, "json", kModule, "virtual void TestStaticCollection::sync()");
        putEntry(id, json.release());
    }

    unsigned int count = 0;
    config_data_t* elements = nullptr;
    const int result = config_readm("ram.system.test.static.*.*", &count, &elements);
    const Malloced<config_data_t> owner(elements);
    if (result == CONFIG_OK) {
        updateFromConfig(count, elements, true);
    }
}

bool TestStaticCollection::isEntry(const char* entry) {
    sync();
    return CjsonCollectionPathHandler::isEntry(entry);
}

void TestStaticCollection::onConfigChange(unsigned int count, const config_data_t* data) {
    sync();
    updateFromConfig(count, data, false);
}

void TestStaticCollection::updateFromConfig(unsigned int count, const config_data_t* data, bool initial) {
    CjsonCollectionUpdateHelp changes(this);
    bool is_changed = false;
    for (unsigned int i = 0; i < count; ++i) {
        const auto key = test_entry_parse_key(kStaticKey, data[i].key);
        if (!key) {
            logger_function(7, kModule, "NOT Relevant data");
            continue;
        }
        logger_function(7, kModule, "entry id: %s, attribute: %s", text_for_log(key->id).c_str(),
                        text_for_log(key->attribute).c_str());
        if (findEntry(key->id.c_str()) == nullptr) {
            logger_function(4, kModule, "Entry NOT found");
            continue;
        }
        is_changed |= test_entry_update(*this, *key, data[i], changes);
    }
    if (is_changed && !initial) {
        logger_function(7, kModule, "notify Updated");
        changes.notifyChanges();
    }
}

void TestStaticCollection::updateEntryOperation(const char* entry, HabRequest* request) {
    if (!isEntry(entry)) {
        request->replyFinish(StatusCode::kNotFound);
        return;
    }
    request->replyFinish(test_entry_write(readRequestData(request).get(), kStaticKey, entry));
}
