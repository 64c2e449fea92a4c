// SPDX-License-Identifier: MIT

#include "events/EventRecord.h"

#include <cstring>

namespace {

constexpr const char* kSeverityTexts[] = {"INFO", "WARNING", "ERROR", "FATAL"};
constexpr const char* kStateTexts[] = {"OFF", "ON", "NONE"};
constexpr uint32_t kFirstState = 1;

template <size_t Count>
const char* text_at(const char* const (&texts)[Count], uint32_t index) {
    return index < Count ? texts[index] : "";
}

}  // namespace

const EventRecord::Text& EventRecord::defaultText() {
    // Never destroyed: a signal may end the process in the middle of anything, an allocation included.
    static const Text& text = *new Text(std::make_shared<const std::string>("No user text"));
    return text;
}

const char* EventRecord::getText(const char* language, const char* /*unused*/) const {
    return has_text && language != nullptr && std::strcmp(language, "en") == 0 ? text->c_str() : "";
}

const char* EventRecord::getShortText() const {
    return has_short_text ? short_text->c_str() : "";
}

const char* EventRecord::getSeverityText(const char* /*language*/) const {
    return text_at(kSeverityTexts, severity);
}

const char* EventRecord::getStateText(const char* /*language*/) const {
    // State 0 wraps to a number far beyond the table.
    return text_at(kStateTexts, state - kFirstState);
}
