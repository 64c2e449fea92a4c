// SPDX-License-Identifier: MIT

#include "cbus/socket_helpers.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "runtime/c_owner.h"

namespace {

std::string UniqueName() {
    return "cbus-helpers-" + std::to_string(getpid());
}

sockaddr_in PeerOf(int socket) {
    sockaddr_in peer{};
    socklen_t length = sizeof peer;
    getpeername(socket, reinterpret_cast<sockaddr*>(&peer), &length);
    return peer;
}

int TypeOf(int socket) {
    int type = 0;
    socklen_t length = sizeof type;
    getsockopt(socket, SOL_SOCKET, SO_TYPE, &type, &length);
    return type;
}

bool ConnectsTo(const UniqueFd& listener, const std::string& protocol, const std::string& host) {
    const int port = socket_get_port_number(listener.get());
    const std::string address = protocol + "*" + host + "*" + std::to_string(port);
    const UniqueFd client(socket_create_client(address.c_str()));
    return client.valid();
}

}  // namespace

TEST(SocketAddress, AnEmptyHostMeansLoopback) {
    const UniqueFd client(socket_create_client("udp**5000"));

    EXPECT_EQ(TypeOf(client.get()), SOCK_DGRAM);
    EXPECT_EQ(PeerOf(client.get()).sin_addr.s_addr, htonl(INADDR_LOOPBACK));
    EXPECT_EQ(PeerOf(client.get()).sin_port, htons(5000));
}

TEST(SocketAddress, TcpConnectsToTheDottedHost) {
    const UniqueFd listener(socket_create_server("tcp*127.0.0.1*0"));

    EXPECT_TRUE(ConnectsTo(listener, "tcp", "127.0.0.1"));
}

TEST(SocketAddress, AUnixNameIsPaddedToTheFullPath) {
    const std::string name = UniqueName();
    const UniqueFd listener(socket_create_server(("unix*" + name).c_str()));
    sockaddr_un bound{};
    socklen_t length = sizeof bound;

    getsockname(listener.get(), reinterpret_cast<sockaddr*>(&bound), &length);

    EXPECT_EQ(length, 110u);
    EXPECT_EQ(bound.sun_path[0], '\0');
    EXPECT_STREQ(bound.sun_path + 1, name.c_str());
    EXPECT_EQ(std::string(bound.sun_path + 1 + name.size(), 107 - name.size()),
              std::string(107 - name.size(), '\0'));
}

TEST(SocketAddress, AUnixNameBeyond32CharactersIsCut) {
    const std::string kept = (UniqueName() + std::string(32, 'x')).substr(0, 32);
    const UniqueFd listener(socket_create_server(("unix*" + kept).c_str()));

    const UniqueFd client(socket_create_client(("unix*" + kept + "-and-more").c_str()));

    EXPECT_TRUE(client.valid());
}

TEST(SocketAddress, AnythingElseIsRefusedByClientAndServer) {
    for (const char* address :
         {"", "unix", "unix*", "unix**1", "tcp", "tcp*127.0.0.1", "tcp*localhost*80", "tcp**port",
          "tcp**65536", "tcp**-1", "tcp*1.2.3.4.5.6.7.8.9.10.11.12.13.14.15*80", "sctp**80", "UNIX*cbus",
          "tcptcptcptcptcptcp**80"}) {
        SCOPED_TRACE(address);
        errno = 0;
        EXPECT_EQ(socket_create_client(address), -1);
        EXPECT_EQ(errno, EINVAL);
        EXPECT_EQ(socket_create_client_nonblocking(address), -1);
        EXPECT_EQ(socket_create_server(address), -1);
    }
}

TEST(SocketAddress, ANullAddressIsRefused) {
    EXPECT_EQ(socket_create_client(nullptr), -1);
}

TEST(SocketClient, FailsWhenNobodyListens) {
    EXPECT_EQ(socket_create_client("unix*cbus-nobody-is-here"), -1);
}

TEST(SocketClient, NonblockingCountsAConnectionInTheMakingAsSuccess) {
    const UniqueFd listener(socket_create_server("tcp**0"));
    const std::string address = "tcp**" + std::to_string(socket_get_port_number(listener.get()));

    const UniqueFd client(socket_create_client_nonblocking(address.c_str()));

    EXPECT_TRUE(client.valid());
    EXPECT_NE(fcntl(client.get(), F_GETFL) & O_NONBLOCK, 0);
}

TEST(SocketServer, ABusyAddressIsRefused) {
    const std::string address = "unix*" + UniqueName();
    const UniqueFd first(socket_create_server(address.c_str()));

    EXPECT_EQ(socket_create_server(address.c_str()), -1);
    EXPECT_EQ(errno, EADDRINUSE);
}

TEST(SocketServer, ADatagramServerIsBoundAndDoesNotListen) {
    const UniqueFd server(socket_create_server("udp**0"));

    EXPECT_GT(socket_get_port_number(server.get()), 0);
    EXPECT_EQ(TypeOf(server.get()), SOCK_DGRAM);
}

TEST(SocketServer, AcceptsAClientWithItsDescriptorCloseOnExec) {
    const std::string address = "unix*" + UniqueName();
    const UniqueFd listener(socket_create_server(address.c_str()));
    const UniqueFd client(socket_create_client(address.c_str()));

    const UniqueFd accepted(socket_create_server_client(listener.get()));

    for (const int fd : {listener.get(), client.get(), accepted.get()}) {
        EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
    }
}

TEST(SocketOptions, BroadcastCanBeEnabled) {
    const UniqueFd server(socket_create_server("udp**0"));

    EXPECT_EQ(socket_broadcast_enable(server.get()), 0);

    int on = 0;
    socklen_t length = sizeof on;
    getsockopt(server.get(), SOL_SOCKET, SO_BROADCAST, &on, &length);
    EXPECT_NE(on, 0);
}

TEST(SocketOptions, AnUnknownDeviceCannotBeBound) {
    const UniqueFd server(socket_create_server("udp**0"));

    EXPECT_EQ(socket_bind_device(server.get(), "no-such-device"), -1);
}

TEST(SocketOptions, AUnixSocketHasNoPort) {
    const UniqueFd listener(socket_create_server(("unix*" + UniqueName()).c_str()));

    EXPECT_EQ(socket_get_port_number(listener.get()), -1);
}

TEST(SocketOptions, BlockingCanBeClearedAndSet) {
    const UniqueFd server(socket_create_server("udp**0"));

    EXPECT_EQ(socket_set_blocking(server.get(), false), 0);
    EXPECT_NE(fcntl(server.get(), F_GETFL) & O_NONBLOCK, 0);
    EXPECT_EQ(socket_set_blocking(server.get(), true), 0);
    EXPECT_EQ(fcntl(server.get(), F_GETFL) & O_NONBLOCK, 0);
}

TEST(SocketOptions, SettingBlockingOnNoSocketFails) {
    EXPECT_EQ(socket_set_blocking(-1, true), -1);
}

TEST(SocketOptions, ThePendingErrorIsThatOfTheSocket) {
    const UniqueFd server(socket_create_server("udp**0"));

    EXPECT_EQ(socket_get_error(server.get()), 0);
}

TEST(SocketOptions, ThePendingErrorOfNoSocketIsErrno) {
    EXPECT_EQ(socket_get_error(-1), EBADF);
}
