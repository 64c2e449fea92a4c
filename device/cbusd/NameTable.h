// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "device/cbusd/client_id.h"

// NameTable: which clients hold which texts; the broker keeps one for filters and one for the names that are served.
// A text that a client adds twice is held until it is removed twice.
// Errors: add() answers false when the text is longer than kMaxTextBytes or the client holds kMaxTextsPerClient
//         others; nothing is added then.
// Cost:   a lookup hashes the name once for each length of text in the table (at most kMaxTextBytes + 1 times),
//         however many texts there are.
class NameTable {
  public:
    static constexpr size_t kMaxTextBytes = 511;
    static constexpr size_t kMaxTextsPerClient = 1024;

    [[nodiscard]] bool add(std::string_view text, ClientId client);
    // A text that the client does not hold is no error.
    void remove(std::string_view text, ClientId client);
    void remove_client(ClientId client);

    // Every client that holds a text with which the name begins, each once, in ascending order.
    [[nodiscard]] std::vector<ClientId> holders_of_beginning(std::string_view name) const;
    // Who holds the longest text that the name equals or continues with a "."; of several the one that came first.
    [[nodiscard]] std::optional<ClientId> first_holder_of_path(std::string_view name) const;

    // For a report, in the order of the texts; the texts live until the table changes.
    struct Held {
        std::string_view text;
        std::vector<ClientId> holders;  // in order of arrival
    };
    [[nodiscard]] std::vector<std::string_view> texts_of(ClientId client) const;
    [[nodiscard]] std::vector<Held> all() const;

  private:
    struct TextHash {
        using is_transparent = void;
        size_t operator()(std::string_view text) const { return std::hash<std::string_view>{}(text); }
    };
    template <class Value>
    using ByText = std::unordered_map<std::string, Value, TextHash, std::equal_to<>>;

    void release(const std::string& text, ClientId client);

    std::unordered_map<ClientId, ByText<size_t>> m_by_client;  // text -> times that it was added
    ByText<std::vector<ClientId>> m_holders;                   // in order of arrival, never empty
    std::map<size_t, size_t, std::greater<>> m_lengths;        // length -> texts in m_holders, longest first
};
