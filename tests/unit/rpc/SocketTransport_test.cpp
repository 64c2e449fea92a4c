#include "src/rpc/SocketTransport.h"

#include <event2/event.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>

#include "RecordedLog.h"
#include "RpcFakes.h"
#include "src/rpc/RPCServer.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr const char* kNotFoundOne =
    R"({"jsonrpc":"2.0","error":{"code":-32601,"message":"Method not found"},"id":1})";

// The program at the other end of the socket.
class Client {
  public:
    Client(event_base* loop, const std::string& path)
        : m_loop(loop), m_socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        m_connected = connect(m_socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    }

    bool isConnected() const { return m_connected; }

    // Turns the loop while the server does not take all of it.
    void Send(std::string_view text) {
        while (!text.empty()) {
            const ssize_t sent = send(m_socket.get(), text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
            if (sent > 0) {
                text.remove_prefix(static_cast<size_t>(sent));
            } else if (errno != EAGAIN) {
                return;
            }
            event_base_loop(m_loop, EVLOOP_NONBLOCK);
        }
    }

    // The next message that the server sends, without blanks; empty when it has closed.
    std::string Receive() {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (std::chrono::steady_clock::now() < deadline) {
            const char* end = nullptr;
            const JsonPtr message(cJSON_ParseWithOpts(m_received.c_str(), &end, false));
            if (message != nullptr) {
                m_received.erase(0, static_cast<size_t>(end - m_received.c_str()));
                return print_compact(message.get());
            }
            event_base_loop(m_loop, EVLOOP_NONBLOCK);
            char bytes[65536];
            const ssize_t count = recv(m_socket.get(), bytes, sizeof bytes, MSG_DONTWAIT);
            if (count == 0 || (count < 0 && errno != EAGAIN)) {
                return {};
            }
            m_received.append(bytes, static_cast<size_t>(std::max<ssize_t>(count, 0)));
        }
        return "nothing came";
    }

    void SendEnd() { shutdown(m_socket.get(), SHUT_WR); }
    // With unread data this resets the connection.
    void Close() { m_socket.reset(); }
    int Descriptor() const { return m_socket.get(); }

  private:
    event_base* m_loop;
    UniqueFd m_socket;
    bool m_connected = false;
    std::string m_received;
};

std::set<int> open_descriptors() {
    std::set<int> descriptors;
    for (int fd = 0; fd < 1024; ++fd) {
        if (fcntl(fd, F_GETFD) >= 0) {
            descriptors.insert(fd);
        }
    }
    return descriptors;
}

// Lets no further descriptor be opened.
class NoMoreDescriptors {
  public:
    NoMoreDescriptors() {
        getrlimit(RLIMIT_NOFILE, &m_before);
        const rlimit none = {static_cast<rlim_t>(*open_descriptors().rbegin() + 1), m_before.rlim_max};
        setrlimit(RLIMIT_NOFILE, &none);
        for (int fd = dup(0); fd >= 0; fd = dup(0)) {
            m_fillers.emplace_back(fd);
        }
    }
    ~NoMoreDescriptors() { setrlimit(RLIMIT_NOFILE, &m_before); }
    NoMoreDescriptors(const NoMoreDescriptors&) = delete;
    NoMoreDescriptors& operator=(const NoMoreDescriptors&) = delete;

