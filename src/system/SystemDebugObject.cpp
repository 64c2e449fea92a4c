// SPDX-License-Identifier: MIT

#include "src/system/SystemDebugObject.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <string_view>

#include "config_client/config_client_api.h"
#include "runtime/logging.h"
#include "runtime/px_console.h"
#include "src/base/assertion.h"
#include "src/base/json_helpers.h"
#include "src/base/printable_text.h"
#include "src/rest/CjsonValidate.h"
#include "src/rest/config_entry.h"
#include "src/rest/resource_json.h"
#include "src/system/FileOps.h"
#include "src/system/SystemPostCollection.h"
#include "src/system/SystemSyslogCollection.h"

namespace {

constexpr const char* kModule = "src/SystemDebugObject";

constexpr std::size_t kMaxFlagPath = 63;
constexpr const char* kRebootFile = "debug.no_reboot";
constexpr const char* kWatchdogFile = "debug.watchdog.disable";

constexpr const char* kRebootName = "prevent_reboot";
constexpr const char* kWatchdogName = "watchdog_disable";
constexpr const char* kRequestName = "request";
constexpr const char* kReportName = "diagnostic_report";

constexpr const char* kReady = "READY";
constexpr const char* kMakeReport = "DIAG_REPORT";
constexpr const char* kReportFailed = "error";

// The maker of the report gets the directory under this key, and answers there.
constexpr const char* kReportKey = "ram.diag.save";
constexpr const char* kReportDirectory = "/tmp/";
constexpr const char* kReportFile = "diag_report.tar.gz";
constexpr const char* kReportDone = "OK";
constexpr int kReportPathSize = 200;

void replace_text(cJSON* object, const char* name, const char* text) {
    json_replace(object, name, JsonPtr(cJSON_CreateString(text)));
}

void set_marker(const std::string& path, bool on) {
    // Whoever looks for the file sees what became of it; requests answer the same either way.
    if (on) {
        FileOps::createFile(path.c_str());
    } else {
        FileOps::deleteFile(path.c_str());
    }
}

void log_debug_entry(const config_data_t& entry) {
    const std::string key = text_for_log(entry.key);
    logger_function(6, kModule, "Received message Name = %s, Type = %d", key.c_str(),
                    static_cast<int>(entry.type));
    if (entry.type == CONFIG_TYPE_STRING) {
        logger_function(6, kModule, "Received message String data=%s",
                        text_for_log(config_entry_text(entry)).c_str());
    } else {
        logger_function(4, kModule, "Received message data unexpected, Name=%s, Type=%d", key.c_str(),
                        static_cast<int>(entry.type));
    }
}

}  // namespace

SystemDebugObject::SystemDebugObject(const char* flag_directory)
    : m_flag_directory(std::string_view(flag_directory).substr(0, kMaxFlagPath)) {}

SystemDebugObject::~SystemDebugObject() {
    if (m_json != nullptr) {
        deregisterConfigChange(kReportKey);
    }
}

void SystemDebugObject::readOperation(HabRequest* request) {
    initOnce();
    json_replace(m_json.get(), kRebootName, JsonPtr(cJSON_CreateBool(getRebootFlag())));
    json_replace(m_json.get(), kWatchdogName, JsonPtr(cJSON_CreateBool(getWatchdogFlag())));
    resource_json_reply(request, m_json.get());
}

void SystemDebugObject::updateOperation(HabRequest* request) {
    initOnce();
    const JsonPtr body = readRequestData(request);
    if (body == nullptr) {
        logger_function(3, kModule, "updateOperation NO data");
        request->replyFinish(StatusCode::kInternalServerError);
        return;
    }
    request->replyFinish(applyUpdate(body.get()));
}

void SystemDebugObject::initSubPathHandlers(ApiControllerInterface*) {
    addSubPathHandler("syslog-rules", new SystemSyslogCollection);
    addSubPathHandler("post", new SystemPostCollection);
}

void SystemDebugObject::onConfigChange(unsigned int count, const config_data_t* data) {
    logger_function(6, kModule, "onConfigChange: nrec = %d", static_cast<int>(count));
    updateFromConfig(count, data, false);
}

