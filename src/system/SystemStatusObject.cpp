// SPDX-License-Identifier: MIT

#include "src/system/SystemStatusObject.h"

#include <sys/sysinfo.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "config_client/config_client_api.h"
#include "runtime/logging.h"
#include "runtime/px_console.h"
#include "runtime/px_time.h"
#include "src/base/assertion.h"
#include "src/base/json_helpers.h"
#include "src/base/printable_text.h"
#include "src/rest/config_entry.h"
#include "src/rest/resource_json.h"

namespace {

constexpr const char* kModule = "src/SystemStatusObject";

constexpr const char* kStatusKey = "ram.status.system";
constexpr const char* kPressedKey = "ram.status.system.reset_button.reset_pressed";
constexpr const char* kSecondsKey = "ram.status.system.reset_button.reset_pressed_seconds";

constexpr const char* kStatusName = "system_status";
constexpr const char* kTimeName = "time";
constexpr const char* kUptimeName = "uptime";
constexpr const char* kPressedName = "reset_pressed";
constexpr const char* kSecondsName = "reset_pressed_seconds";

JsonPtr json_string(const char* text) {
    return JsonPtr(cJSON_CreateString(text));
}

JsonPtr json_number(long number) {
    return JsonPtr(cJSON_CreateNumber(static_cast<double>(number)));
}

void log_status_entry(const config_data_t& entry) {
    const std::string key = text_for_log(entry.key);
    logger_function(6, kModule, "SystemStatus: Received message Name = %s, Type = %d", key.c_str(),
                    static_cast<int>(entry.type));
    if (entry.type == CONFIG_TYPE_STRING) {
        logger_function(6, kModule, "SystemStatus: Received message String data=%s",
                        text_for_log(config_entry_text(entry)).c_str());
    } else if (entry.type == CONFIG_TYPE_INT) {
        logger_function(6, kModule, "SystemStatus: Received message INT data=%d",
                        config_entry_int(entry).value_or(0));
    } else {
        logger_function(4, kModule, "SystemStatus: Received message data unexpected, Name=%s, Type=%d",
                        key.c_str(), static_cast<int>(entry.type));
    }
}

}  // namespace

SystemStatusObject::SystemStatusObject() {
    init();
}

SystemStatusObject::~SystemStatusObject() {
    deregisterConfigChange(kStatusKey);
}

void SystemStatusObject::readOperation(HabRequest* request) {
    replaceSystemStatus(kStatusName, kStatusKey);
    replaceButtonStatus(kPressedName, kPressedKey);
    replaceButtonSeconds(kSecondsName, kSecondsKey);
    replaceTimes();
    resource_json_reply(request, m_json.get());
}

void SystemStatusObject::initSubPathHandlers(ApiControllerInterface*) {}

void SystemStatusObject::onConfigChange(unsigned int count, const config_data_t* data) {
    updateFromConfig(count, data, false);
}

const char* SystemStatusObject::getSystemStatusString(int system_status) {
    // Clients compare these texts: SOFWTARE_UPDATE is what they have always been sent.
    static constexpr const char* kTexts[] = {"default",   "INITIALIZING", "SOFWTARE_UPDATE", "OPERATIONAL",
                                             "SKYSCAN",   "ACQUIRING",    "READY",           "ERROR",
                                             "REBOOTING", "SHUTDOWN"};
    if (system_status >= 0 && system_status <= 9) {
        return kTexts[system_status];
    }
    static char unexpected[30];
    px_snprintf(unexpected, sizeof unexpected, "systemStatus = %d unexpected", system_status);
    return unexpected;
}

const char* SystemStatusObject::getButtonStatusString(int button_status) {
    static constexpr const char* kTexts[] = {"RESET_BUTTON_DEFAULT", "RESET_BUTTON_PRESSED",
                                             "RESET_BUTTON_RELEASED"};
    if (button_status >= 0 && button_status <= 2) {
        return kTexts[button_status];
    }
    static char unexpected[40];
    px_snprintf(unexpected, sizeof unexpected, "buttonStatusVal = %d unexpected", button_status);
    return unexpected;
}

