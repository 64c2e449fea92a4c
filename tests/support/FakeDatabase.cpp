// SPDX-License-Identifier: MIT

#include "tests/support/FakeDatabase.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>

#include "cbus/cbus_sock_impl.h"
#include "cbus/socket_helpers.h"
#include "device/configd/KeyPattern.h"

namespace {

template <class T>
std::string bytes_of(const T& value) {
    return {reinterpret_cast<const char*>(&value), sizeof value};
}

template <class T>
T value_at(const std::string& bytes, size_t offset) {
    T value{};
    if (bytes.size() >= offset + sizeof value) {
        std::memcpy(&value, bytes.data() + offset, sizeof value);
    }
    return value;
}

std::string full_key(const std::string& prefix, const std::string& name) {
    return prefix.empty() ? name : prefix + "." + name;
}

// A vbuf under construction, and the walk over a received one.
class Entries {
  public:
    void add(const std::string& key, const FakeDatabase::Value& value, int status) {
        void* buffer = m_buffer.release();
        m_used = config_vbuf_add(&buffer, m_used, nullptr, value.type, key.c_str(), value.bytes.data(),
                                 static_cast<uint32_t>(value.bytes.size()), status);
        m_buffer.reset(buffer);
    }
    [[nodiscard]] std::string bytes() const { return {static_cast<const char*>(m_buffer.get()), m_used}; }

    using Parsed = std::vector<std::pair<std::string, FakeDatabase::Value>>;
    static Parsed parse(const std::string& payload) {
        Parsed parsed;
        config_vbuf_parse(payload.data(), payload.size(), collect, &parsed);
        return parsed;
    }

  private:
    static int collect(void* context, uint32_t type, const char* name, const void* data, uint32_t length,
                       int) {
        const auto* const bytes = static_cast<const char*>(data);
        static_cast<Parsed*>(context)->push_back(
            {name, {type, bytes != nullptr ? std::string(bytes, length) : std::string()}});
        return 0;
    }

    Malloced<void> m_buffer;
    size_t m_used = 0;
};

}  // namespace

FakeDatabase::FakeDatabase() {
    static std::atomic<int> count = 0;
    m_address = "unix*fake-" + std::to_string(getpid()) + "-" + std::to_string(++count);
    m_listener.reset(socket_create_server(m_address.c_str()));
    setenv("CBUS_ADDR", m_address.c_str(), 1);
    m_thread = std::thread([this] { serve(); });
}

FakeDatabase::~FakeDatabase() {
    shutdown(m_listener.get(), SHUT_RDWR);
    closeConnection();
    m_thread.join();
    unsetenv("CBUS_ADDR");
}

void FakeDatabase::serve() {
    while (true) {
        UniqueFd client(socket_create_server_client(m_listener.get()));
        if (!client.valid()) {
            return;
        }
        const int descriptor = client.get();
        {
            const std::lock_guard lock(m_mutex);
            m_client = std::move(client);
        }
        serveClient(descriptor);
    }
}

void FakeDatabase::serveClient(int client) {
    cbus_rx_message_t message;
    while (cbus_msg_read(client, message) >= 0) {
        handle(message);
    }
}

void FakeDatabase::handle(const cbus_rx_message_t& message) {
    const std::string name = message.header.nlen > 0 ? message.body.get() : "";
    const std::string data(message.body.get() + cbus_pad4(message.header.nlen), message.header.dlen);
    const std::string call = name.starts_with("config.") ? name.substr(7) : "";
    const size_t dot = call.find('.');
    const std::string operation = call.substr(0, dot);
    const std::string argument = dot == std::string::npos ? "" : call.substr(dot + 1);

    const std::lock_guard lock(m_mutex);
    m_messages.push_back({message.header.type, name, data});
    if (message.header.type == CBUS_SIGNAL) {
        applySignal(operation, argument, data);
    } else if (message.header.type == CBUS_REQUEST) {
        send(CBUS_REPLY, name, m_answers ? replyTo(operation, argument, data) : "", &message);
    }
    if (!m_changed.empty()) {
        announceLocked(m_changed);
        m_changed.clear();
    }
    m_received.notify_all();
}

std::string FakeDatabase::replyTo(const std::string& operation, const std::string& argument,
                                  const std::string& data) {
    if (!m_next_replies.empty()) {
        const std::string reply = m_next_replies.front();
        m_next_replies.erase(m_next_replies.begin());
        return reply;
    }
    if (operation == "read") {
        return read(argument, data);
    }
    if (operation == "readv") {
        return readVector(argument, data);
    }
    if (operation == "readm") {
        return readPattern(argument);
    }
    if (operation == "modifyv") {
        return writeVector(argument, data);
    }
    if (operation == "stat") {
        return bytes_of<int32_t>(m_values.contains(argument) ? CONFIG_OK : CONFIG_NO_VALUE) +
               bytes_of<uint32_t>(0);
    }
    return bytes_of<int32_t>(CONFIG_OK);  // factory_reset
}

void FakeDatabase::applySignal(const std::string& operation, const std::string& argument,
                               const std::string& data) {
    if (operation == "write") {
        store(argument, {value_at<uint32_t>(data, 4), data.substr(std::min<size_t>(12, data.size()))});
    } else if (operation == "writev") {
        writeVector(argument, data);
    } else if (operation == "delm") {
        const auto pattern = KeyPattern::parse(argument);
        const auto values = m_values;
        for (const auto& [key, value] : values) {
            if (pattern && pattern->matches(key)) {
                store(key, {CONFIG_TYPE_NONE, ""});
            }
        }
    }
}

