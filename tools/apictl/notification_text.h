#pragma once

#include <cjson/cJSON.h>

#include <string>

#include "runtime/px_time.h"

// "2026-11-21T14:03:05.042 Updated /system/status {...}": local time, kind of change, path and, when the notification
// carries some, data on the same line; safe to print. Empty for a message that tells no kind or no path.
[[nodiscard]] std::string notification_text(const cJSON& message, const px_tvms_t& time);
