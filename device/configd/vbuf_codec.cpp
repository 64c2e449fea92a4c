#include "device/configd/vbuf_codec.h"

#include <cstring>
#include <utility>

#include "cbus/cbus_wire.h"
#include "config_client/config_vbuf.h"

namespace {

// As config_vbuf.h describes it.
struct EntryHeader {
    uint8_t type;
    int8_t status;
    uint16_t zero;
    uint32_t name_bytes;
    uint32_t data_bytes;
};
static_assert(sizeof(EntryHeader) == kConfigVbufEntryBytes, "the header has no gaps on the wire");

// Takes the first entry off the payload.
std::optional<ConfigElement> take_entry(std::string_view& payload) {
    EntryHeader header{};
    if (payload.size() < sizeof header) {
        return std::nullopt;
    }
    memcpy(&header, payload.data(), sizeof header);
    payload.remove_prefix(sizeof header);
    if (header.name_bytes > payload.size() ||
        cbus_pad4(header.data_bytes) > payload.size() - header.name_bytes) {
        return std::nullopt;
    }
    const std::string_view name = payload.substr(0, header.name_bytes);
    const size_t name_length = name.find('\0');
    if (name_length == std::string_view::npos) {
        return std::nullopt;
    }
    ConfigElement element{std::string(name.substr(0, name_length)),
                          {header.type, std::string(payload.substr(header.name_bytes, header.data_bytes))},
                          header.status};
    payload.remove_prefix(header.name_bytes + cbus_pad4(header.data_bytes));
    return element;
}

}  // namespace

std::optional<std::vector<ConfigElement>> vbuf_decode(std::string_view payload) {
    std::vector<ConfigElement> elements;
    while (!payload.empty()) {
        std::optional<ConfigElement> element = take_entry(payload);
        if (!element) {
            return std::nullopt;
        }
        elements.push_back(std::move(*element));
    }
    return elements;
}

void vbuf_append(std::string& payload, std::string_view name, const ConfigValue& value, int32_t status) {
    const EntryHeader header{static_cast<uint8_t>(value.type), static_cast<int8_t>(status), 0,
                             static_cast<uint32_t>(cbus_pad4(name.size() + 1)),
                             static_cast<uint32_t>(value.data.size())};
    const size_t name_end = payload.size() + sizeof header + header.name_bytes;
    payload.append(reinterpret_cast<const char*>(&header), sizeof header);
    payload.append(name);
    payload.resize(name_end, '\0');
    payload.append(value.data);
    payload.resize(name_end + cbus_pad4(value.data.size()), '\0');
}

size_t vbuf_entry_bytes(size_t name_bytes, size_t data_bytes) {
    return kConfigVbufEntryBytes + cbus_pad4(name_bytes + 1) + cbus_pad4(data_bytes);
}
