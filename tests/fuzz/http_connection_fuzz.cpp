// SPDX-License-Identifier: MIT

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include <event2/event.h>

#include "HttpAnswers.h"
#include "RestTree.h"
#include "fuzz_check.h"
#include "src/base/json_helpers.h"
#include "src/http/HabEventServer.h"
#include "src/http/HabSession.h"
#include "tests/support/pump_until.h"

namespace {

// Takes an upload piece by piece and tells what it got.
class UploadHandler : public HabHandler {
  public:
    UploadHandler() { m_streaming = true; }
    int handleChunk(HabRequest* request, void*) override {
        char piece[512];
        while (request->getRequestContent(piece, sizeof piece) > 0) {
        }
        return 1;
    }
    int handleRequest(HabRequest* request) override {
        handleChunk(request, nullptr);
        request->replyPrintf("{\"length\": %d}", request->getContentLength());
        request->replyFinish();
        return 1;
    }
};

// Answers with what it was asked, as JSON.
class EchoHandler : public HabHandler {
  public:
    int handleRequest(HabRequest* request) override {
        const JsonPtr answer(cJSON_CreateObject());
        cJSON_AddStringToObject(answer.get(), "uri", request->getURI());
        const char* name = request->getParameter("name");
        cJSON_AddStringToObject(answer.get(), "name", name != nullptr ? name : "");
        cJSON_AddItemToObject(answer.get(), "body", request->readJSONBody());
        const JsonText text(cJSON_PrintUnformatted(answer.get()));
        // What a client has chosen becomes a header of the answer.
        request->addHeader("X-Uri", request->getURI());
        request->setResponseCookie("echo", name != nullptr ? name : "", "/");
        request->reply(StatusCode::kOk, text != nullptr ? text.get() : "", nullptr);
        return 1;
    }
};

// The resources and handlers behind the server, alive until the process ends.
class Handlers {
  public:
    Handlers() {
        HabDispatcher::registerUri("/upload/#name", RestTree::kAllMethods, &m_upload);
        HabDispatcher::registerUri("/echo/#name", RestTree::kAllMethods, &m_echo);
    }
    void reset() { m_resources.reset(); }

  private:
    RestTree m_resources;
    UploadHandler m_upload;
    EchoHandler m_echo;
};

// The server with a script in the place of its loop.
class Server : public HabEventServer {
  public:
    explicit Server(std::function<void(Server&)> script) : HabEventServer(0), m_script(std::move(script)) {}
    void dispatch_event() override { m_script(*this); }
    void turn() const { event_base_loop(getEventbase(), EVLOOP_NONBLOCK); }

  private:
    std::function<void(Server&)> m_script;
};

class Client {
  public:
    explicit Client(const Server& server) : m_server(server) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<uint16_t>(server.boundPort()));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        fuzz_check(connect(m_socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0);
        fcntl(m_socket.get(), F_SETFL, O_NONBLOCK);
        // Thousands of connections a second: none is to wait for its port to be free again.
        const linger at_once{1, 0};
        setsockopt(m_socket.get(), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
    }

    // False when the server has closed.
    bool send(std::string_view bytes) {
        while (!bytes.empty()) {
            const ssize_t n = ::send(m_socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (n < 0 && errno != EAGAIN) {
                return false;
            }
            bytes.remove_prefix(n > 0 ? static_cast<size_t>(n) : 0);
            turn();
        }
        return true;
    }
    // Turns the loop until nothing more comes.
    void turn() {
        for (int quiet = 0; quiet < 3;) {
            m_server.turn();
            quiet = receive() ? 0 : quiet + 1;
        }
    }
    // False when it does not come to that within seconds.
    bool turnUntil(const std::function<bool()>& condition) {
        return pump_until(m_server.getEventbase(), [&] {
            receive();
            return condition();
        });
    }
    void end_sending() { shutdown(m_socket.get(), SHUT_WR); }
    void close() { m_socket.reset(); }
    [[nodiscard]] const std::string& received() const { return m_received; }
    // By a server that had enough: what was on its way may be lost.
    [[nodiscard]] bool is_reset() const { return m_is_reset; }

  private:
    bool receive() {
        char block[16384];
        const ssize_t n = recv(m_socket.get(), block, sizeof block, 0);
        m_received.append(block, n > 0 ? static_cast<size_t>(n) : 0);
        m_is_reset = m_is_reset || (n < 0 && errno == ECONNRESET);
        return n > 0;
    }

    const Server& m_server;
    UniqueFd m_socket{socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    std::string m_received;
    bool m_is_reset = false;
};

// A byte 255, another one and a number stand for so many times 512 of the other one: the limits of the server are far
// above what is worth keeping in a file.
std::string expand(std::string_view input) {
    constexpr size_t kMaxStream = 1U << 20;
    std::string stream;
    for (size_t at = 0; at < input.size() && stream.size() < kMaxStream; ++at) {
        const bool is_run = input[at] == '\xff' && at + 2 < input.size();
        if (is_run) {
            stream.append(size_t{512} * static_cast<uint8_t>(input[at + 2]), input[at + 1]);
        } else {
            stream += input[at];
        }
        at += is_run ? 2 : 0;
    }
    return stream;
}

// Takes the answers that are whole; true when there is nothing else. Ends their sessions, for nobody comes back.
bool take_answers(const std::string& received, bool has_head) {
    HttpAnswers answers(received, has_head);
    while (const auto answer = answers.next()) {
        if (const std::string session = answer->cookie("DRHABSESSID"); !session.empty()) {
            HabSessionImpl::sessionEnded(session.c_str());
        }
    }
    return answers.is_at_end();
}

// On a machine that is busy even this network takes its time: what has to come is waited for.
void converse(Server& server, const std::string& stream, size_t piece) {
    const bool has_head = stream.find("HEAD") != std::string::npos;
    Client client(server);
    for (size_t at = 0; at < stream.size() && client.send(std::string_view(stream).substr(at, piece));
         at += piece) {
    }
    fuzz_check(
        client.turnUntil([&] { return take_answers(client.received(), has_head) || client.is_reset(); }));
    client.end_sending();
    client.turn();
    client.close();
    fuzz_check(client.turnUntil([&] {
        // A connection that is not read any further goes by its age.
        server.sweep_idle(0);
        return server.cachedRequests() == 0 && server.waitingRequests() == 0;
    }));
}

}  // namespace

// What comes on one connection to the real server, with the dispatcher, sessions, resources and an upload behind it:
// every answer is a well-formed one, nothing closed is reached, and nothing is left of the connection.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    static Handlers& handlers = *new Handlers;
    // The first byte says how large the pieces are in which the stream comes.
    const size_t piece = (size_t{data[0]} + 1) * 16;
    const std::string stream = expand({reinterpret_cast<const char*>(data + 1), size - 1});
    const int free_descriptor = UniqueFd(dup(0)).get();
    {
        Server server([&](Server& running) { converse(running, stream, piece); });
        fuzz_check(server.run() == 0);
    }
    handlers.reset();
    fuzz_check(UniqueFd(dup(0)).get() == free_descriptor);
    return 0;
}