  private:
    rlimit m_before = {};
    std::vector<UniqueFd> m_fillers;
};

class SocketTransportTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_NE(mkdtemp(directory), nullptr);
        path = std::string(directory) + "/socket";
        server.registerTransportLisetner(&listener);
        server.registerMethod("echo", &echo);
        listening = std::make_unique<SocketTransport>(&server, loop.get());
        ASSERT_TRUE(listening->listen(path.c_str()));
    }

    void TearDown() override {
        while (!listener.live().empty()) {
            SocketTransport::destroy(static_cast<SocketTransport*>(listener.live().front()));
        }
        Turn();  // libevent closes a descriptor one turn after its bufferevent is freed
        listening.reset();
        std::filesystem::remove_all(directory);
    }

    Client Connect() { return {loop.get(), path}; }
    void Turn() { event_base_loop(loop.get(), EVLOOP_NONBLOCK); }
    // Without descriptors the sanitizers cannot look at virtual calls, so that nothing else runs meanwhile.
    void TurnWithoutDescriptors(int times) {
        event_base* base = loop.get();
        const NoMoreDescriptors none;
        for (int i = 0; i < times; ++i) {
            event_base_loop(base, EVLOOP_NONBLOCK);
        }
    }
    // Turns the loop until the condition holds, 5 s at most.
    testing::AssertionResult Until(const std::function<bool()>& condition) {
        const timeval tick = {0, 5000};
        for (int i = 0; i < 1000 && !condition(); ++i) {
            event_base_loopexit(loop.get(), &tick);
            event_base_dispatch(loop.get());
        }
        return condition() ? testing::AssertionSuccess() : testing::AssertionFailure() << "it never came";
    }
    testing::AssertionResult UntilConnections(size_t count) {
        return Until([this, count] { return listener.live().size() == count; });
    }

    char directory[32] = "/tmp/rpc_socket_XXXXXX";
    std::string path;
    RecordedLog log;
    EventBasePtr loop{event_base_new()};
    RPCServer server;
    RecordingListener listener;
    ScriptedMethod echo{[](cJSON* params, bool& isResult, RPCTransport*) {
        isResult = true;
        return JsonPtr(cJSON_Duplicate(params, true));
    }};
    std::unique_ptr<SocketTransport> listening;
};

using SocketTransportDeathTest = SocketTransportTest;

}  // namespace

TEST_F(SocketTransportTest, AnswersARequest) {
    Client client = Connect();

    client.Send(R"({"jsonrpc": "2.0", "method": "echo", "params": {"path": "/a"}, "id": 7})");

    EXPECT_EQ(client.Receive(), R"({"jsonrpc":"2.0","result":{"path":"/a"},"id":7})");
}

TEST_F(SocketTransportTest, AnswersOneRequestAfterTheOther) {
    Client client = Connect();
    client.Send(R"({"jsonrpc": "2.0", "method": "none", "id": 1})");
    client.Receive();

    client.Send(
        "\n"
        R"({"jsonrpc": "2.0", "method": "echo", "id": 2})");

    EXPECT_EQ(client.Receive(), R"({"jsonrpc":"2.0","result":null,"id":2})");
}

TEST_F(SocketTransportTest, AnswersAMessageThatComesInTwoReads) {
    Client client = Connect();
    client.Send(R"({"jsonrpc": "2.0", "meth)");
    Turn();

    client.Send(R"(od": "none", "id": 1})");

    EXPECT_EQ(client.Receive(), kNotFoundOne);
}

TEST_F(SocketTransportTest, AnswersAMessageThatComesByteByByte) {
    Client client = Connect();

    for (const char byte : std::string(R"({"jsonrpc": "2.0", "method": "none", "id": 1})")) {
        client.Send(std::string_view(&byte, 1));
    }

    EXPECT_EQ(client.Receive(), kNotFoundOne);
}

TEST_F(SocketTransportTest, SkipsLineEndsBeforeAMessage) {
    Client client = Connect();

    client.Send(
        "\r\n\n\r"
        R"({"jsonrpc": "2.0", "method": "none", "id": 1})");

    EXPECT_EQ(client.Receive(), kNotFoundOne);
    EXPECT_EQ(log.count(R"(7 src/SocketTransport Got message: {"jsonrpc": "2.0", "method": "none", "id": 1})"
                        "\n"),
              1);
}

TEST_F(SocketTransportTest, AnswersTwoMessagesOfOneRead) {
    Client client = Connect();

    client.Send(R"({"jsonrpc":"2.0","method":"none","id":1}{"jsonrpc":"2.0","method":"echo","id":2})");

    EXPECT_EQ(client.Receive(), kNotFoundOne);
    EXPECT_EQ(client.Receive(), R"({"jsonrpc":"2.0","result":null,"id":2})");
}

TEST_F(SocketTransportTest, IsReadyForTheNextMessageAfterTwoOfOneRead) {
    Client client = Connect();
    client.Send(R"({"jsonrpc":"2.0","method":"none","id":1}{"jsonrpc":"2.0","method":"echo","id":2})");
    client.Receive();
    client.Receive();

    client.Send(R"({"jsonrpc":"2.0","method":"echo","id":3})");

    EXPECT_EQ(client.Receive(), R"({"jsonrpc":"2.0","result":null,"id":3})");
}

