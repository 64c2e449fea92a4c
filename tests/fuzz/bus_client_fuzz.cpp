// SPDX-License-Identifier: MIT

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "cbus/cbus.h"
#include "cbus/cbus_sock_impl.h"
#include "cbus/socket_helpers.h"
#include "fuzz_check.h"
#include "runtime/fdloop_libevent.h"

namespace {

// The stream goes into the socket at once.
constexpr size_t kMaxStream = 64U << 10;

using BusPtr = COwned<_cbus_conn_t, cbus_conn_destroy>;

struct Heard {
    int type;
    std::string name;
    std::string data;

    bool operator==(const Heard&) const = default;
};

std::vector<Heard> heard;

template <int Type>
int hear(_cbus_conn_t*, const char* name, const void* data, uint32_t length) {
    heard.push_back({Type, name, {static_cast<const char*>(data), length}});
    return 0;
}

// What a client has to hear of a stream: every whole message of a known type before the first that is cut or too long.
struct Expected {
    std::vector<Heard> messages;
    bool is_whole = false;  // the stream ends with a message

    explicit Expected(std::string_view stream) {
        cbus_header_t header{};
        while (stream.size() >= kCbusHeaderBytes) {
            std::memcpy(&header, stream.data(), kCbusHeaderBytes);
            stream.remove_prefix(kCbusHeaderBytes);
            if (cbus_body_bytes(header) > stream.size()) {
                return;
            }
            const std::string_view name = stream.substr(0, header.nlen == 0 ? 0 : header.nlen - size_t{1});
            if (header.type >= CBUS_SIGNAL && header.type <= CBUS_REPLY) {
                messages.push_back({header.type, std::string(name.substr(0, name.find('\0'))),
                                    std::string(stream.substr(cbus_pad4(header.nlen), header.dlen))});
            }
            stream.remove_prefix(cbus_body_bytes(header));
        }
        is_whole = stream.empty();
    }
};

std::string reply_with_cookie(int cookie) {
    const cbus_header_t header{CBUS_REPLY, 0, static_cast<uint16_t>(cookie), 0, 0, 4};
    return std::string(reinterpret_cast<const char*>(&header), sizeof header) + "fine";
}

// Where the connections of this process go.
int listener() {
    static const UniqueFd fd = [] {
        const std::string address = "unix*bus-client-fuzz-" + std::to_string(getpid());
        setenv("CBUS_ADDR", address.c_str(), 1);
        return UniqueFd(socket_create_server(address.c_str()));
    }();
    return fd.get();
}

class Connection {
  public:
    Connection() {
        const int bus = listener();
        m_bus.reset(cbus_conn_create(m_loop.get(), "fuzz"));
        fuzz_check(m_bus != nullptr);
        m_peer.reset(socket_create_server_client(bus));
        cbus_conn_set_rx_cb(m_bus.get(), hear<CBUS_SIGNAL>, hear<CBUS_REQUEST>, hear<CBUS_REPLY>);
    }

    void receive(std::string_view stream) const {
        fuzz_check(send(m_peer.get(), stream.data(), stream.size(), MSG_NOSIGNAL) ==
                   static_cast<ssize_t>(stream.size()));
    }
    // The peer sends no more: the loop serves what there is and closes.
    void end() const {
        shutdown(m_peer.get(), SHUT_WR);
        while (m_bus->socket >= 0) {
            fdloop_run(m_loop.get());
        }
    }
    [[nodiscard]] int request() const { return cbus_send_request(m_bus.get(), "fuzz", nullptr, 0); }
    void await(int cookie) const {
        void* data = nullptr;
        const int length = cbus_get_reply(m_bus.get(), cookie, &data);
        const Malloced<void> owner(data);
        fuzz_check(length == 4 && std::memcmp(data, "fine", 4) == 0);
    }

  private:
    FdLoopPtr m_loop{fdloop_init()};
    BusPtr m_bus;
    UniqueFd m_peer;
};

bool is_reply(const Heard& message) {
    return message.type == CBUS_REPLY;
}

}  // namespace

// The bytes that the bus sends to a client. What comes while the client waits for a reply is dispatched afterwards, in
// the same order.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view stream(reinterpret_cast<const char*>(data), std::min(size, kMaxStream));
    const Expected expected(stream);
    {
        heard.clear();
        const Connection connection;
        connection.receive(stream);
        connection.end();
        fuzz_check(heard == expected.messages);
    }
    if (expected.is_whole && std::none_of(expected.messages.begin(), expected.messages.end(), is_reply)) {
        heard.clear();
        const Connection connection;
        const int cookie = connection.request();
        connection.receive(std::string(stream) + reply_with_cookie(cookie));
        connection.await(cookie);
        fuzz_check(heard.empty());
        connection.end();
        fuzz_check(heard == expected.messages);
    }
    return 0;
}
