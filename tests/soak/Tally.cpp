// SPDX-License-Identifier: MIT

#include "Tally.h"

#include <cstdio>

namespace {

constexpr long kMaxReported = 20;
constexpr size_t kMaxShown = 300;  // of one text

std::string shown(const std::string& text) {
    return text.size() <= kMaxShown ? text : text.substr(0, kMaxShown) + "...";
}

}  // namespace

void Tally::countRequest(const std::string& kind) {
    const std::scoped_lock lock(m_lock);
    ++m_requests[kind];
}

void Tally::countError(const std::string& kind, const std::string& text) {
    ++m_errors;
    report(kind, "error", text);
}

void Tally::countLost(const std::string& kind, long count, const std::string& text) {
    m_lost += count;
    report(kind, "lost", text);
}

void Tally::countDoubled(const std::string& kind, const std::string& text) {
    ++m_doubled;
    report(kind, "doubled", text);
}

bool Tally::check(const std::string& kind, const std::string& expected, const std::string& came) {
    countRequest(kind);
    if (came != expected) {
        countError(kind, "expected " + shown(expected) + ", came " + shown(came));
    }
    return came == expected;
}

long Tally::requests() const {
    const std::scoped_lock lock(m_lock);
    long sum = 0;
    for (const auto& [kind, count] : m_requests) {
        sum += count;
    }
    return sum;
}

void Tally::print() const {
    for (const auto& [kind, count] : m_requests) {
        std::printf("  %-24s %10ld\n", kind.c_str(), count);
    }
    std::printf("requests %ld, errors %ld; notifications %ld, lost %ld, doubled %ld\n", requests(),
                m_errors.load(), m_notified.load(), m_lost.load(), m_doubled.load());
}

void Tally::report(const std::string& kind, const char* what, const std::string& text) {
    const std::scoped_lock lock(m_lock);
    if (++m_reported <= kMaxReported) {
        std::fprintf(stderr, "soak: %s: %s: %s\n", kind.c_str(), what, text.c_str());
    }
}
