// SPDX-License-Identifier: MIT

#include "src/http/HabConfig.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "runtime/logging.h"
#include "src/base/assertion.h"
#include "src/base/json_helpers.h"
#include "src/base/text_file.h"
#include "src/http/habhelper.h"

namespace {

constexpr const char* kModule = "src/HabConfig";

MallocedText normalized(char* text) {
    normalizeString(text);
    return MallocedText(text);
}

}  // namespace

HabConfig* HabConfig::theApplicationConfiguration = nullptr;

void HabApplication::initialize(const char* configPath) {
    if (HabConfig::theApplicationConfiguration == nullptr) {
        HabConfig::theApplicationConfiguration = new HabConfig(configPath);
    }
}

HabConfig::HabConfig(const char* cfgPath) {
    ORVALE_ASSERT(parseConfig(cfgPath), "parseConfig(cfgPath)", kModule, "HabConfig::HabConfig(const char*)");
}

bool HabConfig::parseConfig(const char* cfgPath) {
    if (cfgPath == nullptr || *cfgPath == '\0') {
        return false;
    }
    configBase = normalized(strdup(cfgPath));
    char path[256];
    std::snprintf(path, sizeof path, "%s/configuration.json", configBase.get());
    logger_function(7, kModule, "Opening configuration from %s", path);

    std::string text;
    const TextFileResult result = text_file_read(path, kModule, text);
    if (result == TextFileResult::kNotOpened) {
        logger_function(6, kModule, "Configuration not found!");
    }
    if (result == TextFileResult::kNotOpened || result == TextFileResult::kNoSize) {
        return false;
    }
    const JsonPtr cfg = result == TextFileResult::kRead ? json_parse(text) : nullptr;
    ORVALE_ASSERT(cfg != nullptr, "cfg != __null", kModule, "bool HabConfig::parseConfig(const char*)");
    const JsonText printed(cJSON_Print(cfg.get()));
    logger_function(7, kModule, "Read configuration:%s", printed ? printed.get() : "(null)");

    readSettings(cfg.get());
    logSettings();
    return true;
}

void HabConfig::readSettings(cJSON* cfg) {
    webAppPath = normalized(readJsonString(cfg, "hab.path", "/var/www/hab"));
    webAppCorePath = normalized(readJsonString(cfg, "hab.core.path", "/var/www/habcore"));
    httpPort = readJsonInteger(cfg, "hab.http.port", 80);
    loginHook = normalized(readJsonString(cfg, "hab.login.hook", ""));
    logoutHook = normalized(readJsonString(cfg, "hab.logout.hook", ""));
    pushLocation = normalized(readJsonString(cfg, "hab.push.location", "publish"));
    pushChannelId = normalized(readJsonString(cfg, "hab.push.channel.id", "fedefe"));
    // The doubled "l" is how the units in the field spell it.
    defaultLocation = normalized(readJsonString(cfg, "hab.http.defaultllocation", "/index.html"));
    httpPushMaxChannels = readJsonInteger(cfg, "hab.http.push.maxchannels", 80);
    logLevel = std::clamp(readJsonInteger(cfg, "hab.log.level", 0), 0, 7);
    sessionTimeout = readJsonInteger(cfg, "hab.session.timeout", 300);
}

void HabConfig::logSettings() const {
    logger_function(7, kModule, "Config base: %s", getConfigBase());
    logger_function(7, kModule, "WebAppPath: %s", getWebAppPath());
    logger_function(7, kModule, "WebAppCorePath: %s", getWebAppCorePath());
    logger_function(7, kModule, "HttpPort: %d", getHttpPort());
    logger_function(7, kModule, "HttpPushMaxChannels: %d", getHttpPushMaxChannels());
    logger_function(7, kModule, "LoginHook: %s", getLoginHook());
    logger_function(7, kModule, "LogoutHook: %s", getLogoutHook());
    logger_function(7, kModule, "PushLocation: %s", getPushLocation());
    logger_function(7, kModule, "PushChannelId: %s", getPushChannelId());
    logger_function(7, kModule, "DefaultLocation: %s", getDefaultLocation());
    logger_function(7, kModule, "LogLevel: %d", getLogLevel());
    logger_function(7, kModule, "SessionTimeout: %d", getSessionTimeout());
}

char* HabConfig::readJsonString(cJSON* cfg, const char* key, const char* def) {
    ORVALE_ASSERT(cfg != nullptr, "cfg != __null", kModule,
                  "char* HabConfig::readJsonString(cJSON*, const char*, const char*)");
    const cJSON* item = cJSON_GetObjectString(cfg, key);
    return strdup(item != nullptr ? item->valuestring : def);
}

int HabConfig::readJsonInteger(cJSON* cfg, const char* key, int def) {
    ORVALE_ASSERT(cfg != nullptr, "cfg != __null", kModule,
                  "int HabConfig::readJsonInteger(cJSON*, const char*, int)");
    const cJSON* item = cJSON_GetObjectNumber(cfg, key);
    return item != nullptr ? item->valueint : def;
}
