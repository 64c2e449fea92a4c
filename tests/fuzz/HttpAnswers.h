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
    bool lacks_body = false;  // the one that it announces

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
    explicit HttpAnswers(std::string_view received) : m_rest(received) {}

    // None at the end.
    std::optional<HttpAnswer> next() {
        if (m_rest.empty()) {
            return std::nullopt;
        }
        HttpAnswer answer;
        answer.status_line = take_line();
        check_status_line(answer.status_line);
        for (std::string_view line = take_line(); !line.empty(); line = take_line()) {
            check_header(line);
            answer.headers.push_back(line);
        }
        take_body(answer);
        return answer;
    }

  private:
    static bool is_digit(char c) { return c >= '0' && c <= '9'; }

    std::string_view take_line() {
        const size_t end = m_rest.find("\r\n");
        fuzz_check(end != std::string_view::npos);
        const std::string_view line = m_rest.substr(0, end);
        fuzz_check(line.find_first_of(std::string_view("\r\n\0", 3)) == std::string_view::npos);
        m_rest.remove_prefix(end + 2);
        return line;
    }

    // "HTTP/1.1 200 OK"
    static void check_status_line(std::string_view line) {
        fuzz_check(line.size() >= 13 && line.starts_with("HTTP/") && is_digit(line[5]) && line[6] == '.' &&
                   is_digit(line[7]) && line[8] == ' ' && line[9] >= '1' && line[9] <= '5' &&
                   is_digit(line[10]) && is_digit(line[11]) && line[12] == ' ');
    }

    static void check_header(std::string_view line) {
        const std::string_view name = line.substr(0, line.find(": "));
        const auto is_visible = [](char c) { return c > ' ' && c < 0x7f && c != ':'; };
        fuzz_check(!name.empty() && name.size() < line.size() && std::ranges::all_of(name, is_visible));
    }

    void take_body(HttpAnswer& answer) {
        const std::string_view code = answer.status_line.substr(9, 3);
        if (code[0] == '1' || code == "204" || code == "304") {
            return;
        }
        const bool is_chunked = answer.header("Transfer-Encoding") == "chunked";
        const std::string length(answer.header("Content-Length"));
        // An answer to HEAD: the next one follows at once.
        if (m_rest.starts_with("HTTP/") || (m_rest.empty() && (is_chunked || !length.empty()))) {
            answer.lacks_body = is_chunked || std::strtoul(length.c_str(), nullptr, 10) > 0;
        } else if (is_chunked) {
            take_chunks();
        } else if (!length.empty()) {
            const size_t size = std::strtoul(length.c_str(), nullptr, 10);
            fuzz_check(size <= m_rest.size());
            m_rest.remove_prefix(size);
        } else {
            m_rest = {};  // up to the end of the connection
        }
    }

    void take_chunks() {
        for (size_t size = 1; size > 0;) {
            size = std::strtoul(std::string(take_line()).c_str(), nullptr, 16);
            fuzz_check(size + 2 <= m_rest.size() && m_rest.substr(size, 2) == "\r\n");
            m_rest.remove_prefix(size + 2);
        }
    }

    std::string_view m_rest;
};
