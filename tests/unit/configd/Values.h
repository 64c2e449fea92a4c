// SPDX-License-Identifier: MIT

#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "config_client/config_client_api.h"
#include "device/configd/ConfigElement.h"
#include "device/configd/vbuf_codec.h"
#include "tests/support/FullDisk.h"

// The vocabulary of these tests.

inline ConfigValue Text(const std::string& text) {
    return {CONFIG_TYPE_STRING, text + '\0'};
}

inline ConfigValue Number(int32_t number) {
    return {CONFIG_TYPE_INT, std::string(reinterpret_cast<const char*>(&number), sizeof number)};
}

inline ConfigValue Binary(const std::string& bytes) {
    return {CONFIG_TYPE_BINARY, bytes};
}

inline ConfigValue Deleted() {
    return {CONFIG_TYPE_NONE, ""};
}

inline bool operator==(const ConfigElement& a, const ConfigElement& b) {
    return a.key == b.key && a.value == b.value && a.status == b.status;
}

inline void PrintTo(const ConfigElement& element, std::ostream* out) {
    *out << element.key << " type " << element.value.type << " \"" << element.value.data << "\" status "
         << element.status;
}

using Elements = std::vector<ConfigElement>;

inline std::string Vbuf(const Elements& elements) {
    std::string payload;
    for (const ConfigElement& element : elements) {
        vbuf_append(payload, element.key, element.value, element.status);
    }
    return payload;
}
