// SPDX-License-Identifier: MIT

#include "device/cbusd/bus_status.h"

#include <cjson/cJSON.h>

#include <span>
#include <utility>

#include "device/cbusd/PeerIdentity.h"
#include "src/base/json_helpers.h"
#include "src/base/printable_text.h"

namespace {

constexpr const char* kMore = "...";

// What is left of the limit. An entry costs its text and what JSON puts around it.
class TextBudget {
  public:
    bool spend(size_t text_bytes) {
        constexpr size_t kAround = 64;
        m_left -= m_left < text_bytes + kAround ? m_left : text_bytes + kAround;
        return m_left > 0;
    }

  private:
    size_t m_left = kMaxStatusTextBytes;
};

void add_number(cJSON* object, const char* name, uint64_t value) {
    cJSON_AddNumberToObject(object, name, static_cast<double>(value));
}

void add_texts(cJSON* object, const char* name, const std::vector<std::string_view>& texts,
               TextBudget& budget) {
    cJSON* array = cJSON_AddArrayToObject(object, name);
    for (const std::string_view text : texts) {
        const bool has_room = budget.spend(text.size());
        json_append(array, JsonPtr(cJSON_CreateString(has_room ? text_as_ascii(text).c_str() : kMore)));
        if (!has_room) {
            return;
        }
    }
}

void add_clients(cJSON* status, const std::vector<ClientStatus>& clients, TextBudget& budget) {
    cJSON* array = cJSON_AddArrayToObject(status, "clients");
    for (const ClientStatus& client : clients) {
        JsonPtr object(cJSON_CreateObject());
        add_number(object.get(), "id", client.id);
        cJSON_AddNumberToObject(object.get(), "pid", client.pid);
        cJSON_AddNumberToObject(object.get(), "uid", static_cast<double>(client.uid));
        cJSON_AddStringToObject(object.get(), "program", client.program.c_str());
        add_texts(object.get(), "filters", client.filters, budget);
        add_texts(object.get(), "provides", client.provides, budget);
        add_number(object.get(), "queued_bytes", client.queued_bytes);
        add_number(object.get(), "messages_in", client.messages_in);
        add_number(object.get(), "messages_out", client.messages_out);
        json_append(array, std::move(object));
    }
}

JsonPtr make_name(const std::string& name, ClientId provider, std::span<const ClientId> waiting) {
    JsonPtr object(cJSON_CreateObject());
    cJSON_AddStringToObject(object.get(), "name", name.c_str());
    add_number(object.get(), "provider", provider);
    cJSON* array = cJSON_AddArrayToObject(object.get(), "waiting");
    for (const ClientId id : waiting) {
        json_append(array, JsonPtr(cJSON_CreateNumber(id)));
    }
    return object;
}

void add_names(cJSON* status, const std::vector<NameTable::Held>& names, TextBudget& budget) {
    constexpr size_t kIdBytes = 11;
    cJSON* array = cJSON_AddArrayToObject(status, "names");
    for (const NameTable::Held& name : names) {
        if (!budget.spend(name.text.size() + kIdBytes * name.holders.size())) {
            json_append(array, make_name(kMore, kBrokerId, {}));
            return;
        }
        json_append(array, make_name(text_as_ascii(name.text), name.holders.front(),
                                     std::span(name.holders).subspan(1)));
    }
}

void add_counters(cJSON* status, const BusCounters& counters) {
    cJSON* object = cJSON_AddObjectToObject(status, "counters");
    add_number(object, "messages", counters.messages);
    add_number(object, "signals", counters.signals);
    add_number(object, "requests", counters.requests);
    add_number(object, "replies", counters.replies);
    add_number(object, "empty_replies", counters.empty_replies);
    add_number(object, "refused_clients", counters.refused_clients);
    add_number(object, "lost_clients", counters.lost_clients);
}

}  // namespace

std::string bus_status_text(const BusStatus& status) {
    const JsonPtr object(cJSON_CreateObject());
    TextBudget budget;
    add_number(object.get(), "uptime_s", status.uptime_s);
    add_clients(object.get(), status.clients, budget);
    add_names(object.get(), status.names, budget);
    add_counters(object.get(), status.counters);
    const JsonText text(cJSON_PrintUnformatted(object.get()));
    return text != nullptr ? text.get() : "";
}
