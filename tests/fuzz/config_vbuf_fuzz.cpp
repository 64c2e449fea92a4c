#include <cstdint>
#include <cstring>
#include <vector>

#include "config_client/config_vbuf.h"

namespace {

int look_at(void* context, uint32_t type, const char* name, const void* data, uint32_t length, int status) {
    unsigned& sum = *static_cast<unsigned*>(context);
    sum += type + static_cast<unsigned>(std::strlen(name)) + static_cast<unsigned>(status);
    for (uint32_t i = 0; i < length; ++i) {
        sum += static_cast<const uint8_t*>(data)[i];
    }
    return 0;
}

}  // namespace

// Whole words only: a tail of 1 to 11 bytes is the one thing that stops the process, on purpose.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<uint8_t> payload(data, data + size);
    payload.resize((size + 11) / 12 * 12);
    unsigned sum = 0;
    // What an entry leaves of a multiple of 12 may be such a tail again; it is cut here as a sender would.
    size_t used = payload.size();
    for (size_t at = 0; used - at >= 12;) {
        uint32_t bytes[2];
        std::memcpy(bytes, payload.data() + at + 4, sizeof bytes);
        const uint64_t entry = 12 + uint64_t{bytes[0]} + ((uint64_t{bytes[1]} + 3) & ~uint64_t{3});
        if (entry > used - at) {
            break;
        }
        at += entry;
        if (used - at < 12) {
            used = at;
        }
    }
    config_vbuf_parse(payload.data(), used, look_at, &sum);
    return 0;
}
