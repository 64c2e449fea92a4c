// SPDX-License-Identifier: MIT

#pragma once

#include <deque>
#include <optional>
#include <string>

#include "RunningUnit.h"
#include "Tally.h"

// WebClient: a client of the HTTP side whose requests are counted as one kind.
// Borrows: unit and tally.
// Errors:  a connection that ends without a whole answer gives the status 0 and is opened anew with the next request.
class WebClient {
  public:
    enum class Connection { kKept, kOnePerRequest };
    enum class Cookie { kSentBack, kForgotten };

    WebClient(const RunningUnit& unit, Tally& tally, std::string kind, Connection connection, Cookie cookie);

    // Without a check and not counted; the payload goes under "data".
    HttpResponse ask(const std::string& method, const std::string& target, const std::string& payload = {});
    // The answer has to have this status.
    void expect(int status, const std::string& method, const std::string& target,
                const std::string& payload = {});
    // The answer to a GET has to be 200 with this JSON, given without blanks.
    void expectJson(const std::string& expected, const std::string& target);
    // The body of a GET, which has to answer 200, without blanks.
    std::string read(const std::string& target);
    void close() { m_client.reset(); }

  private:
    const RunningUnit& m_unit;
    Tally& m_tally;
    std::string m_kind;
    Connection m_connection;
    Cookie m_cookie_use;
    std::optional<HttpClient> m_client;
    std::string m_cookie;
};

// ApiConnection: a connection to the JSON-RPC side whose calls are counted as one kind. What is notified between a
//   call and its answer is kept until it is asked for.
// Borrows: unit and tally.
class ApiConnection {
  public:
    ApiConnection(const RunningUnit& unit, Tally& tally, std::string kind);

    // "200", "200 JSON" or "404 Not Found" (an error), "no answer".
    std::string call(const std::string& method, const std::string& path, const std::string& data = {});
    void expect(const std::string& answer, const std::string& method, const std::string& path,
                const std::string& data = {});
    // Where a created resource is.
    std::string create(const std::string& path, const std::string& data);
    // Of a resource, with its tree ("example") in front; `include` is NONE, UPDATED or ALL.
    void subscribe(const std::string& path, const std::string& include,
                   const std::string& recursive = "false");

    // The next notification as text; empty, and counted as lost, when none comes within ten seconds.
    std::string told();
    // The next one has to be this.
    void expectTold(const std::string& expected);
    // None may be waiting.
    void expectNothingTold();
    // What was told and not asked for.
    [[nodiscard]] bool hasTold() const { return !m_told.empty(); }

    [[nodiscard]] RpcClient& client() { return m_client; }

  private:
    JsonPtr answer();

    Tally& m_tally;
    std::string m_kind;
    RpcClient m_client;
    std::deque<std::string> m_told;
};
