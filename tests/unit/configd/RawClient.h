// SPDX-License-Identifier: MIT

#pragma once

#include <sys/socket.h>

#include <algorithm>
#include <string>
#include <vector>

#include "Values.h"
#include "cbus/cbus.h"
#include "cbus/cbus_client.h"
#include "device/configd/vbuf_codec.h"
#include "runtime/c_owner.h"

// RawClient: a client of the bus without the client's library. It hears nothing while it does not read, and its end is
// that of a client that died.
class RawClient {
  public:
    void send(const std::string& name, const std::string& data) {
        cbus_send_signal(connection(), name.c_str(), data.data(), static_cast<uint32_t>(data.size()));
    }
    // The request that is open; its reply is to be awaited before the next one.
    void ask(const std::string& name, const std::string& data) {
        m_cookie =
            cbus_send_request(connection(), name.c_str(), data.data(), static_cast<uint32_t>(data.size()));
    }
    [[nodiscard]] std::string awaitReply() {
        void* reply = nullptr;
        const int length = cbus_get_reply(connection(), m_cookie, &reply);
        const Malloced<char> owner(static_cast<char*>(reply));
        return length > 0 ? std::string(owner.get(), static_cast<size_t>(length)) : std::string();
    }
    // The statuses of a modifyv; none when there was no database.
    [[nodiscard]] std::vector<int32_t> awaitStatuses() {
        std::vector<int32_t> statuses;
        for (const ConfigElement& element : vbuf_decode(awaitReply()).value_or(Elements{})) {
            statuses.push_back(element.status);
        }
        return statuses;
    }
    void filter(const std::string& text) { cbus_filter(connection(), text.c_str()); }
    // Registers as a validator; the bus and the database know of it when the next request has been answered.
    void registerValidator(const std::string& name) {
        filter("config.clnt_validate." + name);
        send("config.validate.register", name + '\0');
    }
    // The name of the next signal; waits for it.
    [[nodiscard]] std::string awaitSignal() {
        cbus_header_t header{};
        std::string body;
        if (recv(connection()->socket, &header, sizeof header, MSG_WAITALL) == sizeof header) {
            body.resize(cbus_pad4(header.nlen) + cbus_pad4(header.dlen));
            body.resize(static_cast<size_t>(
                std::max<ssize_t>(recv(connection()->socket, body.data(), body.size(), MSG_WAITALL), 0)));
        }
        return body.substr(0, body.find('\0'));
    }
    void disconnect() { m_connection.reset(); }

  private:
    // Connects with the first use: fixtures have clients before they have a bus.
    _cbus_conn_t* connection() {
        if (m_connection == nullptr) {
            m_connection.reset(cbus_conn_create(nullptr, "CBUS_CONNECTION"));
        }
        return m_connection.get();
    }

    COwned<_cbus_conn_t, cbus_conn_destroy> m_connection;
    int m_cookie = -1;
};
