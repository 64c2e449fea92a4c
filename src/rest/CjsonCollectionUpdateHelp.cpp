// SPDX-License-Identifier: MIT

#include "src/rest/CjsonCollectionUpdateHelp.h"

#include <vector>

#include "src/rest/CjsonCollectionPathHandler.h"

bool CjsonCollectionUpdateHelp::updateAttribute(const char* entry, const char* attribute, cJSON* value) {
    cJSON* const json = m_collection->findEntry(entry);
    if (!cJSON_ReplaceItemInObjectCaseSensitive(json, attribute, value)) {
        return false;
    }
    m_changed[entry].insert(attribute);
    return true;
}

bool CjsonCollectionUpdateHelp::addEntry(const char*, cJSON*) {
    return false;
}

bool CjsonCollectionUpdateHelp::deleteEntry(const char*) {
    return false;
}

// The values are taken from the entries as they are now: an attribute that was set twice is told once, with its
// last value.
void CjsonCollectionUpdateHelp::notifyChanges() {
    for (const auto& [entry, attributes] : m_changed) {
        cJSON* const json = m_collection->findEntry(entry.c_str());
        if (json == nullptr) {
            continue;
        }
        std::vector<const char*> names;
        for (const std::string& attribute : attributes) {
            names.push_back(attribute.c_str());
        }
        m_collection->notifyEntryUpdated(entry.c_str(), json, static_cast<int>(names.size()), names.data());
    }
}
