// SPDX-License-Identifier: MIT

#include "rpc_loads.h"

#include <chrono>
#include <string>
#include <thread>

#include "ApiClients.h"
#include "json_answers.h"

namespace {

constexpr const char* kCalls = "JSON-RPC";
constexpr const char* kWriter = "JSON-RPC, written";
constexpr const char* kEntries = "entries";
constexpr const char* kRules = "syslog rules";
constexpr int kCallsPerConnection = 20;
constexpr int kTries = 500;
constexpr std::chrono::milliseconds kPause{20};

class Calls : public Load {
  public:
    explicit Calls(const Soak& soak)
        : m_soak(soak), m_info(ApiConnection(soak.unit, soak.tally, kCalls).call("read", "/system/info")) {}
    void step() override {
        ApiConnection connection(m_soak.unit, m_soak.tally, kCalls);
        for (int i = 0; i < kCallsPerConnection; ++i) {
            connection.expect(m_info, "read", "/system/info");
            connection.expect("404 Not Found", "read", "/nowhere");
            connection.expect("405 Method Not Allowed", "delete", "/system/info");
            connection.expect("400 Bad Request", "update", "/example/test", R"({"c": 1.5})");
            connection.expect("-32601 Method not found", "jump", "/system/info");
            connection.expect("200 []", "read", "/system/subscriptions");
        }
        connection.expectNothingTold();
    }

  private:
    Soak m_soak;
    std::string m_info;
};

class Writer : public Load {
  public:
    explicit Writer(const Soak& soak)
        : m_soak(soak),
          m_writing(soak.unit, soak.tally, kWriter),
          m_listening(soak.unit, soak.tally, kWriter),
          m_web(soak.unit, soak.tally, kWriter, WebClient::Connection::kKept, WebClient::Cookie::kSentBack) {
        m_listening.subscribe("/example/test/static/y", "UPDATED");
    }
    void step() override {
        const std::string value = "\"" + std::to_string(++m_value) + "\"";
        m_writing.expect("200", "update", "/example/test/static/y", R"({"def": )" + value + "}");
        // An entry of a collection is what the database has last told of it.
        m_listening.expectTold(R"(Updated /example/test/static/y {"def":)" + value + "}");
        const std::string entry = R"({"id":"y","abc":null,"def":)" + value + "}";
        m_writing.expect("200 " + entry, "read", "/example/test/static/y");
        m_web.expectJson(entry, "/example/test/static/y");
        await_echo(m_soak, kWriter);
        m_listening.expectNothingTold();
    }
    void finish() override {
        m_writing.client().close();
        m_listening.client().close();
        m_web.close();
    }

  private:
    Soak m_soak;
    ApiConnection m_writing;
    ApiConnection m_listening;
    WebClient m_web;
    long m_value = 0;
};

class Entries : public Load {
  public:
    explicit Entries(const Soak& soak)
        : m_soak(soak), m_asking(soak.unit, soak.tally, kEntries), m_new(soak.unit, soak.tally, kEntries) {
        m_new.subscribe("/example/test/dynamic/new", "ALL");
    }
    void step() override {
        const std::string collection = "/example/test/dynamic";
        m_asking.expect("201", "create", collection, R"({"abc": "one"})");
        const std::string created = m_new.told();
        const std::string id =
            std::to_string(std::strtol(created.c_str() + created.find(R"("id":)") + 5, nullptr, 10));
        const std::string path = collection + "/" + id;
        m_soak.tally.check(kEntries,
                           "Created " + collection + R"(/new {"id":)" + id + R"(,"abc":"one","def":null})",
                           created);
        ApiConnection listening(m_soak.unit, m_soak.tally, kEntries);
        listening.subscribe(path, "UPDATED");
        m_asking.expect("200", "update", path, R"({"def": "two"})");
        listening.expectTold("Updated " + path + R"( {"def":"two"})");
        m_asking.expect(R"(200 {"id":)" + id + R"(,"abc":"one","def":"two"})", "read", path);
        m_asking.expect("200", "delete", path);
        listening.expectTold("Deleted " + path + " -");
        m_asking.expect("404 Not Found", "read", path);
        listening.expectNothingTold();
        m_new.expectNothingTold();
    }
    void finish() override {
        m_asking.client().close();
        m_new.client().close();
    }

  private:
    Soak m_soak;
    ApiConnection m_asking;
    ApiConnection m_new;
};

class Rules : public Load {
  public:
    explicit Rules(const Soak& soak) : m_connection(soak.unit, soak.tally, kRules) {}
    void step() override {
        const std::string path = m_connection.create(
            "/system/debug/syslog-rules", R"({"selector": "kern.info", "action": "/var/log/one"})");
        m_connection.expect("200 " + std::string(R"({"rule_id":)") + path.back() +
                                R"(,"selector":"kern.info;authpriv.none","action":"/var/log/one"})",
                            "read", path);
        m_connection.expect("200", "delete", path);
        // It goes when the disk has it and the database says so.
        for (int i = 0; i < kTries && m_connection.call("read", path) != "404 Not Found"; ++i) {
            std::this_thread::sleep_for(kPause);
        }
        m_connection.expect("404 Not Found", "read", path);
    }
    void finish() override { m_connection.client().close(); }

  private:
    ApiConnection m_connection;
};

}  // namespace

std::unique_ptr<Load> make_calls(const Soak& soak) {
    return std::make_unique<Calls>(soak);
}

std::unique_ptr<Load> make_writer(const Soak& soak) {
    return std::make_unique<Writer>(soak);
}

std::unique_ptr<Load> make_entries(const Soak& soak) {
    return std::make_unique<Entries>(soak);
}

std::unique_ptr<Load> make_rules(const Soak& soak) {
    return std::make_unique<Rules>(soak);
}