void SystemDebugObject::initOnce() {
    if (m_json == nullptr) {
        init();
    }
}

void SystemDebugObject::init() {
    logger_function(6, kModule, "SystemDebugObject::init()");
    m_json.reset(cJSON_CreateObject());
    ORVALE_ASSERT(m_json != nullptr, "m_json", kModule, "void SystemDebugObject::init()");
    json_add(m_json.get(), kRebootName, JsonPtr(cJSON_CreateBool(getRebootFlag())));
    json_add(m_json.get(), kWatchdogName, JsonPtr(cJSON_CreateBool(getWatchdogFlag())));
    json_add(m_json.get(), kRequestName, JsonPtr(cJSON_CreateString(kReady)));
    json_add(m_json.get(), kReportName, JsonPtr(cJSON_CreateNull()));
    registerConfigChange(kReportKey);
}

std::string SystemDebugObject::flagPath(const char* file_name) const {
    return (m_flag_directory + file_name).substr(0, kMaxFlagPath);
}

void SystemDebugObject::setRebootFlag(bool on) const {
    const std::string file = flagPath(kRebootFile);
    logger_function(7, kModule, "SystemDebugObject::setRebootFlag %s filename = %s", on ? "true" : "false",
                    file.c_str());
    setMarker(file, on);
}

bool SystemDebugObject::getRebootFlag() const {
    const std::string file = flagPath(kRebootFile);
    logger_function(7, kModule, "SystemDebugObject::getRebootFlag filename = %s", file.c_str());
    return FileOps::existFile(file.c_str());
}

void SystemDebugObject::setWatchdogFlag(bool on) const {
    const std::string file = flagPath(kWatchdogFile);
    logger_function(7, kModule, "SystemDebugObject::setWatchdogFlag %s wd_filename = %s",
                    on ? "true" : "false", file.c_str());
    setMarker(file, on);
}

// The directory is not part of every unit's image. It is made by hand, for its owner alone to write: a daemon has no
// umask, and nobody else decides whether the unit may reboot.
void SystemDebugObject::setMarker(const std::string& file, bool on) const {
    if (on) {
        mkdir(m_flag_directory.c_str(), 0755);
    }
    set_marker(file, on);
}

bool SystemDebugObject::getWatchdogFlag() const {
    const std::string file = flagPath(kWatchdogFile);
    logger_function(7, kModule, "SystemDebugObject::getWatchdogFlag filename = %s", file.c_str());
    return FileOps::existFile(file.c_str());
}

bool SystemDebugObject::validateJsonUpdateParams(const cJSON* body) {
    char* text = nullptr;
    bool on = false;
    return CjsonValidate::getAttributeString(body, kRequestName, &text) == CjsonValidate::kValid ||
           CjsonValidate::getAttributeBoolean(body, kRebootName, &on) == CjsonValidate::kValid ||
           CjsonValidate::getAttributeBoolean(body, kWatchdogName, &on) == CjsonValidate::kValid;
}

// A report comes first: switches beside its request are passed over, and clients send one thing at a time.
StatusCode::Value SystemDebugObject::applyUpdate(const cJSON* body) {
    if (!validateJsonUpdateParams(body)) {
        return StatusCode::kBadRequest;
    }
    const bool wants_report =
        CjsonValidate::validateAttributeString(body, kRequestName, kMakeReport) == CjsonValidate::kValid;
    return wants_report ? startReport() : setSwitches(body);
}

StatusCode::Value SystemDebugObject::startReport() {
    const cJSON* const current = cJSON_GetObjectItemCaseSensitive(m_json.get(), kRequestName);
    const char* const content = cJSON_GetStringValue(current);
    logger_function(7, kModule, "Init Diag Report: m_json ptr = %p, objectstring = %p, content = %s ",
                    static_cast<const void*>(m_json.get()), static_cast<const void*>(current),
                    content == nullptr ? "(null)" : content);
    if (CjsonValidate::validateAttributeString(m_json.get(), kRequestName, kReady) != CjsonValidate::kValid) {
        return StatusCode::kBadRequest;
    }
    initSysmonDiagnosticReport();
    // Lines of a request name the controller that this object once was: filters of logs know them so.
    logger_function(7, kModule, "SystemDebugController::update->RESPOND OK");
    return StatusCode::kOk;
}