void SystemStatusObject::init() {
    logger_function(6, kModule, "SystemStatus: init()");
    registerConfigChange(kStatusKey);
    m_json.reset(cJSON_CreateObject());
    ORVALE_ASSERT(m_json != nullptr, "m_json", kModule, "void SystemStatusObject::init()");
    json_add(m_json.get(), kStatusName, JsonPtr(cJSON_CreateNull()));
    json_add(m_json.get(), kTimeName, json_number(getGmTimeSecs()));
    json_add(m_json.get(), kUptimeName, json_number(getUptimeSecs()));
    json_add(m_json.get(), kPressedName, JsonPtr(cJSON_CreateNull()));
    json_add(m_json.get(), kSecondsName, JsonPtr(cJSON_CreateNull()));

    // The pattern names none of the three keys that are followed: until the first change or read the states are
    // unknown, and clients see null.
    unsigned int count = 0;
    config_data_t* elements = nullptr;
    const int result = config_readm("ram.status.system.(system_status|reset_pressed|reset_pressed_seconds)",
                                    &count, &elements);
    const Malloced<config_data_t> owner(elements);
    if (result == CONFIG_OK) {
        updateFromConfig(count, elements, true);
    }
}

void SystemStatusObject::updateFromConfig(unsigned int count, const config_data_t* data, bool initial) {
    std::vector<const char*> changed;
    for (unsigned int i = 0; i < count; ++i) {
        log_status_entry(data[i]);
        if (const char* name = replaceFromEntry(data[i])) {
            changed.push_back(name);
        }
        replaceTimes();
    }
    if (!changed.empty() && !initial) {
        const int changed_count = static_cast<int>(changed.size());
        logger_function(7, kModule, "SystemStatus notify Updated, attr update count %d", changed_count);
        notifyUpdated(m_json.get(), changed_count, changed.data());
    }
}

const char* SystemStatusObject::replaceFromEntry(const config_data_t& entry) {
    if (entry.value == nullptr) {
        return nullptr;
    }
    if (entry.type == CONFIG_TYPE_STRING) {
        logger_function(3, kModule, "SystemStatus Replacing string:%s unexpected",
                        text_for_log(config_entry_text(entry)).c_str());
        return nullptr;
    }
    const auto value = entry.type == CONFIG_TYPE_INT ? config_entry_int(entry) : std::nullopt;
    if (!value) {
        logger_function(3, kModule, "SystemStatus: Unsupported config type : %d",
                        static_cast<int>(entry.type));
        return nullptr;
    }
    logger_function(7, kModule, "SystemStatus: Replacing int=%d", *value);
    return replaceFromInt(entry.key, *value);
}

const char* SystemStatusObject::replaceFromInt(const char* key, int value) {
    if (std::strcmp(key, kStatusKey) == 0) {
        json_replace(m_json.get(), kStatusName, json_string(getSystemStatusString(value)));
        return kStatusName;
    }
    if (std::strcmp(key, kPressedKey) == 0) {
        json_replace(m_json.get(), kPressedName, json_string(getButtonStatusString(value)));
        return kPressedName;
    }
    if (std::strcmp(key, kSecondsKey) == 0) {
        json_replace(m_json.get(), kSecondsName, json_number(value));
        return kSecondsName;
    }
    return nullptr;
}

void SystemStatusObject::replaceSystemStatus(const char* attribute, const char* key) {
    int value = 0;
    if (config_read_int(key, &value) != CONFIG_OK) {
        logger_function(4, kModule, "SystemStatusObject::replaceSystemStatus dbKey=%s returned NULL", key);
        return;
    }
    json_replace(m_json.get(), attribute, json_string(getSystemStatusString(value)));
}

void SystemStatusObject::replaceButtonStatus(const char* attribute, const char* key) {
    int value = 0;
    if (config_read_int(key, &value) != CONFIG_OK) {
        logger_function(3, kModule,
                        "SystemStatusObject::replaceButtonStatus config_read_int, dbKey=%s returned NULL",
                        key);
        return;
    }
    json_replace(m_json.get(), attribute, json_string(getButtonStatusString(value)));
}

void SystemStatusObject::replaceButtonSeconds(const char* attribute, const char* key) {
    int value = 0;
    if (config_read_int(key, &value) != CONFIG_OK) {
        logger_function(3, kModule,
                        "SystemStatusObject::replaceButtonSeconds config_read_int, dbKey=%s returned NULL",
                        key);
        return;
    }
    json_replace(m_json.get(), attribute, json_number(value));
}

void SystemStatusObject::replaceTimes() {
    json_replace(m_json.get(), kTimeName, json_number(getGmTimeSecs()));
    json_replace(m_json.get(), kUptimeName, json_number(getUptimeSecs()));
}

// The detour over the text is deliberate: "%s" reads the UTC fields as local ones, so that clients get the number
// that shows UTC on a clock of the unit's zone. On a unit whose zone is UTC it is the time since the epoch.
std::time_t SystemStatusObject::getGmTimeSecs() {
    char text[20];
    px_utc_strftime(text, sizeof text, "%s", px_time());
    return std::strtol(text, nullptr, 10);
}

long SystemStatusObject::getUptimeSecs() {
    struct sysinfo info = {};
    sysinfo(&info);
    return info.uptime;
}