TEST_F(SocketTransportTest, LosesBytesOfAnUnfinishedMessageBehindTwoOfOneRead) {
    Client client = Connect();
    // After the two messages as many bytes are lost as the first one has: the five of "lost{".
    client.Send(R"({"a"}{}lost{)"
                R"({"jsonrpc":"2.0","method":"none",)");
    Turn();

    client.Send(R"("id":1})");

    EXPECT_EQ(client.Receive(),
              R"({"jsonrpc":"2.0","error":{"code":-32700,"message":"Parse error"},"id":null})");
    EXPECT_EQ(client.Receive(), kNotFoundOne);
}

TEST_F(SocketTransportTest, KeepsAnUnfinishedMessageBehindASingleOneOfOneRead) {
    Client client = Connect();
    client.Send(R"({"jsonrpc":"2.0","method":"echo","id":2}{"jsonrpc":"2.0","method":"none",)");
    client.Receive();

    client.Send(R"("id":1})");

    EXPECT_EQ(client.Receive(), kNotFoundOne);
}

TEST_F(SocketTransportTest, DropsAMessageThatIsNotJson) {
    Client client = Connect();
    client.Send(R"({"jsonrpc" "2.0"})");
    Turn();

    client.Send(R"({"jsonrpc": "2.0", "method": "none", "id": 1})");

    EXPECT_EQ(client.Receive(), kNotFoundOne);
    EXPECT_EQ(log.count(R"(3 src/SocketTransport JSON parse error: "2.0"})"
                        "\n"),
              1);
}

TEST_F(SocketTransportTest, EndsAMessageAtABraceInsideAString) {
    Client client = Connect();

    client.Send(R"({"jsonrpc": "2.0", "method": "}", "id": 1})");
    Turn();

    EXPECT_EQ(log.countOf("3 src/SocketTransport JSON parse error: "), 1);
    EXPECT_EQ(listener.live().size(), 1U);
}

TEST_F(SocketTransportTest, TakesABraceThatClosesFirstAsPartOfAMessageThatIsNotJson) {
    Client client = Connect();
    client.Send("}{");
    Turn();

    client.Send(R"({"jsonrpc": "2.0", "method": "none", "id": 1})");

    EXPECT_EQ(client.Receive(), kNotFoundOne);
    EXPECT_EQ(log.count("3 src/SocketTransport JSON parse error: }{\n"), 1);
}

TEST_F(SocketTransportTest, ReadsAMessageUpToANulByte) {
    Client client = Connect();

    client.Send(std::string_view("{\"a\":\"\0\"}\0{}", 12));
    Turn();

    EXPECT_EQ(log.count("7 src/SocketTransport Got message: {\"a\":\"\n"), 1);
    EXPECT_EQ(log.count("7 src/SocketTransport Got message: \n"), 1);
    EXPECT_EQ(log.countOf("3 src/SocketTransport JSON parse error: "), 2);
}

TEST_F(SocketTransportTest, DropsAMessageThatIsNestedTooDeep) {
    Client client = Connect();
    std::string deep = "{\"a\":";
    deep += std::string(2000, '[') + std::string(2000, ']') + "}";
    client.Send(deep);

    client.Send(R"({"jsonrpc": "2.0", "method": "none", "id": 1})");

    EXPECT_EQ(client.Receive(), kNotFoundOne);
    EXPECT_EQ(log.countOf("3 src/SocketTransport JSON parse error: "), 1);
}

TEST_F(SocketTransportTest, AnswersThousandsOfMessagesOfOneRead) {
    Client client = Connect();
    std::string flood;
    for (int i = 0; i < 5000; ++i) {
        flood += "{}";
    }
    client.Send(flood);

    for (int i = 0; i < 5000; ++i) {
        ASSERT_EQ(client.Receive(),
                  R"({"jsonrpc":"2.0","error":{"code":-32700,"message":"Parse error"},"id":null})");
    }
}

TEST_F(SocketTransportTest, AnswersALongMessage) {
    Client client = Connect();
    const std::string text(4U << 20, 'x');

    client.Send(R"({"jsonrpc": "2.0", "method": "echo", "params": ")" + text + R"(", "id": 1})");

    EXPECT_EQ(client.Receive(), R"({"jsonrpc":"2.0","result":")" + text + R"(","id":1})");
}

