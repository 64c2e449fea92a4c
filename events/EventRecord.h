// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <memory>
#include <string>

// EventRecord: one event of the unit's list as this process holds it, with the texts that are shown for it.
// Owns:   its texts, shared with its copies: a copy costs no allocation and outlives the store it came from.
// Errors: severity and state come from another process and may be anything; a value without a name reads as "".
// Units:  on_time and ev_time in seconds; who shows them adds time_offset.
struct EventRecord {
    using Text = std::shared_ptr<const std::string>;

    uint32_t ev_id = 0;
    uint32_t severity = 0;
    Text short_text;       // null when there is none
    uint32_t text_id = 0;  // the event that `text` belongs to, 0 when it is the default
    Text text = EventRecord::defaultText();
    uint32_t creation_id = 0;  // ev_id when the record was made
    uint16_t source = 0;
    uint16_t subsource = 0;
    uint32_t info = 0;
    uint32_t state = 0;
    uint32_t extra = 0;
    uint32_t on_time = 0;
    uint32_t ev_time = 0;
    int32_t time_offset = 0;  // 0 in the store, set in the copies of an iterator
    bool has_text = false;
    bool has_short_text = false;

    // The user text; "" when it was not found or the language is not "en", the only one that is stored. The second
    // argument is not used. Valid as long as the record.
    [[nodiscard]] const char* getText(const char* language, const char* unused) const;
    [[nodiscard]] const char* getShortText() const;  // "" when it was not found

    // The language is not used: these names are not translated.
    [[nodiscard]] const char* getSeverityText(const char* language) const;
    [[nodiscard]] const char* getStateText(const char* language) const;

    // "No user text", one for all records.
    static const Text& defaultText();
};
