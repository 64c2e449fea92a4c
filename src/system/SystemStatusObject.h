// SPDX-License-Identifier: MIT

#pragma once

#include <ctime>

#include "src/base/owners.h"
#include "src/rest/BasePathHandler.h"

// SystemStatusObject: run state, reset button, time and uptime of the unit, "/system/status".
// Follows the changes of "ram.status.system" and reads the state once more at every request; a value that cannot
// be read stays as it was.
// Threads: loop thread only.
class SystemStatusObject : public BasePathHandler {
  public:
    // Reads the configuration database, so the configuration client is set up before.
    SystemStatusObject();
    ~SystemStatusObject() override;

    void readOperation(HabRequest* request) override;
    void initSubPathHandlers(ApiControllerInterface* controller) override;
    void onConfigChange(unsigned int count, const config_data_t* data) override;

    // The texts of the two states. Valid until the next call: the one of an unknown value stands in a static
    // buffer.
    [[nodiscard]] static const char* getSystemStatusString(int system_status);
    [[nodiscard]] static const char* getButtonStatusString(int button_status);

  private:
    void init();
    // Takes the entries over and tells the subscribers what changed, unless this is the initial state.
    void updateFromConfig(unsigned int count, const config_data_t* data, bool initial);
    // Takes one entry over; answers the name of the attribute that it replaced, or null.
    const char* replaceFromEntry(const config_data_t& entry);
    const char* replaceFromInt(const char* key, int value);

    void replaceSystemStatus(const char* attribute, const char* key);
    void replaceButtonStatus(const char* attribute, const char* key);
    void replaceButtonSeconds(const char* attribute, const char* key);
    void replaceTimes();
    [[nodiscard]] static std::time_t getGmTimeSecs();
    [[nodiscard]] static long getUptimeSecs();

    JsonPtr m_json;  // never null once constructed
};
