// SPDX-License-Identifier: MIT

#pragma once

// A status as the broker tells it.
constexpr const char* kStatusText =
    R"({"uptime_s": 12, "clients": [)"
    R"({"id": 1, "pid": 70, "uid": 0, "program": "configd", "filters": ["config.write"], "provides": ["config"],)"
    R"( "queued_bytes": 3, "messages_in": 4, "messages_out": 5},)"
    R"({"id": 2, "pid": 71, "uid": 1000, "program": "web_app", "filters": [], "provides": ["config"],)"
    R"( "queued_bytes": 0, "messages_in": 0, "messages_out": 0}],)"
    R"( "names": [{"name": "config", "provider": 1, "waiting": [2]}],)"
    R"( "counters": {"messages": 9, "signals": 8}})";
