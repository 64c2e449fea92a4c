// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

struct cJSON;
struct evhttp_request;

inline constexpr int kMaxPieces = 127;  // what split() cuts at most

// Functions that several modules of the front end share. They hold no state and, where nothing else is said, may run on
// any thread.

// The parsed file; the caller deletes it. Null, and a log line, when it cannot be read or is no JSON. The second
// argument has no meaning.
cJSON* loadJsonFile(char* path, bool);

// Turns "%41" into "A", leaves "+" and a "%" without two hexadecimal digits as they are, and answers the length of
// the output, which may hold a decoded NUL. At most `max` bytes are stored and a terminator behind them: `dst` has
// room for max + 1. `dst` may be `src`.
int decodeURIComponent(const char* src, char* dst, unsigned int max);

// Drops blanks, double quotes and semicolons and a "/" at the end, in place. The string keeps its length and the
// tail behind the part that moved up. Answers that length.
int normalizeString(char* s);

// Cuts `s` in place at every character of `delim` and puts up to kMaxPieces pieces and a null behind them into
// `out`, which has room for one more; a string without pieces leaves `out` as it is. The third argument has
// no meaning. Answers `out`.
char** split(char** out, char* s, const char*, const char* delim);

// The text itself; "" for null.
inline const char* orEmpty(const char* text) {
    return text != nullptr ? text : "";
}

// The other end of a request's connection, which the host's text belongs to. No host without a request (null), or when
// the connection is gone. Loop thread only.
struct HttpPeer {
    const char* host = nullptr;
    std::uint16_t port = 0;
};
HttpPeer http_peer(evhttp_request* request);