// A failed write goes unnoticed: a report has begun only when the database says so, and clients wait for that.
void SystemDebugObject::initSysmonDiagnosticReport() {
    logger_function(7, kModule, "initDiagnosticReport workdir=%s ", kReportDirectory);
    static_cast<void>(config_write_string(kReportKey, kReportDirectory));
}

StatusCode::Value SystemDebugObject::setSwitches(const cJSON* body) {
    bool on = false;
    bool sets_any = false;
    if (CjsonValidate::getAttributeBoolean(body, kRebootName, &on) == CjsonValidate::kValid) {
        logger_function(7, kModule, "SystemDebugController::update->prevent_reboot");
        setRebootFlag(on);
        sets_any = true;
    }
    if (CjsonValidate::getAttributeBoolean(body, kWatchdogName, &on) == CjsonValidate::kValid) {
        logger_function(7, kModule, "SystemDebugController::update->setWatchdogFlag");
        setWatchdogFlag(on);
        sets_any = true;
    }
    if (!sets_any) {
        logger_function(3, kModule, "updateOperation SET BAD REQUEST ");
        return StatusCode::kBadRequest;
    }
    logger_function(7, kModule, "SystemDebugController::update->RESPOND OK");
    return StatusCode::kOk;
}

void SystemDebugObject::updateFromConfig(unsigned int count, const config_data_t* data, bool) {
    initOnce();
    std::vector<const char*> changed;
    for (unsigned int i = 0; i < count; ++i) {
        log_debug_entry(data[i]);
        for (const char* name : replaceFromEntry(data[i])) {
            if (std::ranges::find(changed, name) == changed.end()) {
                changed.push_back(name);
            }
        }
    }
    if (!changed.empty()) {
        const int changed_count = static_cast<int>(changed.size());
        logger_function(7, kModule, "SystemDebug notify Updated, attr update count %d", changed_count);
        notifyUpdated(m_json.get(), changed_count, changed.data());
    }
}

std::vector<const char*> SystemDebugObject::replaceFromEntry(const config_data_t& entry) {
    if (entry.value == nullptr) {
        return {};
    }
    if (entry.type != CONFIG_TYPE_STRING) {
        logger_function(3, kModule, "SystemDebug: Unsupported config type : %d",
                        static_cast<int>(entry.type));
        return {};
    }
    const std::string text = config_entry_text(entry);
    const std::string shown = text_for_log(text);
    logger_function(6, kModule, "SystemDebug Replacing string:%s ", shown.c_str());
    if (std::strcmp(entry.key, kReportKey) != 0) {
        return {};
    }
    // The line has always ended in "to ".
    logger_function(7, kModule, "ReplaceItem Attribute %s to %s to ", kReportName, shown.c_str());
    return replaceReport(text);
}

std::vector<const char*> SystemDebugObject::replaceReport(const std::string& state) {
    cJSON* const json = m_json.get();
    if (state == kReportDirectory) {
        const bool had_report = cJSON_IsString(cJSON_GetObjectItemCaseSensitive(json, kReportName)) != 0;
        replace_text(json, kRequestName, kMakeReport);
        json_replace(json, kReportName, JsonPtr(cJSON_CreateNull()));
        return had_report ? std::vector{kRequestName, kReportName} : std::vector{kRequestName};
    }
    if (state == kReportDone) {
        char report[kReportPathSize];
        getDiagFilename(report, sizeof report);
        replace_text(json, kRequestName, kReady);
        replace_text(json, kReportName, report);
    } else {
        // The request stands: no other report is made until this one's maker says that it is done.
        replace_text(json, kReportName, kReportFailed);
    }
    return {kRequestName, kReportName};
}

void SystemDebugObject::getDiagFilename(char* out, int size) {
    px_snprintf(out, static_cast<std::size_t>(std::max(size, 0)), "%s%s", kReportDirectory, kReportFile);
}

bool SystemDebugObject::existDiagnosticFilename(const char* path) {
    return FileOps::existFile(path);
}
