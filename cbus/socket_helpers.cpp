// SPDX-License-Identifier: MIT

#include "cbus/socket_helpers.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "runtime/c_owner.h"

namespace {

constexpr size_t kMaxProtocol = 16;
constexpr size_t kMaxField = 32;
constexpr int kBacklog = 5;

union AnyAddress {
    sockaddr any;
    sockaddr_in ipv4;
    sockaddr_un local;
};

struct BusAddress {
    AnyAddress address;
    socklen_t length;
    int type;  // SOCK_STREAM or SOCK_DGRAM
};

struct Fields {
    std::string_view protocol;
    std::string_view host;
    std::string_view port;
};

// Cuts the text up to the next asterisk off `rest`.
std::string_view take_field(std::string_view& rest, size_t max_length) {
    const std::string_view field = rest.substr(0, rest.find('*'));
    rest.remove_prefix(std::min(rest.size(), field.size() + 1));
    return field.substr(0, max_length);
}

Fields split_address(std::string_view text) {
    Fields fields;
    fields.protocol = take_field(text, kMaxProtocol + 1);  // one more shows that it is too long
    fields.host = take_field(text, kMaxField);
    fields.port = text.substr(0, kMaxField);
    return fields;
}

std::optional<BusAddress> make_ipv4(const Fields& fields, int type) {
    BusAddress result{};
    result.type = type;
    result.length = sizeof(sockaddr_in);
    result.address.ipv4.sin_family = AF_INET;
    const std::string host(fields.host.empty() ? "127.0.0.1" : fields.host);
    uint16_t port = 0;
    const char* end = fields.port.data() + fields.port.size();
    const auto [parsed, error] = std::from_chars(fields.port.data(), end, port);
    if (error != std::errc() || parsed != end ||
        inet_aton(host.c_str(), &result.address.ipv4.sin_addr) == 0) {
        return std::nullopt;
    }
    result.address.ipv4.sin_port = htons(port);
    return result;
}

// The length is always that of the whole structure, so the zeros behind the name belong to the name: an end
// that binds or connects the bare name does not meet one that pads.
std::optional<BusAddress> make_local(const Fields& fields) {
    if (fields.host.empty()) {
        return std::nullopt;
    }
    BusAddress result{};
    result.type = SOCK_STREAM;
    result.length = sizeof(sockaddr_un);
    static_assert(sizeof(sockaddr_un) == 110 && sizeof(sockaddr_un::sun_path) - 1 >= kMaxField);
    result.address.local.sun_family = AF_UNIX;
    fields.host.copy(result.address.local.sun_path + 1, sizeof(sockaddr_un::sun_path) - 1);
    return result;
}

std::optional<BusAddress> parse_address(const char* text) {
    const Fields fields = split_address(text != nullptr ? text : "");
    std::optional<BusAddress> result;
    if (fields.protocol == "tcp") {
        result = make_ipv4(fields, SOCK_STREAM);
    } else if (fields.protocol == "udp") {
        result = make_ipv4(fields, SOCK_DGRAM);
    } else if (fields.protocol == "unix") {
        result = make_local(fields);
    }
    if (!result) {
        errno = EINVAL;
    }
    return result;
}

UniqueFd open_socket(const BusAddress& address, int flags) {
    return UniqueFd(socket(address.address.any.sa_family, address.type | SOCK_CLOEXEC | flags, 0));
}

int connect_socket(int socket, const BusAddress& address) {
    int result = 0;
    do {
        result = connect(socket, &address.address.any, address.length);
    } while (result < 0 && errno == EINTR);
    return result;
}

}  // namespace

int socket_create_client(const char* address) {
    const auto parsed = parse_address(address);
    if (!parsed) {
        return -1;
    }
    UniqueFd fd = open_socket(*parsed, 0);
    return fd.valid() && connect_socket(fd.get(), *parsed) == 0 ? fd.release() : -1;
}

int socket_create_client_nonblocking(const char* address) {
    const auto parsed = parse_address(address);
    if (!parsed) {
        return -1;
    }
    UniqueFd fd = open_socket(*parsed, SOCK_NONBLOCK);
    if (!fd.valid() || (connect_socket(fd.get(), *parsed) < 0 && errno != EINPROGRESS)) {
        return -1;
    }
    return fd.release();
}

int socket_create_server(const char* address) {
    const auto parsed = parse_address(address);
    if (!parsed) {
        return -1;
    }
    UniqueFd fd = open_socket(*parsed, 0);
    const int on = 1;
    if (!fd.valid() ||
        (parsed->address.any.sa_family == AF_INET &&
         setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) < 0) ||
        bind(fd.get(), &parsed->address.any, parsed->length) < 0 ||
        (parsed->type == SOCK_STREAM && listen(fd.get(), kBacklog) < 0)) {
        return -1;
    }
    return fd.release();
}

int socket_create_server_client(int listener) {
    int fd = -1;
    do {
        fd = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    } while (fd < 0 && errno == EINTR);
    return fd;
}

int socket_broadcast_enable(int socket) {
    const int on = 1;
    return setsockopt(socket, SOL_SOCKET, SO_BROADCAST, &on, sizeof on);
}

int socket_bind_device(int socket, const char* interfaceName) {
    return setsockopt(socket, SOL_SOCKET, SO_BINDTODEVICE, interfaceName,
                      static_cast<socklen_t>(strlen(interfaceName) + 1));
}

int socket_get_port_number(int socket) {
    sockaddr_in local{};
    socklen_t length = sizeof local;
    if (getsockname(socket, reinterpret_cast<sockaddr*>(&local), &length) < 0 ||
        local.sin_family != AF_INET) {
        return -1;
    }
    return ntohs(local.sin_port);
}

int socket_get_error(int socket) {
    int error = 0;
    socklen_t length = sizeof error;
    return getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &length) < 0 ? errno : error;
}

int socket_set_blocking(int socket, bool blocking) {
    const int flags = fcntl(socket, F_GETFL);
    if (flags < 0) {
        return -1;
    }
    const int wanted = blocking ? flags & ~O_NONBLOCK : flags | O_NONBLOCK;
    return fcntl(socket, F_SETFL, wanted) < 0 ? -1 : 0;
}
