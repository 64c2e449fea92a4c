// SPDX-License-Identifier: MIT

#pragma once

#include "src/base/owners.h"
#include "src/rest/BasePathHandler.h"

// SystemInfoObject: the identity of the unit, "/system/info".
// The values are read from the configuration database at the first request and stay as they were then for the
// life of the process; one that could not be read stays null.
// Threads: loop thread only.
class SystemInfoObject : public BasePathHandler {
  public:
    void readOperation(HabRequest* request) override;
    void initSubPathHandlers(ApiControllerInterface* controller) override;

  private:
    void init();
    // Null when the key cannot be read; valid until the next call on any object of this class.
    static const char* getConfigStr(const char* key);
    void initJsonFromConfigDb(const char* attribute, const char* key);

    JsonPtr m_json;  // null until the first read
};
