// SPDX-License-Identifier: MIT

#include "device/cbusd/Routes.h"

bool is_control_signal(std::string_view name) {
    return name == "cbus.filter" || name == "cbus.provide" || name == "cbus.monitor";
}

bool is_broker_request(std::string_view name) {
    return name == "cbus.status";
}

void Routes::remove_client(ClientId client) {
    m_filters.remove_client(client);
    m_providers.remove_client(client);
    m_silent.erase(client);
}

std::optional<ClientId> Routes::provider_of(std::string_view name) const {
    const auto provider = is_broker_request(name) ? std::nullopt : m_providers.first_holder_of_path(name);
    return provider && !m_silent.contains(*provider) ? provider : std::nullopt;
}

std::vector<ClientId> Routes::receivers_of(ClientId sender, const BusMessage& message) const {
    switch (message.header.type) {
        case CBUS_SIGNAL: {
            if (is_control_signal(message.name)) {
                return {};
            }
            std::vector<ClientId> receivers = m_filters.holders_of_beginning(message.name);
            std::erase(receivers, sender);
            return receivers;
        }
        case CBUS_REQUEST:
            return {provider_of(message.name).value_or(sender)};
        default: {
            const PendingRequest* request = m_pending.find(sender, message.header);
            return request != nullptr ? std::vector{request->origin} : std::vector<ClientId>{};
        }
    }
}
