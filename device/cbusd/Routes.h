// SPDX-License-Identifier: MIT

#pragma once

#include <optional>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "device/cbusd/MessageReader.h"
#include "device/cbusd/NameTable.h"
#include "device/cbusd/PendingRequests.h"
#include "device/cbusd/client_id.h"

// What a signal of this name is about is between its sender and the broker.
[[nodiscard]] bool is_control_signal(std::string_view name);
// Answered by the broker itself.
[[nodiscard]] bool is_broker_request(std::string_view name);

// Routes: who gets which message.
// Borrows: the pending requests; they outlive this object.
class Routes {
  public:
    explicit Routes(const PendingRequests& pending) : m_pending(pending) {}

    [[nodiscard]] NameTable& filters() { return m_filters; }
    [[nodiscard]] NameTable& providers() { return m_providers; }
    [[nodiscard]] const NameTable& filters() const { return m_filters; }
    [[nodiscard]] const NameTable& providers() const { return m_providers; }
    void remove_client(ClientId client);

    // The provider has let a request run out: it is asked nothing more until something comes from it. False when that
    // was known.
    bool note_silent(ClientId provider) { return m_silent.insert(provider).second; }
    void note_heard(ClientId client) { m_silent.erase(client); }

    // Nothing when the request is for the broker, or nobody serves it at present.
    [[nodiscard]] std::optional<ClientId> provider_of(std::string_view name) const;
    // Whose queue this message makes longer, be it by the broker's answer to its sender. Nobody's when it is for the
    // broker alone, or for nobody.
    [[nodiscard]] std::vector<ClientId> receivers_of(ClientId sender, const BusMessage& message) const;

  private:
    const PendingRequests& m_pending;
    NameTable m_filters;
    NameTable m_providers;
    std::unordered_set<ClientId> m_silent;
};
