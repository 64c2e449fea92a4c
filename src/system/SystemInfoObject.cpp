// SPDX-License-Identifier: MIT

#include "src/system/SystemInfoObject.h"

#include "config_client/config_client_api.h"
#include "runtime/logging.h"
#include "src/base/assertion.h"
#include "src/base/json_helpers.h"
#include "src/rest/resource_json.h"
#include "src/system/SystemOemSnmpObject.h"

namespace {

constexpr const char* kModule = "src/SystemInfoObject";

struct InfoAttribute {
    const char* name;
    const char* key;
};

constexpr InfoAttribute kAttributes[] = {
    {"pcb_id", "cfg.sysconf.pcb_id"},
    {"pcb_revision", "cfg.sysconf.pcb_revision"},
    {"serial_number", "cfg.sysconf.serial_number"},
    {"unit_bom", "cfg.sysconf.unit_bom"},
    {"software_version", "ram.software_version.release.version"},
    {"software_build_nr", "ram.software_version.release.buildnr"},
    {"software_build_id", "ram.software_version.release.buildid"},
    {"software_build_date", "ram.software_version.release.builddate"},
    {"model_number", "ram.platform.model_number"},
    {"platform_id", "ram.platform.id"},
    {"product_id", "ram.platform.product_id"},
    {"system_id", "ram.platform.system_id"},
    {"antenna_id", "ram.platform.antenna"},
};

}  // namespace

void SystemInfoObject::readOperation(HabRequest* request) {
    if (m_json == nullptr) {
        init();
    }
    resource_json_reply(request, m_json.get());
}

void SystemInfoObject::initSubPathHandlers(ApiControllerInterface*) {
    addSubPathHandler("oem-snmp", new SystemOemSnmpObject);
}

void SystemInfoObject::init() {
    logger_function(6, kModule, "SystemInfoObject::init()");
    m_json.reset(cJSON_CreateObject());
    ORVALE_ASSERT(m_json != nullptr, "m_json", kModule, "void SystemInfoObject::init()");
    for (const InfoAttribute& attribute : kAttributes) {
        initJsonFromConfigDb(attribute.name, attribute.key);
    }
}

const char* SystemInfoObject::getConfigStr(const char* key) {
    static char buffer[128];
    return config_read_string(key, buffer, sizeof buffer) == CONFIG_OK ? buffer : nullptr;
}

void SystemInfoObject::initJsonFromConfigDb(const char* attribute, const char* key) {
    const char* value = getConfigStr(key);
    if (value == nullptr) {
        logger_function(4, kModule, " initJsonFromConfigDb dbKey=%s returned NULL", key);
    }
    json_add(m_json.get(), attribute,
             JsonPtr(value != nullptr ? cJSON_CreateString(value) : cJSON_CreateNull()));
}
