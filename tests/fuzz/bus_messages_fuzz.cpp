#include <algorithm>
#include <cstdint>
#include <cstring>

#include "device/cbusd/MessageReader.h"

namespace {

// Looks at every byte that the message says it has.
unsigned sum_of(const BusMessage& message) {
    unsigned sum = 0;
    for (const char c : message.body) {
        sum += static_cast<unsigned char>(c);
    }
    return sum + static_cast<unsigned>(message.name.size() + message.data.size());
}

}  // namespace

// The first byte is the size of the pieces in which the rest arrives.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    const size_t piece = size_t{data[0]} + 1;
    MessageReader reader;
    unsigned sum = 0;
    for (size_t offset = 1; offset < size;) {
        const auto room = reader.room();
        const size_t n = std::min({piece, size - offset, room.size()});
        std::memcpy(room.data(), data + offset, n);
        reader.commit(n);
        offset += n;
        BusMessage message;
        MessageReader::Result result;
        while ((result = reader.next(message)) == MessageReader::Result::kMessage) {
            sum += sum_of(message);
        }
        if (result == MessageReader::Result::kMalformed) {
            break;
        }
    }
    return sum == UINT32_MAX ? 1 : 0;
}
