// SPDX-License-Identifier: MIT

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "config_client/config_vbuf.h"
#include "device/configd/vbuf_codec.h"
#include "fuzz_check.h"
#include "runtime/c_owner.h"

namespace {

using Elements = std::vector<ConfigElement>;

bool are_equal(const Elements& left, const Elements& right) {
    const auto is_same = [](const ConfigElement& a, const ConfigElement& b) {
        return a.key == b.key && a.value == b.value && a.status == b.status;
    };
    return std::equal(left.begin(), left.end(), right.begin(), right.end(), is_same);
}

int keep(void* elements, uint32_t type, const char* name, const void* data, uint32_t length, int status) {
    fuzz_check((data == nullptr) == (length == 0));
    static_cast<Elements*>(elements)->push_back(
        {name, {type, std::string(static_cast<const char*>(data), length)}, status});
    return 0;
}

// As a client reads it.
Elements parse(std::string_view payload) {
    const std::vector<char> exact(payload.begin(), payload.end());
    Elements elements;
    config_vbuf_parse(exact.data(), exact.size(), keep, &elements);
    return elements;
}

// Without a tail of 1 to 11 bytes behind the entries: that is the one thing that stops a client, on purpose.
std::string_view without_tail(std::string_view payload) {
    size_t used = 0;
    while (payload.size() - used >= kConfigVbufEntryBytes) {
        uint32_t bytes[2];
        std::memcpy(bytes, payload.data() + used + 4, sizeof bytes);
        const uint64_t entry =
            kConfigVbufEntryBytes + uint64_t{bytes[0]} + ((uint64_t{bytes[1]} + 3) & ~uint64_t{3});
        if (entry > payload.size() - used) {
            return payload;
        }
        used += entry;
    }
    return payload.substr(0, used);
}

std::string encode(const Elements& elements) {
    std::string payload;
    for (const ConfigElement& element : elements) {
        vbuf_append(payload, element.key, element.value, element.status);
    }
    return payload;
}

std::string encode_as_client(const Elements& elements) {
    void* buffer = nullptr;
    size_t used = 0;
    for (const ConfigElement& element : elements) {
        used = config_vbuf_add(&buffer, used, nullptr, element.value.type, element.key.c_str(),
                               element.value.data.data(), static_cast<uint32_t>(element.value.data.size()),
                               element.status);
    }
    const Malloced<void> owner(buffer);
    return {static_cast<const char*>(buffer), used};
}

}  // namespace

// The payload of several keys: what the database takes a client reads the same, and both write what both read back.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view payload(reinterpret_cast<const char*>(data), size);
    const Elements elements = parse(without_tail(payload));
    if (const auto taken = vbuf_decode(payload)) {
        fuzz_check(are_equal(*taken, elements));
    }
    const std::string written = encode(elements);
    fuzz_check(written == encode_as_client(elements));
    fuzz_check(are_equal(parse(written), elements));
    const auto read_back = vbuf_decode(written);
    fuzz_check(read_back && are_equal(*read_back, elements));
    return 0;
}
