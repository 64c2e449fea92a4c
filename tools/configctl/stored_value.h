#pragma once

#include <cstdint>
#include <optional>
#include <string>

// A value as the database holds it.
struct StoredValue {
    std::uint32_t type = 0;  // CONFIG_TYPE_...
    std::string bytes;       // texts with their NUL, integers as 4 bytes in host order

    bool operator==(const StoredValue&) const = default;
};

struct StoredEntry {
    std::string key;
    StoredValue value;

    bool operator==(const StoredEntry&) const = default;
};

[[nodiscard]] StoredValue stored_text(const std::string& text);
[[nodiscard]] StoredValue stored_int(std::int32_t number);

// The value that a user writes so: text, a decimal integer of 32 bits, hex text for all other types. Nothing when the
// text is no such value.
[[nodiscard]] std::optional<StoredValue> stored_value_parse(std::uint32_t type, const std::string& text);
