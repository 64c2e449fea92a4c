// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <string>

struct cJSON;

// Updates for the web clients, posted to the push endpoint of this process's own HTTP server, as a producer outside
// of the process would do it.
// Threads: any but the one that runs the server's loop: a call blocks until the server has answered, however long
//          that takes, and the server could not answer.
// Errors:  what cannot be posted is lost, with a log line. A null value, or a null message, posts nothing.
// Needs the process's configuration (HabConfig).

// {"settings-update": {"system.time": now, key: value}}. A cJSON value passes to the function in every case.
void setValue(const char* key, char* value);
void setValue(const char* key, cJSON* value);

// {key: value}. A cJSON value passes to the function in every case.
void publishUpdate(const char* key, const char* value);
void publish(const char* key, cJSON* value);

// A null type is "message". The first argument has no meaning.
void showFlashMessage(const char*, const char* type, const char* message);

// A null type is "notification". A null page, and a period (in seconds, for the client) of 0 or less, leave their
// member out. The first argument has no meaning.
void navigationNotification(const char*, const char* type, const char* message, const char* endPage,
                            const char* tempPage, int waitPeriod);

// Posts the body, JSON text, and waits for the answer: 0 whatever it is, also when there is none. -1, and a log
// line: no connection, a header of more than 299 bytes, or not everything sent.
// `host` is a dotted IPv4 address.
int doHTTPPost(const char* host, int port, const char* path, const char* body);

// What the functions above are made of.

inline constexpr const char* kPushHost = "127.0.0.1";
inline constexpr std::size_t kPushUrlSize = 256;

// Writes the path and query of the push endpoint, cut to size - 1 characters. Answers the length of the whole.
[[nodiscard]] int push_target_path(char* url, std::size_t size);
// Posts the object to `url` of the own server: what doHTTPPost() answers.
int push_post_json(const char* url, const cJSON* update);
// "Thu Jan  1 00:00:00 1970\n", in local time.
[[nodiscard]] std::string push_local_time_text();
