// SPDX-License-Identifier: MIT

#include "tools/cbusctl/BusStatus.h"

#include "src/base/json_helpers.h"
#include "src/base/owners.h"

namespace {

// 2^53: what a double holds exactly, and a cast of which is defined.
constexpr double kMaxNumber = 9007199254740992.0;

std::uint64_t number_of(const cJSON* item) {
    const bool is_number =
        cJSON_IsNumber(item) != 0 && item->valuedouble >= 0 && item->valuedouble <= kMaxNumber;
    return is_number ? static_cast<std::uint64_t>(item->valuedouble) : 0;
}

std::uint64_t number_of(const cJSON* object, const char* name) {
    return number_of(cJSON_GetObjectNumber(object, name));
}

std::string text_of(const cJSON* object, const char* name) {
    const cJSON* item = cJSON_GetObjectString(object, name);
    return item != nullptr ? item->valuestring : "";
}

template <class Use>
void for_each(const cJSON* object, const char* name, Use use) {
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, cJSON_GetObjectArray(object, name)) {
        use(item);
    }
}

std::int64_t uid_of(const cJSON* client) {
    const cJSON* uid = cJSON_GetObjectNumber(client, "uid");
    return uid != nullptr && uid->valuedouble >= 0 ? static_cast<std::int64_t>(number_of(uid)) : -1;
}

BusStatus::Client client_of(const cJSON* json) {
    BusStatus::Client client{number_of(json, "id"),
                             number_of(json, "pid"),
                             uid_of(json),
                             text_of(json, "program"),
                             {},
                             number_of(json, "queued_bytes"),
                             number_of(json, "messages_in"),
                             number_of(json, "messages_out")};
    for_each(json, "filters", [&client](const cJSON* filter) {
        if (cJSON_IsString(filter) != 0) {
            client.filters.emplace_back(filter->valuestring);
        }
    });
    return client;
}

BusStatus::Name name_of(const cJSON* json) {
    BusStatus::Name name{text_of(json, "name"), number_of(json, "provider"), {}};
    for_each(json, "waiting", [&name](const cJSON* id) { name.waiting.push_back(number_of(id)); });
    return name;
}

}  // namespace

std::string BusStatus::clientText(std::uint64_t id) const {
    if (id == 0) {
        return "bus";
    }
    for (const Client& client : clients) {
        if (client.id == id && !client.program.empty()) {
            return client.program + "/" + std::to_string(id);
        }
    }
    return std::to_string(id);
}

bool BusStatus::serves(std::string_view name) const {
    for (const Name& provided : names) {
        const std::string_view prefix = provided.name;
        if (name.starts_with(prefix) && (name.size() == prefix.size() || name[prefix.size()] == '.')) {
            return true;
        }
    }
    return false;
}

std::optional<BusStatus> bus_status_parse(std::string_view data) {
    const JsonPtr json = json_parse(std::string(data.substr(0, data.find('\0'))));
    if (cJSON_IsObject(json.get()) == 0) {
        return std::nullopt;
    }
    BusStatus status;
    status.uptime_s = number_of(json.get(), "uptime_s");
    for_each(json.get(), "clients", [&](const cJSON* item) { status.clients.push_back(client_of(item)); });
    for_each(json.get(), "names", [&](const cJSON* item) { status.names.push_back(name_of(item)); });
    const cJSON* counter = nullptr;
    cJSON_ArrayForEach(counter, cJSON_GetObjectObject(json.get(), "counters")) {
        status.counters.emplace_back(counter->string, number_of(counter));
    }
    return status;
}
