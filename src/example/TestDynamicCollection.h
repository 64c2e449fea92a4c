// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "src/rest/CjsonCollectionPathHandler.h"

// TestDynamicCollection: a collection whose entries come and go, "/example/test/dynamic". An entry is a number and is
// there as long as the database holds a key below "ram.system.test.dynamic.<number>".
// Fills itself, and follows the database from then on, with the first request. Requests write to the database alone:
// entries appear, change and vanish when it says so, and the subscribers are told then.
// Threads: loop thread only.
// Errors:  a bad body answers 400 and writes nothing, 500 says that the bus is out of reach.
class TestDynamicCollection : public CjsonCollectionPathHandler {
  public:
    void sync() override;
    bool isEntry(const char* entry) override;
    void onConfigChange(unsigned int count, const config_data_t* data) override;
    void createOperation(HabRequest* request) override;
    void updateEntryOperation(const char* entry, HabRequest* request) override;
    void deleteEntryOperation(const char* entry, HabRequest* request) override;
    // Deletes all entries.
    void deleteOperation(HabRequest* request) override;

  private:
    struct Changes;

    void updateFromConfig(unsigned int count, const config_data_t* data, Changes& changes);
    void applyKey(const config_data_t& data, Changes& changes);
    // Removes the entry unless a key of it is left.
    void removeIfEmpty(const std::string& id, Changes& changes);
    void notifyChanges(Changes& changes);

    bool m_synced = false;
    std::uint32_t m_next_number = 1;
    std::map<std::string, std::set<std::string>> m_keys;  // those of each entry that the database holds
};
