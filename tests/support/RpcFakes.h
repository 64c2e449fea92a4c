// SPDX-License-Identifier: MIT

#pragma once

#include <functional>
#include <string>
#include <vector>

#include "src/base/owners.h"
#include "src/rpc/Funct.h"
#include "src/rpc/RPCTransport.h"
#include "src/rpc/TransportListener.h"

inline std::string print_compact(const cJSON* item) {
    const JsonText text(cJSON_PrintUnformatted(item));
    return text == nullptr ? std::string() : std::string(text.get());
}

inline JsonPtr parse(const std::string& text) {
    return JsonPtr(cJSON_Parse(text.c_str()));
}

// The other end of a connection: keeps what it is sent, in order.
class RecordingTransport : public RPCTransport {
  public:
    using RPCTransport::RPCTransport;

    void sendData(const char* text) override { m_texts.emplace_back(text); }

    const std::vector<std::string>& texts() const { return m_texts; }
    // What was sent, each message without blanks.
    std::vector<std::string> messages() const {
        std::vector<std::string> compact;
        for (const std::string& text : m_texts) {
            compact.push_back(print_compact(parse(text).get()));
        }
        return compact;
    }

  private:
    std::vector<std::string> m_texts;
};

// A method that does what the test says.
class ScriptedMethod : public Funct {
  public:
    using Script = std::function<JsonPtr(cJSON* params, bool& isResult, RPCTransport* transport)>;

    explicit ScriptedMethod(Script script) : m_script(std::move(script)) {}

    cJSON* doit(cJSON* params, bool& isResult, RPCTransport* transport) override {
        return m_script(params, isResult, transport).release();
    }

  private:
    Script m_script;
};

// Knows which connections are live, and what was to be said about one that ends.
class RecordingListener : public TransportListener {
  public:
    void addTransport(RPCTransport* transport) override { m_live.push_back(transport); }
    void removeTransport(RPCTransport* transport) override {
        std::erase(m_live, transport);
        ++m_removals;
        if (onRemove) {
            onRemove(transport);
        }
    }

    const std::vector<RPCTransport*>& live() const { return m_live; }
    int removals() const { return m_removals; }

    std::function<void(RPCTransport*)> onRemove;

  private:
    std::vector<RPCTransport*> m_live;
    int m_removals = 0;
};