TEST_F(SocketTransportTest, ClosesAConnectionWhoseMessageDoesNotEnd) {
    Client client = Connect();

    client.Send(std::string(SocketTransport::kMaxUnfinishedBytes + 70000, '{'));

    EXPECT_EQ(client.Receive(), "");
    EXPECT_EQ(listener.removals(), 1);
    EXPECT_EQ(log.count("4 src/SocketTransport Closing a connection: its message does not end\n"), 1);
}

TEST_F(SocketTransportTest, ClosesAConnectionThatDoesNotReadWhatItIsSent) {
    Client client = Connect();
    ASSERT_TRUE(UntilConnections(1));
    const JsonPtr params(cJSON_CreateString(std::string(1U << 20, 'x').c_str()));

    for (int i = 0; i < 17; ++i) {
        server.sendNotification("Updated", params.get(), listener.live().front());
    }
    const int removals_meanwhile = listener.removals();

    EXPECT_EQ(removals_meanwhile, 0);
    EXPECT_TRUE(UntilConnections(0));
    EXPECT_EQ(log.count("4 src/SocketTransport Closing a connection: it does not read what it is sent\n"), 1);
}

TEST_F(SocketTransportTest, KeepsAConnectionThatReadsWhatItIsSent) {
    Client client = Connect();
    ASSERT_TRUE(UntilConnections(1));
    const JsonPtr params(cJSON_CreateString(std::string(1U << 20, 'x').c_str()));

    for (int i = 0; i < 17; ++i) {
        server.sendNotification("Updated", params.get(), listener.live().front());
        ASSERT_NE(client.Receive(), "");
    }

    EXPECT_EQ(listener.live().size(), 1U);
}

TEST_F(SocketTransportTest, AnswersAClientThatEndsItsSideBehindTheRequest) {
    Client client = Connect();
    client.Send(R"({"jsonrpc": "2.0", "method": "none", "id": 1})");

    client.SendEnd();

    EXPECT_EQ(client.Receive(), kNotFoundOne);
    EXPECT_EQ(client.Receive(), "");
}

TEST_F(SocketTransportTest, RemovesAConnectionWhoseClientCloses) {
    Client client = Connect();
    ASSERT_TRUE(UntilConnections(1));

    client.Close();

    EXPECT_TRUE(UntilConnections(0));
    EXPECT_EQ(listener.removals(), 1);
    EXPECT_EQ(log.count("7 src/SocketTransport BEV_EVENT_EOF | BEV_EVENT_ERROR"), 1);
    EXPECT_EQ(log.count("7 src/SocketTransport SocketTransport::destroy()"), 1);
}

TEST_F(SocketTransportTest, RemovesAConnectionThatIsReset) {
    Client client = Connect();
    client.Send(R"({"jsonrpc": "2.0", "method": "none", "id": 1})");
    ASSERT_TRUE(Until([&client] {
        char byte;
        return recv(client.Descriptor(), &byte, 1, MSG_PEEK | MSG_DONTWAIT) == 1;
    }));

    client.Close();

    EXPECT_TRUE(UntilConnections(0));
}

TEST_F(SocketTransportTest, DropsAnUnfinishedMessageWithItsConnection) {
    Client client = Connect();
    client.Send(R"({"jsonrpc": "2.0",)");
    ASSERT_TRUE(UntilConnections(1));

    client.Close();

    EXPECT_TRUE(UntilConnections(0));
}

TEST_F(SocketTransportTest, ServesConnectionsSideBySide) {
    Client first = Connect();
    Client second = Connect();
    first.Send(R"({"jsonrpc": "2.0", "method")");

    second.Send(R"({"jsonrpc": "2.0", "method": "echo", "id": 2})");
    const std::string second_answer = second.Receive();
    first.Send(R"(: "none", "id": 1})");

    EXPECT_EQ(second_answer, R"({"jsonrpc":"2.0","result":null,"id":2})");
    EXPECT_EQ(first.Receive(), kNotFoundOne);
}

