// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "device/diagd/bounded_file.h"

struct ReportEntry {
    std::string name;  // a path inside the report
    std::string text;
};

// Report: what has been collected, and notes about what could not be.
// Threads: one.
// Errors:  none: what does not fit or cannot be read becomes a note.
// Units:   bytes, before compression.
class Report {
  public:
    // Holds every source at its usual size; a report has to fit into the memory that /tmp is made of.
    static constexpr size_t kMaxBytes = size_t{8} << 20;
    static constexpr size_t kMaxNotes = 1000;

    explicit Report(size_t max_bytes = kMaxBytes) : m_bytes_left(max_bytes) {}

    void add(std::string name, std::string text);
    void add_file(const std::string& name, const std::string& path, size_t max_bytes, FilePart part);
    void note(std::string_view name, std::string_view text);

    [[nodiscard]] const std::vector<ReportEntry>& entries() const { return m_entries; }
    // One line per note: "NAME: TEXT".
    [[nodiscard]] const std::string& notes() const { return m_notes; }

  private:
    size_t m_bytes_left;
    std::vector<ReportEntry> m_entries;
    size_t m_note_count = 0;
    std::string m_notes;
};
