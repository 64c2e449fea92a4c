// SPDX-License-Identifier: MIT

#include "src/rest/ConfigWriter.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace {

__attribute__((format(printf, 1, 0))) std::string print_key(const char* format, va_list args) {
    va_list again;
    va_copy(again, args);
    const int length = std::vsnprintf(nullptr, 0, format, args);
    std::string key(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
    std::vsnprintf(key.data(), key.size() + 1, format, again);
    va_end(again);
    return key;
}

}  // namespace

void ConfigWriter::putString(const char* value, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const std::size_t size = value == nullptr ? 0 : std::strlen(value) + 1;
    m_items.push_back({print_key(format, args), value, CONFIG_TYPE_STRING, static_cast<std::uint32_t>(size)});
    va_end(args);
}

void ConfigWriter::putInt(int* value, const char* format, ...) {
    va_list args;
    va_start(args, format);
    m_items.push_back({print_key(format, args), value, CONFIG_TYPE_INT, sizeof *value});
    va_end(args);
}

int ConfigWriter::write(WriteCallback* callback) {
    // The write is a signal: nobody would tell us that the database refused it.
    if (std::ranges::any_of(m_items, [](const Item& item) { return item.length > kConfigMaxValueBytes; })) {
        return CONFIG_MISMATCH;
    }
    std::vector<config_data_t> data(m_items.size());
    for (std::size_t i = 0; i < data.size(); ++i) {
        data[i].type = m_items[i].type;
        data[i].key = m_items[i].key.c_str();
        data[i].value = const_cast<void*>(m_items[i].value);  // the element also serves reads
        data[i].length = m_items[i].length;
    }
    const auto count = static_cast<unsigned int>(data.size());
    const int result = config_writev(nullptr, count, data.data());
    if (result == 0 && callback != nullptr) {
        callback->onConfigWritten(count, data.data());
    }
    return result;
}
