// SPDX-License-Identifier: MIT

#include "runtime/px_display.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <string>

#include "runtime/px_console.h"

namespace {

struct Layout {
    std::size_t unit_size;
    std::size_t units_per_line;
    const char* unit_format;

    // Where the text begins: behind the label, the units of a full line and two blanks.
    [[nodiscard]] std::size_t text_column() const {
        return units_per_line + 2 * unit_size * units_per_line + 11;
    }
};

Layout layout_of(char mode) {
    switch (mode) {
        case 'b':
            return {1, 16, " %02x"};
        case 'h':
            return {2, 8, " %04x"};
        default:
            return {4, 4, " %08x"};
    }
}

unsigned read_unit(const unsigned char* address, std::size_t unit_size) {
    if (unit_size == 1) {
        return *address;
    }
    if (unit_size == 2) {
        std::uint16_t half_word = 0;
        std::memcpy(&half_word, address, sizeof half_word);
        return half_word;
    }
    std::uint32_t word = 0;
    std::memcpy(&word, address, sizeof word);
    return word;
}

void append_hex(std::string& line, const char* format, unsigned value) {
    char text[12];
    px_snprintf(text, sizeof text, format, value);
    line += text;
}

std::string dump_line(const Layout& layout, const unsigned char* address, std::size_t units,
                      std::uintptr_t label) {
    std::string line;
    append_hex(line, "%08x:", static_cast<std::uint32_t>(label));
    for (std::size_t unit = 0; unit < units; ++unit) {
        append_hex(line, layout.unit_format, read_unit(address + unit * layout.unit_size, layout.unit_size));
    }
    line.resize(layout.text_column(), ' ');
    for (std::size_t byte = 0; byte < units * layout.unit_size; ++byte) {
        line += std::isprint(address[byte]) != 0 ? static_cast<char>(address[byte]) : '.';
    }
    return line;
}

}  // namespace

void px_mem_display(char mode, const void* address, std::size_t count) {
    px_data_display(mode, address, count, reinterpret_cast<std::uintptr_t>(address));
}

void px_data_display(char mode, const void* address, std::size_t count, std::uintptr_t label_address) {
    const Layout layout = layout_of(mode);
    const auto* next = static_cast<const unsigned char*>(address);
    while (count > 0) {
        const std::size_t units = std::min(count, layout.units_per_line);
        px_printf("%s\n", dump_line(layout, next, units, label_address).c_str());
        next += units * layout.unit_size;
        label_address += units * layout.unit_size;
        count -= units;
    }
}
