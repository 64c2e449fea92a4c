// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <vector>

#include "src/base/owners.h"
#include "src/rest/BasePathHandler.h"

// SystemDebugObject: two service switches and the diagnostic report, "/system/debug". A switch is on while its marker
// file exists. Another process makes the report when the database tells it to; this object follows what that process
// reports back, from the first request on, and tells the subscribers.
// Threads: loop thread only.
// Errors:  an update without a body answers 500, a bad one or a report while one is being made 400. Whether a switch
//          could be set shows with the next read alone.
class SystemDebugObject : public BasePathHandler {
  public:
    // Where the processes that obey the switches look for the marker files.
    static constexpr const char* kFlagDirectory = "/misc/";

    // A prefix of the paths of the marker files, cut to 63 characters.
    explicit SystemDebugObject(const char* flag_directory = kFlagDirectory);
    ~SystemDebugObject() override;

    void readOperation(HabRequest* request) override;
    void updateOperation(HabRequest* request) override;
    void initSubPathHandlers(ApiControllerInterface* controller) override;
    void onConfigChange(unsigned int count, const config_data_t* data) override;

    // The paths are cut to 63 characters.
    void setRebootFlag(bool on) const;
    [[nodiscard]] bool getRebootFlag() const;
    void setWatchdogFlag(bool on) const;
    [[nodiscard]] bool getWatchdogFlag() const;

    // Where a finished report lies; at most `size` bytes, terminated.
    static void getDiagFilename(char* out, int size);
    [[nodiscard]] static bool existDiagnosticFilename(const char* path);
    // Both accept null. A read takes any parameters.
    [[nodiscard]] static bool validateJsonReadParams(const cJSON*) { return true; }
    [[nodiscard]] static bool validateJsonUpdateParams(const cJSON* body);

  private:
    void setMarker(const std::string& file, bool on) const;
    void init();
    void initOnce();
    // Each the status of the answer.
    [[nodiscard]] StatusCode::Value applyUpdate(const cJSON* body);
    [[nodiscard]] StatusCode::Value startReport();
    [[nodiscard]] StatusCode::Value setSwitches(const cJSON* body);
    static void initSysmonDiagnosticReport();

    void updateFromConfig(unsigned int count, const config_data_t* data, bool initial);
    // Both answer the names of the attributes that they changed: from any entry, and from what the maker of the report
    // says.
    [[nodiscard]] std::vector<const char*> replaceFromEntry(const config_data_t& entry);
    [[nodiscard]] std::vector<const char*> replaceReport(const std::string& state);
    [[nodiscard]] std::string flagPath(const char* file_name) const;

    JsonPtr m_json;  // null until the first request
    std::string m_flag_directory;
};