TEST_F(SocketTransportTest, MayGoWhileItsOwnMessageIsHandled) {
    ScriptedMethod end([this](cJSON*, bool& isResult, RPCTransport* caller) {
        server.sendNotification("Updated", nullptr, caller);
        SocketTransport::destroy(static_cast<SocketTransport*>(caller));
        isResult = true;
        return JsonPtr();
    });
    server.registerMethod("end", &end);
    Client client = Connect();

    client.Send(R"({"jsonrpc":"2.0","method":"end","id":1}{"jsonrpc":"2.0","method":"echo","id":2})");

    EXPECT_EQ(client.Receive(), "");
    EXPECT_TRUE(listener.live().empty());
}

TEST_F(SocketTransportTest, OpensItsDescriptorsCloseOnExec) {
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

TEST_F(SocketTransportTest, LeavesNoDescriptorBehind) {
    const std::set<int> before = open_descriptors();

    for (int i = 0; i < 20; ++i) {
        Client client = Connect();
        ASSERT_TRUE(UntilConnections(1));
        client.Close();
        ASSERT_TRUE(UntilConnections(0));
    }

    EXPECT_TRUE(Until([&before] { return open_descriptors() == before; }));
}

TEST_F(SocketTransportTest, ReplacesTheSocketFileOfAnEarlierRun) {
    listening.reset();
    std::filesystem::remove(path);
    std::ofstream(path) << "stale";
    listening = std::make_unique<SocketTransport>(&server, loop.get());

    EXPECT_TRUE(listening->listen(path.c_str()));
    EXPECT_TRUE(Connect().isConnected());
}

TEST_F(SocketTransportTest, ListensOnAPathThatJustFits) {
    const std::string name = std::string(directory) + "/";
    const std::string longest = name + std::string(sizeof(sockaddr_un::sun_path) - 1 - name.size(), 'x');

    EXPECT_TRUE(listening->listen(longest.c_str()));
    EXPECT_TRUE(std::filesystem::is_socket(longest));
}

TEST_F(SocketTransportTest, RefusesAPathThatIsTooLong) {
    const std::string name = std::string(directory) + "/";
    const std::string too_long = name + std::string(sizeof(sockaddr_un::sun_path) - name.size(), 'x');

    EXPECT_FALSE(listening->listen(too_long.c_str()));
    EXPECT_EQ(log.count("3 src/SocketTransport Not a socket path: '" + too_long + "'\n"), 1);
}

TEST_F(SocketTransportTest, RefusesAnEmptyPath) {
    EXPECT_FALSE(listening->listen(""));
}

TEST_F(SocketTransportTest, CannotListenInADirectoryThatIsMissing) {
    EXPECT_FALSE(listening->listen((std::string(directory) + "/none/socket").c_str()));
}

TEST_F(SocketTransportTest, PausesAcceptingWithoutDescriptorsAndResumes) {
    const Client client = Connect();

    TurnWithoutDescriptors(10);

    EXPECT_EQ(log.countOf("3 src/SocketTransport Got an error 24 "), 1);
    EXPECT_THAT(listener.live(), IsEmpty());
    EXPECT_TRUE(UntilConnections(1));
}

TEST_F(SocketTransportTest, ServesItsConnectionsWhileAcceptingPauses) {
    Client served = Connect();
    ASSERT_TRUE(UntilConnections(1));
    const Client waiting = Connect();
    TurnWithoutDescriptors(1);

    served.Send(R"({"jsonrpc": "2.0", "method": "none", "id": 1})");

    EXPECT_EQ(served.Receive(), kNotFoundOne);
    EXPECT_EQ(listener.live().size(), 1U);
}

TEST_F(SocketTransportTest, LeavesTheLoopOnAnyOtherListenerError) {
    const UniqueFd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const ListenerPtr broken(evconnlistener_new(loop.get(), nullptr, nullptr, 0, 0, socket.get()));

    errno = EINVAL;
    listening->onError(broken.get());
    event_base_dispatch(loop.get());

    EXPECT_TRUE(event_base_got_exit(loop.get()));
    EXPECT_EQ(
        log.count(
            "3 src/SocketTransport Got an error 22 (Invalid argument) on the listener. Shutting down.\n"),
        1);
}

TEST_F(SocketTransportDeathTest, StopsTheProcessWhenItSendsWithoutConnection) {
    EXPECT_EXIT(listening->sendData("text"), testing::KilledBySignal(SIGABRT), "");
}
