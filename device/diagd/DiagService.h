// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "device/diagd/ReportFile.h"
#include "device/diagd/ReportJob.h"

struct _fdloop_t;
struct _fdloop_timer_t;
struct config_data_t;

// DiagService: makes a report whenever "ram.diag.save" is set to kRequest, and sets the key to kDone or to an error
//   text when it is made. A request that stands there at the start is served as well, and so is an error: whoever
//   asked still waits. One that comes while a report is being made is served by that one.
// Borrows: the loop, which outlives it; the configuration client is set up.
// Threads: loop thread only.
// Blocks:  the constructor and each request while the database is asked; the rest is done by a child process.
// Errors:  a report is there completely, or the one before it stays and the key tells why. Who asked may not ask again
//          before the key says kDone: a result that the database does not take is written again every second, and a
//          report that failed is tried again after `retry_s` until it succeeds.
class DiagService {
  public:
    static constexpr const char* kKey = "ram.diag.save";
    // The words between this program and who asks: the value says where the report will lie on a unit, and is the same
    // with another directory.
    static constexpr const char* kRequest = "/tmp/";
    static constexpr const char* kDone = "OK";

    DiagService(_fdloop_t* loop, std::string directory, unsigned retry_s);
    DiagService(const DiagService&) = delete;
    DiagService& operator=(const DiagService&) = delete;
    ~DiagService();

  private:
    static void on_change(unsigned int count, const config_data_t* elements, void* self) noexcept;

    void handle_request();
    void make_report();
    [[nodiscard]] std::string start_report();
    void after_report(const std::string& error);
    void publish(const std::string& error);
    [[nodiscard]] bool write_result();
    void try_again();
    void wait(uint32_t ms);
    static void on_wait_over(void* self, int, _fdloop_timer_t*) noexcept;

    _fdloop_t* m_loop;
    std::string m_directory;
    uint32_t m_retry_ms;
    std::unique_ptr<ReportFile> m_file;  // as m_job
    std::unique_ptr<ReportJob> m_job;    // null while no report is being made
    std::string m_unwritten;             // what the key does not say yet, "" for nothing
    bool m_has_failed = false;           // the last report
    _fdloop_timer_t* m_wait = nullptr;   // until the result is written or the report made once more
};
