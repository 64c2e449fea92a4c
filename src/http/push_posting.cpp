// SPDX-License-Identifier: MIT

#include "src/http/push_posting.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string_view>
#include <utility>

#include "runtime/logging.h"
#include "src/base/json_helpers.h"
#include "src/http/HabConfig.h"
#include "src/http/md5.h"

namespace {

constexpr const char* kModule = "src/habhelper";
constexpr std::size_t kHeaderSize = 300;
constexpr std::size_t kAnswerSize = 500;
constexpr std::size_t kMaxLastModified = 28;

void post_to_clients(const cJSON* update) {
    char url[kPushUrlSize];
    // A path that is cut here does not fit into the header either, so it is never posted to.
    static_cast<void>(push_target_path(url, sizeof url));
    push_post_json(url, update);
}

UniqueFd connection_to(const char* host, int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    // Cut to 16 bits, a port that is none would be somebody else's: -1 stands for "no HTTP" in the configuration.
    if (port < 1 || port > UINT16_MAX || inet_pton(AF_INET, host, &address.sin_addr) != 1) {
        logger_function(3, kModule, "No address to post to: %s:%d", host, port);
        return {};
    }
    UniqueFd fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!fd.valid() || connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        logger_function(3, kModule, "No connection to %s:%d: %s", host, port, std::strerror(errno));
        return {};
    }
    return fd;
}

// The header of the post, empty when it does not fit. One that is cut would make the server take the body for more
// of the header.
std::string post_header(const char* path, const char* host, std::string_view body, const std::string& now) {
    // Location and channel are whatever the configuration says.
    if (std::strpbrk(path, "\r\n") != nullptr) {
        logger_function(3, kModule, "Not posting to a path with line ends");
        return {};
    }
    const std::string etag = md5_hex(body);
    const std::string last_modified = now.substr(0, std::min(now.find('\n'), kMaxLastModified));
    logger_function(7, kModule, "generated Etag: %s", etag.c_str());
    logger_function(7, kModule, "Last-Modified: %s", last_modified.c_str());

    char header[kHeaderSize];
    const int n =
        std::snprintf(header, sizeof header,
                      "POST %s HTTP/1.1\r\nHost: %s\r\nContent-Length: %d\r\nConnection: close\r\n"
                      "Last-Modified: %s\r\nEtag: %s\r\nContent-Type: application/json\r\n\r\n",
                      path, host, static_cast<int>(body.size()), last_modified.c_str(), etag.c_str());
    if (n < 0 || static_cast<std::size_t>(n) >= sizeof header) {
        logger_function(3, kModule, "Header of %d bytes does not fit, not posting to %s", n, path);
        return {};
    }
    return header;
}

[[nodiscard]] bool send_whole(int fd, std::string_view bytes) {
    ssize_t sent = 0;
    do {
        sent = send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    if (sent != static_cast<ssize_t>(bytes.size())) {
        logger_function(3, kModule, "Sent %zd of %zu bytes", sent, bytes.size());
        return false;
    }
    return true;
}

// Waiting for the answer is what matters: without it the server would answer a connection that is gone.
void receive_answer(int fd) {
    char answer[kAnswerSize];
    ssize_t received = 0;
    do {
        received = recv(fd, answer, sizeof answer - 1, 0);
    } while (received < 0 && errno == EINTR);
    answer[received > 0 ? received : 0] = '\0';

    int status = 0;
    static_cast<void>(std::sscanf(answer, "HTTP/%*9d.%*9d %9d %*s", &status));
    logger_function(7, kModule, "HTTP statuscode: %d", status);
}

}  // namespace

void setValue(const char* key, char* value) {
    setValue(key, cJSON_CreateString(value));
}

void setValue(const char* key, cJSON* value) {
    JsonPtr owned(value);
    const JsonPtr update(cJSON_CreateObject());
    cJSON* settings = cJSON_AddObjectToObject(update.get(), "settings-update");
    cJSON_AddStringToObject(settings, "system.time", push_local_time_text().c_str());
    if (json_add(settings, key, std::move(owned))) {
        post_to_clients(update.get());
    }
}

void publishUpdate(const char* key, const char* value) {
    publish(key, cJSON_CreateString(value));
}

void publish(const char* key, cJSON* value) {
    JsonPtr owned(value);
    const JsonPtr update(cJSON_CreateObject());
    if (json_add(update.get(), key, std::move(owned))) {
        post_to_clients(update.get());
    }
}

void showFlashMessage(const char*, const char* type, const char* message) {
    if (message == nullptr) {
        return;
    }
    const JsonPtr update(cJSON_CreateObject());
    cJSON* flash = cJSON_AddObjectToObject(update.get(), "flash-message");
    cJSON_AddStringToObject(flash, "message", message);
    cJSON_AddStringToObject(flash, "type", type != nullptr ? type : "message");
    post_to_clients(update.get());
}

void navigationNotification(const char*, const char* type, const char* message, const char* endPage,
                            const char* tempPage, int waitPeriod) {
    if (message == nullptr) {
        return;
    }
    const JsonPtr update(cJSON_CreateObject());
    cJSON* notification = cJSON_AddObjectToObject(update.get(), "notification");
    cJSON_AddStringToObject(notification, "message", message);
    cJSON_AddStringToObject(notification, "type", type != nullptr ? type : "notification");
    if (waitPeriod > 0) {
        cJSON_AddNumberToObject(notification, "waitPeriod", waitPeriod);
    }
    if (tempPage != nullptr) {
        cJSON_AddStringToObject(notification, "tempPage", tempPage);
    }
    if (endPage != nullptr) {
        cJSON_AddStringToObject(notification, "endPage", endPage);
    }
    post_to_clients(update.get());
}

int doHTTPPost(const char* host, int port, const char* path, const char* body) {
    const std::string now = push_local_time_text();
    const UniqueFd fd = connection_to(host, port);
    if (!fd.valid()) {
        return -1;
    }
    const std::string header = post_header(path, host, body, now);
    if (header.empty() || !send_whole(fd.get(), header) || !send_whole(fd.get(), body)) {
        return -1;
    }
    receive_answer(fd.get());
    return 0;
}

int push_target_path(char* url, std::size_t size) {
    const HabConfig* config = HabConfig::getInstance();
    return std::snprintf(url, size, "/%s?channel=%s", config->getPushLocation(), config->getPushChannelId());
}

int push_post_json(const char* url, const cJSON* update) {
    const JsonText body(cJSON_PrintUnformatted(update));
    if (body == nullptr) {
        logger_function(3, kModule, "No memory for a post to %s", url);
        return -1;
    }
    return doHTTPPost(kPushHost, HabConfig::getInstance()->getHttpPort(), url, body.get());
}

// Unlike ctime(), whose buffer all threads share.
std::string push_local_time_text() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    char text[26];
    if (localtime_r(&now, &local) == nullptr || asctime_r(&local, text) == nullptr) {
        return {};
    }
    return text;
}
