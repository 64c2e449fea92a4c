// SPDX-License-Identifier: MIT

#include "device/diagd/Report.h"

#include <cstring>
#include <utility>

void Report::add(std::string name, std::string text) {
    if (text.size() > m_bytes_left) {
        text.resize(m_bytes_left);
        note(name, "cut, the report is full");
    }
    m_bytes_left -= text.size();
    m_entries.push_back({std::move(name), std::move(text)});
}

void Report::add_file(const std::string& name, const std::string& path, size_t max_bytes, FilePart part) {
    BoundedFile file = bounded_file_read(path, max_bytes, part);
    if (file.error != 0) {
        note(name, path + " cannot be read: " + strerror(file.error));
        return;
    }
    if (file.is_cut) {
        note(name, part == FilePart::kTail ? "the end of " + path : "the beginning of " + path);
    }
    add(name, std::move(file.text));
}

void Report::note(std::string_view name, std::string_view text) {
    if (m_note_count == kMaxNotes) {
        return;
    }
    ++m_note_count;
    m_notes.append(name).append(": ").append(text).append("\n");
}
