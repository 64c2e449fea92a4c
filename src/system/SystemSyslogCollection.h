// SPDX-License-Identifier: MIT

#pragma once

#include "src/rest/CjsonCollectionPathHandler.h"
#include "src/rest/ConfigWriter.h"

// SystemSyslogCollection: up to three rules that the syslog daemon follows beside its own,
// "/system/debug/syslog-rules". A rule is a selector and an action, the two words of a line of the daemon's
// configuration, and lies in the database below "cfg.api.syslog.<slot>"; its slot, 1 to 3, is its name.
// Follows the database from its construction on: the configuration client is set up before. Subscribers hear nothing
// from here.
// Threads: loop thread only.
// Errors:  a bad body answers 400 and writes nothing, a fourth rule 409; 500 says that bus or database is out of
//          reach or the memory used up. Whether a deletion reached the database is not checked.
class SystemSyslogCollection : public CjsonCollectionPathHandler, private WriteCallback {
  public:
    SystemSyslogCollection();
    ~SystemSyslogCollection() override;

    // Deletes all rules.
    void deleteOperation(HabRequest* request) override;
    void createOperation(HabRequest* request) override;
    void onConfigChange(unsigned int count, const config_data_t* data) override;
    void updateEntryOperation(const char* entry, HabRequest* request) override;
    void deleteEntryOperation(const char* entry, HabRequest* request) override;
    // Reads the stored rules; once, as soon as the database answers.
    void sync() override;

    // Whether the text can be one word of a line: it neither splits nor comments nor continues it.
    [[nodiscard]] static bool validateSelectorAction(const char* text);
    // The selector with private authentication messages kept out; null without memory.
    [[nodiscard]] static MallocedText sanitizeSelector(const char* selector);
    // Both accept null. A new rule needs both texts, a change of one at least one of them.
    [[nodiscard]] static bool createOperationValidate(const cJSON* body);
    [[nodiscard]] static bool updateEntryValidate(const char* id, const cJSON* body);

  private:
    void onConfigWritten(unsigned int count, const config_data_t* data) override;

    void updateFromConfig(unsigned int count, const config_data_t* data, bool initial);
    void applyKey(const config_data_t& data);
    void createEntry(int slot);
    // 0 when all are taken.
    [[nodiscard]] int freeSlot() const;
    // Writes a new rule into the slot and answers the request.
    void addRule(int slot, const cJSON* body, HabRequest* request);
    // Writes what the body changes of a rule that is there, and what it does not; the status of the answer.
    [[nodiscard]] StatusCode::Value changeRule(const char* id, const cJSON* body);
    void dumpSyslogMap(const char* tag) const;

    bool m_synced = false;
};
