// SPDX-License-Identifier: MIT

#pragma once

#include <cjson/cJSON.h>

#include <cstdint>
#include <string>

#include "tools/common/Paint.h"

// A notification on one line, safe to print; empty for a message that tells no kind or no path. The time is the wall
// clock's, in microseconds.

// "2026-11-21T14:03:05.042 Updated /system/status {...}": local time, kind of change, path and, when the notification
// carries some, data.
[[nodiscard]] std::string notification_text(const cJSON& message, std::uint64_t time_us, const Paint& paint);

// {"time":"...","event":"Updated","path":"/system/status","data":{...}}, data as above.
[[nodiscard]] std::string notification_json(const cJSON& message, std::uint64_t time_us);
