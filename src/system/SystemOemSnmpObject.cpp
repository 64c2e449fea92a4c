// SPDX-License-Identifier: MIT

#include "src/system/SystemOemSnmpObject.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "config_client/config_client_api.h"
#include "runtime/logging.h"
#include "src/base/assertion.h"
#include "src/base/json_helpers.h"
#include "src/base/printable_text.h"
#include "src/rest/CjsonValidate.h"
#include "src/rest/config_entry.h"
#include "src/rest/resource_json.h"

namespace {

constexpr const char* kModule = "src/SystemOemSnmpObject";

constexpr const char* kSnmpPrefix = "ram.system.oemsnmp";

struct SnmpAttribute {
    const char* name;
    const char* key;
};

constexpr SnmpAttribute kStrings[] = {
    {"mib_root", "ram.system.oemsnmp.mib_root"},
    {"sys_descr", "ram.system.oemsnmp.sys_descr"},
    {"sys_object_id", "ram.system.oemsnmp.sys_object_id"},
    {"sys_contact", "ram.system.oemsnmp.sys_contact"},
    {"sys_name", "ram.system.oemsnmp.sys_name"},
    {"sys_location", "ram.system.oemsnmp.sys_location"},
};
constexpr SnmpAttribute kServices = {"sys_services", "ram.system.oemsnmp.sys_services"};
constexpr int kMaxServices = 127;

// Null for a key that is none of the seven.
const char* attribute_of(const char* key) {
    if (std::strcmp(key, kServices.key) == 0) {
        return kServices.name;
    }
    const auto* found = std::ranges::find_if(
        kStrings, [key](const SnmpAttribute& attribute) { return std::strcmp(key, attribute.key) == 0; });
    return found != std::end(kStrings) ? found->name : nullptr;
}

}  // namespace

SystemOemSnmpObject::~SystemOemSnmpObject() {
    if (m_json != nullptr) {
        deregisterConfigChange(kSnmpPrefix);
    }
}

void SystemOemSnmpObject::readOperation(HabRequest* request) {
    initOnce();
    resource_json_reply(request, m_json.get());
}

void SystemOemSnmpObject::updateOperation(HabRequest* request) {
    initOnce();
    const JsonPtr body = readRequestData(request);
    if (cJSON_IsObject(body.get()) == 0) {
        request->replyFinish(StatusCode::kBadRequest);
        return;
    }
    const JsonText text(cJSON_PrintUnformatted(body.get()));
    logger_function(6, kModule, "OemSnmp: updateOperation data: %s", text != nullptr ? text.get() : "(null)");
    request->replyFinish(writeAttributes(body.get()));
}

void SystemOemSnmpObject::initSubPathHandlers(ApiControllerInterface*) {}

void SystemOemSnmpObject::onConfigChange(unsigned int count, const config_data_t* data) {
    initOnce();
    updateFromConfig(count, data, false);
}

void SystemOemSnmpObject::onConfigWritten(unsigned int count, const config_data_t* data) {
    updateFromConfig(count, data, false);
}

void SystemOemSnmpObject::initOnce() {
    if (m_json == nullptr) {
        init();
    }
}

void SystemOemSnmpObject::init() {
    logger_function(6, kModule, "OemSnmp: init()");
    registerConfigChange(kSnmpPrefix);
    m_json.reset(cJSON_CreateObject());
    ORVALE_ASSERT(m_json != nullptr, "m_json", kModule, "void SystemOemSnmpObject::init()");
    for (const SnmpAttribute& attribute : kStrings) {
        json_add(m_json.get(), attribute.name, JsonPtr(cJSON_CreateString("")));
    }
    json_add(m_json.get(), kServices.name, JsonPtr(cJSON_CreateString("")));

    unsigned int count = 0;
    config_data_t* elements = nullptr;
    const int result = config_readm(
        "ram.system.oemsnmp.(mib_root|sys_descr|sys_object_id|sys_contact|sys_name|sys_location|sys_"
        "services)",
        &count, &elements);
    const Malloced<config_data_t> owner(elements);
    if (result == CONFIG_OK) {
        updateFromConfig(count, elements, true);
    }
}

void SystemOemSnmpObject::updateFromConfig(unsigned int count, const config_data_t* data, bool) {
    logger_function(6, kModule, "OemSnmp: updateFromConfig()");
    for (unsigned int i = 0; i < count; ++i) {
        logger_function(6, kModule, "OemSnmp: Received message %s %s", text_for_log(data[i].key).c_str(),
                        text_for_log(config_entry_printable(data[i])).c_str());
        if (const char* attribute = attribute_of(data[i].key)) {
            replaceAttribute(attribute, data[i]);
        }
    }
}

void SystemOemSnmpObject::replaceAttribute(const char* attribute, const config_data_t& entry) {
    const auto number = entry.type == CONFIG_TYPE_INT ? config_entry_int(entry) : std::nullopt;
    if (number) {
        if (CjsonValidate::validateAttributeInt(m_json.get(), attribute, *number) ==
            CjsonValidate::kInvalid) {
            logger_function(7, kModule, "Replacing int attribute %s", attribute);
            json_replace(m_json.get(), attribute, JsonPtr(cJSON_CreateInt(*number)));
        }
    } else if (entry.type == CONFIG_TYPE_STRING || entry.value == nullptr) {
        // A deleted key comes without a value and reads as the empty string.
        const std::string text = config_entry_text(entry);
        if (CjsonValidate::validateAttributeString(m_json.get(), attribute, text.c_str()) ==
            CjsonValidate::kInvalid) {
            logger_function(7, kModule, "Replacing string attribute %s", attribute);
            json_replace(m_json.get(), attribute, JsonPtr(cJSON_CreateString(text.c_str())));
        }
    } else {
        logger_function(4, kModule, "Unsupported config type : %d", static_cast<int>(entry.type));
    }
}

StatusCode::Value SystemOemSnmpObject::writeAttributes(const cJSON* body) {
    ConfigWriter writer;
    int services = 0;
    for (const SnmpAttribute& attribute : kStrings) {
        if (!addStrAttributeToWriter(&writer, body, attribute.key, attribute.name)) {
            return StatusCode::kBadRequest;
        }
    }
    if (!addServicesToWriter(&writer, body, &services) || writer.getSize() == 0) {
        return StatusCode::kBadRequest;
    }
    return writer.write(this) == CONFIG_OK ? StatusCode::kOk : StatusCode::kInternalServerError;
}

bool SystemOemSnmpObject::addStrAttributeToWriter(ConfigWriter* writer, const cJSON* body, const char* key,
                                                  const char* attribute) const {
    char* value = nullptr;
    const int result = CjsonValidate::getAttributeString(body, attribute, &value);
    if (result == CjsonValidate::kValid) {
        writer->putString(value, "%s", key);
    }
    return result != CjsonValidate::kInvalid;
}

bool SystemOemSnmpObject::addServicesToWriter(ConfigWriter* writer, const cJSON* body, int* services) const {
    const int result = CjsonValidate::getAttributeInt(body, kServices.name, services, 0, kMaxServices);
    if (result == CjsonValidate::kValid) {
        writer->putInt(services, "%s", kServices.key);
    }
    return result != CjsonValidate::kInvalid;
}
