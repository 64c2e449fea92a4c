// SPDX-License-Identifier: MIT

#pragma once

#include <map>
#include <set>
#include <string>

#include "src/base/owners.h"

class CjsonCollectionPathHandler;

// CjsonCollectionUpdateHelp: changes attributes of a collection's entries, then tells the subscribers of each
// changed entry once.
// Borrows: the collection, which outlives it. Names are copied, so texts on the caller's stack will do.
class CjsonCollectionUpdateHelp {
  public:
    explicit CjsonCollectionUpdateHelp(CjsonCollectionPathHandler* collection) : m_collection(collection) {}

    // Replaces an attribute that the entry has. True: the entry owns the value now. False: there is no such
    // entry or attribute, and the value is still the caller's.
    [[nodiscard]] bool updateAttribute(const char* entry, const char* attribute, cJSON* value);
    // Entries appear and vanish without this helper: both answer false and do nothing.
    bool addEntry(const char* entry, cJSON* data);
    bool deleteEntry(const char* entry);
    // Entries that are gone by now are passed over.
    void notifyChanges();

  private:
    CjsonCollectionPathHandler* m_collection;
    std::map<std::string, std::set<std::string>> m_changed;  // attribute names by entry name
};
