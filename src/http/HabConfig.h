// SPDX-License-Identifier: MIT

#pragma once

#include "runtime/c_owner.h"

struct cJSON;

// HabConfig: the settings of the HTTP front end, read once from "configuration.json" in the configuration directory.
// Owns:    its texts; a getter's text stays valid as long as the object and is never null.
// Threads: not changed after construction, so any thread may read it.
// Errors:  a file that is missing or is no JSON stops the process; a member of the wrong type means the default.
class HabConfig {
  public:
    // Reads the file in the directory `cfgPath`.
    explicit HabConfig(const char* cfgPath);
    HabConfig(const HabConfig&) = delete;
    HabConfig& operator=(const HabConfig&) = delete;
    virtual ~HabConfig() = default;

    // The process's configuration; null until HabApplication::initialize() has run.
    static HabConfig* getInstance() { return theApplicationConfiguration; }

    int getHttpPort() const { return httpPort; }
    const char* getConfigBase() const { return configBase.get(); }
    const char* getWebAppPath() const { return webAppPath.get(); }
    const char* getWebAppCorePath() const { return webAppCorePath.get(); }
    const char* getLoginHook() const { return loginHook.get(); }
    const char* getLogoutHook() const { return logoutHook.get(); }
    const char* getPushLocation() const { return pushLocation.get(); }
    const char* getPushChannelId() const { return pushChannelId.get(); }
    const char* getDefaultLocation() const { return defaultLocation.get(); }
    int getHttpPushMaxChannels() const { return httpPushMaxChannels; }
    int getLogLevel() const { return logLevel; }
    int getSessionTimeout() const { return sessionTimeout; }  // in seconds

    // Never destroyed: it serves until the process ends. Public for tests, which put their own in its place.
    static HabConfig* theApplicationConfiguration;

    // The steps of the constructor. False without a path, a file or its size; contents that are no JSON stop the
    // process, as does a null `cfg`.
    bool parseConfig(const char* cfgPath);
    // A copy of the member's string, or of `def`; the caller frees it.
    char* readJsonString(cJSON* cfg, const char* key, const char* def);
    int readJsonInteger(cJSON* cfg, const char* key, int def);

  private:
    void readSettings(cJSON* cfg);
    void logSettings() const;

    int httpPort = 0;
    MallocedText configBase;
    MallocedText webAppPath;
    MallocedText webAppCorePath;
    MallocedText loginHook;
    MallocedText logoutHook;
    MallocedText pushLocation;
    MallocedText pushChannelId;
    MallocedText defaultLocation;
    int httpPushMaxChannels = 0;
    int logLevel = 0;
    int sessionTimeout = 0;
};

// HabApplication: the start of the front end.
class HabApplication {
  public:
    // Reads the configuration in the directory `configPath`; a second call changes nothing.
    static void initialize(const char* configPath);
};
