// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "config_client/config_client_api.h"

// WriteCallback: hears what a ConfigWriter wrote. The data is valid during the call.
class WriteCallback {
  public:
    virtual void onConfigWritten(unsigned int count, const config_data_t* data) = 0;
    virtual ~WriteCallback() = default;
};

// ConfigWriter: gathers configuration keys with their new values and writes them in one message.
// Owns:    the keys.
// Borrows: the values; they are read by write() and have to live until then.
class ConfigWriter {
  public:
    // The key is printed from the format. A null value deletes nothing: it writes a string of length 0.
    void putString(const char* value, const char* format, ...) __attribute__((format(printf, 3, 4)));
    void putInt(int* value, const char* format, ...) __attribute__((format(printf, 3, 4)));

    [[nodiscard]] std::size_t getSize() const { return m_items.size(); }

    // Sends the items in the order in which they were put and, when that succeeded, tells the callback (null
    // for none). Answers the result of config_writev(), or CONFIG_MISMATCH, and nothing is sent, for a value that is
    // longer than the database takes. The items stay.
    [[nodiscard]] int write(WriteCallback* callback);

  private:
    struct Item {
        std::string key;
        const void* value;
        std::uint32_t type;
        std::uint32_t length;
    };

    std::vector<Item> m_items;
};
