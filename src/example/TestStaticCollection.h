// SPDX-License-Identifier: MIT

#pragma once

#include "src/rest/CjsonCollectionPathHandler.h"

// TestStaticCollection: a collection with a fixed set of entries, "/example/test/static". It holds "x", "y" and "z",
// whatever the database holds.
// Fills itself, and follows "ram.system.test.static" from then on, when it is first asked for an entry.
// Threads: loop thread only.
// Errors:  an update answers 400 for a bad body and writes nothing then, 500 when the bus is out of reach.
class TestStaticCollection : public CjsonCollectionPathHandler {
  public:
    void sync() override;
    bool isEntry(const char* entry) override;
    void onConfigChange(unsigned int count, const config_data_t* data) override;
    // The entry changes when the database says so, not here.
    void updateEntryOperation(const char* entry, HabRequest* request) override;

  private:
    // Takes the values over and tells the subscribers what changed, unless this is the initial state.
    void updateFromConfig(unsigned int count, const config_data_t* data, bool initial);

    bool m_synced = false;
};
