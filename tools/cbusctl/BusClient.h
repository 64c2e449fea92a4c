// SPDX-License-Identifier: MIT

#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "runtime/c_owner.h"
#include "tools/common/Interruption.h"
#include "tools/common/client_outcome.h"

// A message as the bus delivered it.
struct BusMessage {
    std::uint8_t type = 0;   // cbus_type_t
    std::uint16_t seqn = 0;  // of a reply: that of its request
    std::string name;
    std::string data;
};

// BusClient: one connection to the bus, for who has to survive whatever comes over it.
// Borrows: the interruption, which outlives this object.
// Errors:  kFailed: no connection, its end, bytes that are no message or no answer in time; problem() says which in
//          words. The object is of no use afterwards.
// Blocks:  connect() and call() for at most kCallLimit (the bus itself answers a request within 30 s), every method for
//          another kMessageLimit while the rest of a message that has begun to move does not.
class BusClient {
  public:
    using Outcome = ClientOutcome;

    static constexpr std::chrono::seconds kCallLimit{60};
    static constexpr std::chrono::seconds kMessageLimit{10};

    explicit BusClient(const Interruption& interruption) : m_interruption(interruption) {}

    [[nodiscard]] Outcome connect(const std::string& address);
    // Empty data sends none.
    [[nodiscard]] Outcome signal(const std::string& name, const std::string& data);
    // Sends the request; its reply, for receive() to find, has the same `seqn`.
    [[nodiscard]] Outcome ask(const std::string& name, const std::string& data, std::uint16_t& seqn);
    // Sends the request and waits for its reply, passing over everything else; `reply` is set with kOk alone.
    [[nodiscard]] Outcome call(const std::string& name, const std::string& data, BusMessage& reply);
    [[nodiscard]] Outcome receive(Deadline deadline, BusMessage& message);

    [[nodiscard]] const std::string& problem() const { return m_problem; }

  private:
    Outcome send(std::uint8_t type, const std::string& name, const std::string& data);
    Outcome fail(std::string problem);

    const Interruption& m_interruption;
    UniqueFd m_socket;
    std::uint16_t m_next_seqn = 0;
    std::string m_problem;
};
