// SPDX-License-Identifier: MIT

#include "device/diagd/DiagService.h"

#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <utility>

#include "config_client/config_client_api.h"
#include "device/diagd/Report.h"
#include "device/diagd/config_trees.h"
#include "device/diagd/process_list.h"
#include "device/diagd/report_archive.h"
#include "device/diagd/unit_state.h"
#include "runtime/fdloop_libevent.h"
#include "runtime/logging.h"

namespace {

constexpr const char* kModule = "diagd";
constexpr uint32_t kWriteAgainMs = 1000;
constexpr const char* kError = "error: ";

// The key also carries our own answers, and the registration is for all keys that begin like it.
bool is_request(const config_data_t& element) {
    const std::string_view key = element.key;
    const std::string_view request = DiagService::kRequest;
    return key == DiagService::kKey && element.type == CONFIG_TYPE_STRING && element.value != nullptr &&
           std::string_view(static_cast<const char*>(element.value),
                            strnlen(static_cast<const char*>(element.value), element.length)) == request;
}

// In the child process.
std::string collect(Report& report, int fd) {
    report_add_processes(report);
    report_add_unit_state(report);
    const std::string error = report_archive_write(fd, report);
    if (error.empty() && fsync(fd) != 0) {
        return std::string("cannot write the archive: ") + strerror(errno);
    }
    return error;
}

}  // namespace

DiagService::DiagService(_fdloop_t* loop, std::string directory, unsigned retry_s)
    : m_loop(loop), m_directory(std::move(directory)), m_retry_ms(retry_s * 1000) {
    ReportFile::remove_leftovers(m_directory);
    config_change_register(kKey, on_change, this);
    char value[512];
    if (config_read_string(kKey, value, sizeof value) == CONFIG_OK &&
        (std::string_view(value) == kRequest || std::string_view(value).starts_with(kError))) {
        make_report();
    }
}

DiagService::~DiagService() {
    wait(0);
    config_change_deregister(kKey, on_change, this);
}

void DiagService::on_change(unsigned int count, const config_data_t* elements, void* self) noexcept {
    for (const config_data_t& element : std::span(elements, count)) {
        if (is_request(element)) {
            static_cast<DiagService*>(self)->handle_request();
        }
    }
}

void DiagService::handle_request() {
    if (m_job != nullptr) {
        logger_function(5, kModule, "a report is being made already");
        return;
    }
    make_report();
}

void DiagService::make_report() {
    logger_function(6, kModule, "making a report");
    wait(0);
    m_unwritten.clear();
    const std::string error = start_report();
    if (!error.empty()) {
        after_report(error);
    }
}

// Answers why it could not.
std::string DiagService::start_report() {
    m_file = ReportFile::create(m_directory);
    if (m_file == nullptr) {
        return "cannot create a file in '" + m_directory + "': " + strerror(errno);
    }
    Report report;
    report_add_title(report);
    report_add_configuration(report);
    const int fd = m_file->fd();
    m_job = ReportJob::start(
        m_loop, {.kept_fd = fd}, [&report, fd] { return collect(report, fd); },
        [this](const std::string& error) { after_report(error); });
    return m_job != nullptr ? "" : std::string("cannot start the collection: ") + strerror(errno);
}

void DiagService::after_report(const std::string& error) {
    m_job.reset();
    std::string result = error;
    if (result.empty() && !m_file->commit()) {
        result = "cannot put the report into '" + m_directory + "': " + strerror(errno);
    }
    m_file.reset();
    publish(result);
}

void DiagService::publish(const std::string& error) {
    m_has_failed = !error.empty();
    if (m_has_failed) {
        logger_function(3, kModule, "no report: %s", error.c_str());
    } else {
        logger_function(6, kModule, "the report is ready");
    }
    m_unwritten = m_has_failed ? kError + error : kDone;
    try_again();
}

// Until the key says what has become of the report, and until that is good.
void DiagService::try_again() {
    if (!write_result()) {
        wait(kWriteAgainMs);
    } else if (m_has_failed) {
        wait(m_retry_ms);
    }
}

bool DiagService::write_result() {
    config_data_t element{CONFIG_TYPE_STRING, kKey, m_unwritten.data(), 0, 0, CONFIG_OK};
    const int result = config_modifyv(nullptr, 1, &element);
    if (result != CONFIG_OK) {
        logger_function(3, kModule, "cannot write %s: %d", kKey, result);
        return false;
    }
    m_unwritten.clear();
    return true;
}

// 0 for no longer.
void DiagService::wait(uint32_t ms) {
    if (m_wait != nullptr) {
        fdloop_timer_del(m_loop, m_wait);
    }
    m_wait = ms > 0 ? fdloop_timer_add(m_loop, ms, on_wait_over, this) : nullptr;
}

void DiagService::on_wait_over(void* self, int, _fdloop_timer_t*) noexcept {
    auto* const service = static_cast<DiagService*>(self);
    service->wait(0);
    if (service->m_unwritten.empty()) {
        service->make_report();
    } else {
        service->try_again();
    }
}
