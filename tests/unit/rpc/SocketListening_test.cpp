// SPDX-License-Identifier: MIT

#include <event2/event.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <list>
#include <set>
#include <string>
#include <vector>

#include "RpcSocketFixture.h"
#include "runtime/c_owner.h"
#include "tests/support/FullDescriptorTable.h"

namespace {

std::set<int> open_descriptors() {
    std::set<int> descriptors;
    for (int fd = 0; fd < 1024; ++fd) {
        if (fcntl(fd, F_GETFD) >= 0) {
            descriptors.insert(fd);
        }
    }
    return descriptors;
}

// Without descriptors the sanitizers cannot look at virtual calls, so that nothing but the loop runs meanwhile.
void turn_without_descriptors(event_base* loop, int times) {
    const FullDescriptorTable full;
    for (int i = 0; i < times; ++i) {
        event_base_loop(loop, EVLOOP_NONBLOCK);
    }
}

using SocketListeningTest = RpcSocketFixture;

}  // namespace

TEST_F(SocketListeningTest, OpensItsDescriptorsCloseOnExec) {
    listening->listen(path.c_str());
    const Client client = Connect();
    ASSERT_TRUE(UntilConnections(1));

    for (const int fd : open_descriptors()) {
        struct stat status = {};
        if (fd > 2 && fstat(fd, &status) == 0 && S_ISSOCK(status.st_mode)) {
            EXPECT_NE(fcntl(fd, F_GETFD) & FD_CLOEXEC, 0) << fd;
        }
    }
}

TEST_F(SocketListeningTest, LeavesNoDescriptorBehind) {
    const std::set<int> before = open_descriptors();

    for (int i = 0; i < 20; ++i) {
        Client client = Connect();
        ASSERT_TRUE(UntilConnections(1));
        client.Close();
        ASSERT_TRUE(UntilConnections(0));
    }

    EXPECT_TRUE(Until([&before] { return open_descriptors() == before; }));
}

TEST_F(SocketListeningTest, ReplacesTheSocketFileOfAnEarlierRun) {
    listening.reset();
    std::filesystem::remove(path);
    std::ofstream(path) << "stale";
    listening = std::make_unique<SocketTransport>(&server, loop.get());

    EXPECT_TRUE(listening->listen(path.c_str()));
    EXPECT_TRUE(Connect().isConnected());
}

TEST_F(SocketListeningTest, ListensOnAPathThatJustFits) {
    const std::string name = directory.file("");
    const std::string longest = name + std::string(sizeof(sockaddr_un::sun_path) - 1 - name.size(), 'x');

    EXPECT_TRUE(listening->listen(longest.c_str()));
    EXPECT_TRUE(std::filesystem::is_socket(longest));
}

TEST_F(SocketListeningTest, RefusesAPathThatIsTooLong) {
    const std::string name = directory.file("");
    const std::string too_long = name + std::string(sizeof(sockaddr_un::sun_path) - name.size(), 'x');

    EXPECT_FALSE(listening->listen(too_long.c_str()));
    EXPECT_EQ(log.count("3 src/SocketTransport: Not a socket path: '" + too_long + "'\n"), 1);
}

TEST_F(SocketListeningTest, RefusesAnEmptyPath) {
    EXPECT_FALSE(listening->listen(""));
}

TEST_F(SocketListeningTest, CannotListenInADirectoryThatIsMissing) {
    EXPECT_FALSE(listening->listen(directory.file("none/socket").c_str()));
}

TEST_F(SocketListeningTest, PausesAcceptingWithoutDescriptorsAndResumes) {
    const Client client = Connect();

    turn_without_descriptors(loop.get(), 10);

    EXPECT_EQ(log.countOf("3 src/SocketTransport: Got an error 24 "), 1);
    EXPECT_TRUE(listener.live().empty());
    EXPECT_TRUE(UntilConnections(1));
}

TEST_F(SocketListeningTest, ServesItsConnectionsWhileAcceptingPauses) {
    Client served = Connect();
    ASSERT_TRUE(UntilConnections(1));
    const Client waiting = Connect();
    turn_without_descriptors(loop.get(), 1);

    served.Send(R"({"jsonrpc": "2.0", "method": "none", "id": 1})");

    EXPECT_EQ(served.Receive(), kNotFoundOne);
    EXPECT_EQ(listener.live().size(), 1U);
}

TEST_F(SocketListeningTest, LeavesTheLoopOnAnyOtherListenerError) {
    const UniqueFd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const ListenerPtr broken(evconnlistener_new(loop.get(), nullptr, nullptr, 0, 0, socket.get()));

    errno = EINVAL;
    listening->onError(broken.get());
    event_base_dispatch(loop.get());

    EXPECT_TRUE(event_base_got_exit(loop.get()));
    EXPECT_EQ(
        log.count(
            "3 src/SocketTransport: Got an error 22 (Invalid argument) on the listener. Shutting down.\n"),
        1);
}

TEST_F(SocketListeningTest, PausesAcceptingAfterAnyOtherListenerError) {
    const UniqueFd other(dup(0));
    const ListenerPtr broken(evconnlistener_new(loop.get(), nullptr, nullptr, 0, 0, other.get()));
    const Client client = Connect();

    errno = EINVAL;
    listening->onError(broken.get());
    for (int i = 0; i < 3; ++i) {
        event_base_loop(loop.get(), EVLOOP_NONBLOCK);
    }

    EXPECT_TRUE(listener.live().empty());
    EXPECT_TRUE(UntilConnections(1));
}

TEST_F(SocketListeningTest, ClosesAConnectionAboveTheLimitAtOnce) {
    listening->limitConnections(2);
    const Client first = Connect();
    const Client second = Connect();
    Client third = Connect();

    EXPECT_EQ(third.Receive(), "");
    EXPECT_EQ(listener.live().size(), 2U);
}

TEST_F(SocketListeningTest, TakesANewConnectionWhenAnotherHasEnded) {
    listening->limitConnections(1);
    Client first = Connect();
    ASSERT_TRUE(UntilConnections(1));
    first.Close();
    ASSERT_TRUE(UntilConnections(0));

    const Client second = Connect();

    EXPECT_TRUE(UntilConnections(1));
}

TEST_F(SocketListeningTest, LogsOnceWhoHoldsTheConnectionsOfAFullServer) {
    listening->limitConnections(2);
    const Client first = Connect();
    const Client second = Connect();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(Connect().Receive(), "");
    }

    EXPECT_EQ(log.countOf("4 src/SocketTransport: "), 1);
    EXPECT_TRUE(log.has("4 src/SocketTransport: 1 connections refused, as 2 may be open. Most of them: pid " +
                        std::to_string(getpid()) + " uid " + std::to_string(getuid()) + " (2)\n"));
}

TEST_F(SocketListeningTest, Serves256ConnectionsUnlessTold) {
    std::list<Client> clients;
    for (int i = 0; i < 256; ++i) {
        clients.push_back(Connect());
        ASSERT_TRUE(UntilConnections(clients.size()));
    }

    EXPECT_EQ(Connect().Receive(), "");
}
