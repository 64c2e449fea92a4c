// SPDX-License-Identifier: MIT

#include "tools/configctl/Database.h"

#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "config_client/config_client_api.h"

namespace {

constexpr timeval kAnswerLimit{60, 0};

// What no database answers: an element that still says so has not been answered.
constexpr std::int32_t kUnanswered = INT_MIN;

// Any key will do to hear whether somebody answers.
constexpr const char* kAnyKey = "cfg.any";

}  // namespace

std::optional<std::string> Database::connect(const std::string& address) {
    // The library takes the address from there alone.
    setenv("CBUS_ADDR", address.c_str(), 1);
    m_loop.reset(fdloop_init());
    m_connection.reset(cbus_conn_create(m_loop.get(), "configctl"));
    if (m_connection == nullptr) {
        return "cannot reach the bus '" + address + "': " + std::strerror(errno);
    }
    // A bus that has stopped to serve must not hold us for ever.
    setsockopt(socket(), SOL_SOCKET, SO_RCVTIMEO, &kAnswerLimit, sizeof kAnswerLimit);
    setsockopt(socket(), SOL_SOCKET, SO_SNDTIMEO, &kAnswerLimit, sizeof kAnswerLimit);
    config_init_cbus(m_connection.get(), nullptr);
    return std::nullopt;
}

std::optional<Database::Value> Database::read(const std::string& key) {
    m_buffer.resize(kConfigMaxValueBytes);
    std::uint32_t type = 0;
    std::uint32_t length = 0;
    const int status = config_read_typed(key.c_str(), m_buffer.data(), kConfigMaxValueBytes, &length, &type);
    if (status == CONFIG_NO_REPLY) {
        return std::nullopt;
    }
    return Value{status, {type, m_buffer.substr(0, length)}};
}

std::optional<Database::Information> Database::information(const std::string& key) {
    std::uint32_t word = 0;
    const int status = config_status(key.c_str(), &word);
    if (status == CONFIG_NO_REPLY) {
        return std::nullopt;
    }
    return Information{word & CONFIG_STAT_TYPE, status == CONFIG_OK, (word & CONFIG_STAT_PERSISTS) != 0,
                       (word & CONFIG_STAT_FACTORY) != 0};
}

std::optional<std::vector<ConfigEntry>> Database::match(const std::string& pattern) {
    unsigned int count = 0;
    config_data_t* elements = nullptr;
    if (config_readm(pattern.c_str(), &count, &elements) != 0) {
        return std::nullopt;
    }
    const Malloced<config_data_t> owner(elements);
    std::vector<ConfigEntry> entries;
    for (const config_data_t* element = elements; element != elements + count; ++element) {
        const auto* bytes = static_cast<const char*>(element->value);
        entries.push_back(
            {element->key, {element->type, bytes != nullptr ? std::string(bytes, element->length) : ""}});
    }
    // Nothing that matches and nobody who answers sound alike.
    if (entries.empty() && !isThere()) {
        return std::nullopt;
    }
    return entries;
}

std::optional<std::vector<int>> Database::modify(const std::vector<ConfigEntry>& entries) {
    std::vector<config_data_t> elements;
    elements.reserve(entries.size());
    for (const auto& [key, value] : entries) {
        // Only read by a write.
        void* bytes = value.data.empty() ? nullptr : const_cast<char*>(value.data.data());
        elements.push_back(
            {value.type, key.c_str(), bytes, static_cast<std::uint32_t>(value.data.size()), 0, kUnanswered});
    }
    config_modifyv(nullptr, static_cast<unsigned int>(elements.size()), elements.data());
    std::vector<int> statuses(elements.size());
    std::ranges::transform(elements, statuses.begin(), &config_data_t::status);
    if (std::ranges::find(statuses, kUnanswered) != statuses.end()) {
        return std::nullopt;
    }
    return statuses;
}

std::optional<int> Database::resetToFactory() {
    const int status = config_factory_reset();
    if (status == CONFIG_NO_REPLY && !isThere()) {
        return std::nullopt;
    }
    return status;
}

// The answer behind it tells that the signal has been taken.
bool Database::sync() {
    return config_sync(nullptr) == 0 && isThere();
}

bool Database::isThere() {
    return information(kAnyKey).has_value();
}

// "*" ends at a dot, so the dots are named: up to 68 of them, side by side or not. A key beyond that is none that a
// unit has, and a pattern beyond that does not fit the name of a message.
std::string database_all_keys() {
    constexpr int kDots = 68;
    std::string pattern = "*";
    for (int i = 0; i < kDots; ++i) {
        pattern += "(|.*|.)";
    }
    return pattern;
}
