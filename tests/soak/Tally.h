// SPDX-License-Identifier: MIT

#pragma once

#include <atomic>
#include <map>
#include <mutex>
#include <string>

// Tally: what the loads have asked for, and what was wrong with the answers. The first errors are printed as they
//   happen, with what was expected and what came; the others are counted.
// Threads: any.
class Tally {
  public:
    void countRequest(const std::string& kind);
    void countError(const std::string& kind, const std::string& text);
    // Notifications that did not come, or came once more than the change behind them was made.
    void countNotified() { ++m_notified; }
    void countLost(const std::string& kind, long count, const std::string& text);
    void countDoubled(const std::string& kind, const std::string& text);
    // Counts one request of that kind, and an error when what came is not what was expected.
    bool check(const std::string& kind, const std::string& expected, const std::string& came);

    [[nodiscard]] bool isClean() const { return m_errors == 0 && m_lost == 0 && m_doubled == 0; }
    [[nodiscard]] long requests() const;
    [[nodiscard]] long lost() const { return m_lost; }
    [[nodiscard]] long doubled() const { return m_doubled; }
    void print() const;

  private:
    void report(const std::string& kind, const char* what, const std::string& text);

    mutable std::mutex m_lock;
    std::map<std::string, long> m_requests;
    long m_reported = 0;
    std::atomic<long> m_errors = 0;
    std::atomic<long> m_notified = 0;
    std::atomic<long> m_lost = 0;
    std::atomic<long> m_doubled = 0;
};
