// SPDX-License-Identifier: MIT

#pragma once

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz_check.h"

struct HttpAnswer {
    std::string_view status_line;
    std::vector<std::string_view> headers;

    // The value of the header, empty without one.
    [[nodiscard]] std::string_view header(std::string_view name) const {
        for (const std::string_view line : headers) {
            if (line.starts_with(name) && line.substr(name.size()).starts_with(": ")) {
                return line.substr(name.size() + 2);
            }
        }
        return {};
    }
    // The value of the cookie that it sets, empty when it does not.
    [[nodiscard]] std::string cookie(const std::string& name) const {
        for (const std::string_view line : headers) {
            if (line.starts_with("Set-Cookie: " + name + "=")) {
                const std::string_view value = line.substr(line.find('=') + 1);
                return std::string(value.substr(0, value.find(';')));
            }
        }
        return {};
    }
};

// HttpAnswers: cuts what a server has sent into answers, and stops where one is not well-formed. Only a body that
// begins like a status line is beyond it.
class HttpAnswers {
  public:
    // With `has_head` answers without the body that they announce are those to HEAD.
    HttpAnswers(std::string_view received, bool has_head) : m_rest(received), m_has_head(has_head) {}

    // None at the end, and when the rest is not a whole answer.
    std::optional<HttpAnswer> next() {
        HttpAnswer answer;
        const std::string_view from = m_rest;
        if (m_rest.empty() || !take_head(answer) || !take_body(answer)) {
            m_rest = from;
            return std::nullopt;
        }
        return answer;
    }
    [[nodiscard]] bool is_at_end() const { return m_rest.empty(); }

  private:
    static bool is_digit(char c) { return c >= '0' && c <= '9'; }

    bool take_line(std::string_view& line) {
        const size_t end = m_rest.find("\r\n");
        if (end == std::string_view::npos) {
            return false;
        }
        line = m_rest.substr(0, end);
        fuzz_check(line.find_first_of(std::string_view("\r\n\0", 3)) == std::string_view::npos);
        m_rest.remove_prefix(end + 2);
        return true;
    }

    bool take_bytes(size_t size) {
        const bool are_there = size <= m_rest.size();
        m_rest.remove_prefix(are_there ? size : 0);
        return are_there;
    }

    bool take_head(HttpAnswer& answer) {
        if (!take_line(answer.status_line)) {
            return false;
        }
        check_status_line(answer.status_line);
        std::string_view line;
        while (take_line(line)) {
            if (line.empty()) {
                return true;
            }
            check_header(line);
            answer.headers.push_back(line);
        }
        return false;
    }

    // "HTTP/1.1 200 OK"
    static void check_status_line(std::string_view line) {
        fuzz_check(line.size() >= 13 && (line.starts_with("HTTP/1.1 ") || line.starts_with("HTTP/1.0 ")) &&
                   line[9] >= '1' && line[9] <= '5' && is_digit(line[10]) && is_digit(line[11]) &&
                   line[12] == ' ');
    }

    // Any other name is one that a client has brought in: the server sends no more.
    static void check_header(std::string_view line) {
        static constexpr std::string_view kNames[] = {
            "Connection",    "Content-Length", "Content-Type",      "Content-type",      "Date", "Etag",
            "Last-Modified", "Set-Cookie",     "Transfer-Encoding", "X-Server-instance", "X-Uri"};
        const std::string_view name = line.substr(0, line.find(": "));
        fuzz_check(name.size() < line.size() && std::ranges::find(kNames, name) != std::end(kNames));
    }

    bool take_body(const HttpAnswer& answer) {
        const std::string_view code = answer.status_line.substr(9, 3);
        const bool is_chunked = answer.header("Transfer-Encoding") == "chunked";
        const std::string length(answer.header("Content-Length"));
        // Behind an answer to HEAD the next one follows at once.
        const bool is_to_head = m_has_head && (m_rest.empty() || m_rest.starts_with("HTTP/"));
        if (code[0] == '1' || code == "204" || code == "304" || is_to_head) {
            return true;
        }
        if (is_chunked) {
            return take_chunks();
        }
        // Without a length it goes on to the end of the connection.
        return take_bytes(length.empty() ? m_rest.size() : std::strtoul(length.c_str(), nullptr, 10));
    }

    bool take_chunks() {
        std::string_view line;
        while (take_line(line)) {
            const size_t size = std::strtoul(std::string(line).c_str(), nullptr, 16);
            if (!take_bytes(size) || !take_line(line)) {
                return false;
            }
            fuzz_check(line.empty());
            if (size == 0) {
                return true;
            }
        }
        return false;
    }

    std::string_view m_rest;
    bool m_has_head;
};
