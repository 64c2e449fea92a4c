// SPDX-License-Identifier: MIT

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

#include "device/cbusd/MessageReader.h"
#include "fuzz_check.h"

namespace {

std::string bytes_of(const BusMessage& message) {
    return std::string(reinterpret_cast<const char*>(&message.header), sizeof message.header) +
           std::string(message.body.data(), message.body.size());
}

void check_parts(const BusMessage& message) {
    const cbus_header_t& header = message.header;
    fuzz_check(message.body.size() == cbus_body_bytes(header) && message.data.size() == header.dlen);
    fuzz_check(message.name.size() == (header.nlen == 0 ? 0 : std::strlen(message.body.data())));
    fuzz_check(message.data.empty() || message.data.data() == message.body.data() + cbus_pad4(header.nlen));
}

struct Reading {
    std::string messages;  // all their bytes
    bool is_malformed = false;
};

Reading read(const uint8_t* data, size_t size, size_t piece) {
    Reading reading;
    MessageReader reader;
    for (size_t offset = 0; offset < size && !reading.is_malformed;) {
        const auto room = reader.room();
        const size_t n = std::min({piece, size - offset, room.size()});
        std::memcpy(room.data(), data + offset, n);
        reader.commit(n);
        offset += n;
        BusMessage message;
        MessageReader::Result result;
        while ((result = reader.next(message)) == MessageReader::Result::kMessage) {
            check_parts(message);
            reading.messages += bytes_of(message);
        }
        reading.is_malformed = result == MessageReader::Result::kMalformed;
    }
    return reading;
}

}  // namespace

// The first byte is the size of the pieces in which the rest arrives: what is read does not depend on it, and it is
// what was sent.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    const size_t piece = size_t{data[0]} + 1;
    const Reading in_pieces = read(data + 1, size - 1, piece);
    const Reading at_once = read(data + 1, size - 1, size);
    fuzz_check(in_pieces.messages == at_once.messages && in_pieces.is_malformed == at_once.is_malformed);
    fuzz_check(std::equal(in_pieces.messages.begin(), in_pieces.messages.end(),
                          reinterpret_cast<const char*>(data + 1)));
    return 0;
}