std::string FakeDatabase::read(const std::string& key, const std::string& data) {
    const auto found = m_values.find(key);
    if (found == m_values.end()) {
        return bytes_of<int32_t>(CONFIG_NO_VALUE) + bytes_of<uint32_t>(0) + bytes_of<uint32_t>(0);
    }
    const auto wanted = value_at<uint32_t>(data, 8);
    const std::string bytes = found->second.bytes.substr(0, wanted);
    const int32_t status = bytes.size() < found->second.bytes.size() ? CONFIG_TRUNCATED : CONFIG_OK;
    return bytes_of(status) + bytes_of(found->second.type) + bytes_of(static_cast<uint32_t>(bytes.size())) +
           bytes;
}

std::string FakeDatabase::readVector(const std::string& prefix, const std::string& data) {
    Entries reply;
    for (const auto& [name, asked] : Entries::parse(data)) {
        const bool is_whole = name.starts_with(prefix + ".");
        const auto found = m_values.find(is_whole ? name : full_key(prefix, name));
        if (found == m_values.end()) {
            reply.add(name, {asked.type, ""}, CONFIG_NO_VALUE);
        } else {
            reply.add(name, found->second, CONFIG_OK);
        }
    }
    return reply.bytes();
}

std::string FakeDatabase::readPattern(const std::string& pattern_text) {
    Entries reply;
    uint32_t count = 0;
    const auto pattern = KeyPattern::parse(pattern_text);
    for (const auto& [key, value] : m_values) {
        if (pattern && pattern->matches(key)) {
            reply.add(key, value, CONFIG_OK);
            ++count;
        }
    }
    return count == 0 ? "" : bytes_of<uint32_t>(0) + bytes_of(count) + reply.bytes();
}

std::string FakeDatabase::writeVector(const std::string& prefix, const std::string& data) {
    Entries statuses;
    for (const auto& [name, value] : Entries::parse(data)) {
        store(full_key(prefix, name), value);
        statuses.add(name, {value.type, ""}, CONFIG_OK);
    }
    return statuses.bytes();
}

void FakeDatabase::store(const std::string& key, const Value& value) {
    const auto found = m_values.find(key);
    const bool is_there = found != m_values.end();
    if (value.type == CONFIG_TYPE_NONE ? !is_there : is_there && found->second == value) {
        return;
    }
    if (value.type == CONFIG_TYPE_NONE) {
        m_values.erase(key);
    } else {
        m_values[key] = value;
    }
    m_changed.push_back(key);
}

void FakeDatabase::announceLocked(const std::vector<std::string>& keys) {
    std::map<std::string, Entries> by_component;
    for (const std::string& key : keys) {
        const auto found = m_values.find(key);
        by_component[key.substr(0, key.find('.'))].add(
            key, found != m_values.end() ? found->second : Value{CONFIG_TYPE_NONE, ""}, CONFIG_OK);
    }
    for (const auto& [component, entries] : by_component) {
        send(CBUS_SIGNAL, "config.change." + component, entries.bytes(), nullptr);
    }
}

void FakeDatabase::send(uint8_t type, const std::string& name, const std::string& data,
                        const cbus_rx_message_t* request) {
    cbus_header_t header{};
    if (request != nullptr) {
        header = request->header;
    }
    header.type = type;
    static_cast<void>(cbus_msg_write(m_client.get(), header, name.c_str(),
                                     data.empty() ? nullptr : data.data(),
                                     static_cast<uint32_t>(data.size())));
}

void FakeDatabase::setString(const std::string& key, const std::string& text) {
    const std::lock_guard lock(m_mutex);
    m_values[key] = {CONFIG_TYPE_STRING, text + '\0'};
}

void FakeDatabase::setInt(const std::string& key, int32_t value) {
    const std::lock_guard lock(m_mutex);
    m_values[key] = {CONFIG_TYPE_INT, bytes_of(value)};
}

void FakeDatabase::setBinary(const std::string& key, const std::string& bytes) {
    const std::lock_guard lock(m_mutex);
    m_values[key] = {CONFIG_TYPE_BINARY, bytes};
}

void FakeDatabase::erase(const std::string& key) {
    const std::lock_guard lock(m_mutex);
    m_values.erase(key);
}

FakeDatabase::Value FakeDatabase::value(const std::string& key) {
    const std::lock_guard lock(m_mutex);
    const auto found = m_values.find(key);
    return found != m_values.end() ? found->second : Value{CONFIG_TYPE_NONE, ""};
}

std::string FakeDatabase::text(const std::string& key) {
    return value(key).bytes.c_str();
}

void FakeDatabase::announce(const std::vector<std::string>& keys) {
    const std::lock_guard lock(m_mutex);
    announceLocked(keys);
}

void FakeDatabase::sendSignal(const std::string& name, const std::string& data) {
    const std::lock_guard lock(m_mutex);
    send(CBUS_SIGNAL, name, data, nullptr);
}

void FakeDatabase::reset() {
    const std::lock_guard lock(m_mutex);
    m_values.clear();
    m_messages.clear();
    m_next_replies.clear();
}

void FakeDatabase::replyNextWith(const std::string& data) {
    const std::lock_guard lock(m_mutex);
    m_next_replies.push_back(data);
}

void FakeDatabase::closeConnection() {
    const std::lock_guard lock(m_mutex);
    // The thread may be reading from it: it finds the end and the descriptor goes with the next client.
    shutdown(m_client.get(), SHUT_RDWR);
}

std::vector<BusMessage> FakeDatabase::messages() {
    const std::lock_guard lock(m_mutex);
    return m_messages;
}

bool FakeDatabase::waitFor(const std::string& name_prefix) {
    std::unique_lock lock(m_mutex);
    return m_received.wait_for(lock, std::chrono::seconds(5), [&] {
        return std::any_of(m_messages.begin(), m_messages.end(),
                           [&](const BusMessage& message) { return message.name.starts_with(name_prefix); });
    });
}
