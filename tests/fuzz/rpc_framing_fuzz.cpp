#include <cstdint>
#include <string_view>

#include "src/rpc/Funct.h"
#include "src/rpc/MessageScanner.h"
#include "src/rpc/RPCServer.h"
#include "src/rpc/RPCTransport.h"

namespace {

class Peer : public RPCTransport {
  public:
    using RPCTransport::RPCTransport;
    void sendData(const char* text) override { m_sent += std::string_view(text).size(); }

  private:
    size_t m_sent = 0;
};

// Answers with its own params, so that whatever was parsed is printed again.
class Echo : public Funct {
  public:
    cJSON* doit(cJSON* params, bool& isResult, RPCTransport*) override {
        isResult = true;
        return cJSON_Duplicate(params, 1);
    }
};

}  // namespace

// A stream of messages: where they end, what they say, and the answers.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static Echo echo;
    RPCServer server;
    server.registerMethod("read", &echo);
    Peer peer(&server);
    MessageScanner scanner;
    const std::string_view stream(reinterpret_cast<const char*>(data), size);
    size_t start = 0;
    while (const size_t end = scanner.findEnd(stream)) {
        const std::string_view text = stream.substr(start, end - start);
        if (const JsonPtr message{cJSON_ParseWithLength(text.data(), text.size())}) {
            peer.dataReceived(message.get());
        }
        start = end;
    }
    return 0;
}
