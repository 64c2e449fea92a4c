// SPDX-License-Identifier: MIT

#pragma once

#include "src/base/owners.h"
#include "src/rest/BasePathHandler.h"
#include "src/rest/ConfigWriter.h"

// SystemOemSnmpObject: the strings of the SNMP system group that an integrator may set, "/system/info/oem-snmp".
// Follows the changes of "ram.system.oemsnmp" from the first request on. Subscribers hear nothing from here.
// Threads: loop thread only.
// Errors:  an update answers 400 for a bad body and writes nothing then, 500 when the bus is out of reach.
class SystemOemSnmpObject : public BasePathHandler, private WriteCallback {
  public:
    ~SystemOemSnmpObject() override;

    void readOperation(HabRequest* request) override;
    void updateOperation(HabRequest* request) override;
    void initSubPathHandlers(ApiControllerInterface* controller) override;
    void onConfigChange(unsigned int count, const config_data_t* data) override;

  private:
    void onConfigWritten(unsigned int count, const config_data_t* data) override;

    void init();
    void initOnce();
    void updateFromConfig(unsigned int count, const config_data_t* data, bool initial);
    void replaceAttribute(const char* attribute, const config_data_t& entry);

    // The status of the answer. The writer borrows from the body.
    [[nodiscard]] StatusCode::Value writeAttributes(const cJSON* body);
    // Both answer false for a member of the wrong type or range; an absent one is skipped.
    [[nodiscard]] bool addStrAttributeToWriter(ConfigWriter* writer, const cJSON* body, const char* key,
                                               const char* attribute) const;
    [[nodiscard]] bool addServicesToWriter(ConfigWriter* writer, const cJSON* body, int* services) const;

    JsonPtr m_json;  // null until the first request
};
