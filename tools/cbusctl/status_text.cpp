// SPDX-License-Identifier: MIT

#include "tools/cbusctl/status_text.h"

#include <cstdio>
#include <utility>

#include "src/base/json_helpers.h"
#include "src/base/printable_text.h"

namespace {

// Columns of numbers to the right, the text last. What the bus does not know, of a client over tcp, is a "-".
std::string client_line(const BusStatus::Client& client, const Paint& paint) {
    const std::string pid = client.pid > 0 ? std::to_string(client.pid) : "-";
    const std::string uid = client.uid >= 0 ? std::to_string(client.uid) : "-";
    char numbers[160];
    std::snprintf(numbers, sizeof numbers, "%4llu %7s %5s %10llu %10llu %10llu  ",
                  static_cast<unsigned long long>(client.id), pid.c_str(), uid.c_str(),
                  static_cast<unsigned long long>(client.messages_in),
                  static_cast<unsigned long long>(client.messages_out),
                  static_cast<unsigned long long>(client.queued_bytes));
    return numbers +
           paint(Paint::Colour::kName, client.program.empty() ? "-" : text_printable(client.program));
}

JsonPtr name_json(const BusStatus::Name& name) {
    JsonPtr json(cJSON_CreateObject());
    cJSON_AddStringToObject(json.get(), "name", name.name.c_str());
    cJSON_AddNumberToObject(json.get(), "provider", static_cast<double>(name.provider));
    cJSON* waiting = cJSON_AddArrayToObject(json.get(), "waiting");
    for (const std::uint64_t id : name.waiting) {
        json_append(waiting, JsonPtr(cJSON_CreateNumber(static_cast<double>(id))));
    }
    return json;
}

}  // namespace

std::vector<std::string> status_lines(const BusStatus& status, const Paint& paint) {
    std::vector<std::string> lines = {"uptime_s " + std::to_string(status.uptime_s)};
    for (const auto& [name, count] : status.counters) {
        lines.push_back(text_printable(name) + ' ' + std::to_string(count));
    }
    lines.emplace_back("  id     pid   uid         in        out     queued  program");
    for (const BusStatus::Client& client : status.clients) {
        lines.push_back(client_line(client, paint));
    }
    return lines;
}

std::vector<std::string> list_lines(const BusStatus& status, const Paint& paint) {
    const auto client = [&](std::uint64_t id) { return text_printable(status.clientText(id)); };
    const auto shown = [&](const std::string& name) {
        return paint(Paint::Colour::kName, text_printable(name));
    };
    std::vector<std::string> lines;
    for (const BusStatus::Name& name : status.names) {
        std::string line = "name " + shown(name.name) + ' ' + client(name.provider);
        line += name.waiting.empty() ? "" : " waiting";
        for (const std::uint64_t id : name.waiting) {
            line += ' ' + client(id);
        }
        lines.push_back(line);
    }
    for (const BusStatus::Client& holder : status.clients) {
        for (const std::string& filter : holder.filters) {
            lines.push_back("filter " + shown(filter) + ' ' + client(holder.id));
        }
    }
    return lines;
}

JsonPtr list_json(const BusStatus& status) {
    JsonPtr json(cJSON_CreateObject());
    cJSON* names = cJSON_AddArrayToObject(json.get(), "names");
    for (const BusStatus::Name& name : status.names) {
        json_append(names, name_json(name));
    }
    cJSON* filters = cJSON_AddArrayToObject(json.get(), "filters");
    for (const BusStatus::Client& holder : status.clients) {
        for (const std::string& filter : holder.filters) {
            JsonPtr entry(cJSON_CreateObject());
            cJSON_AddStringToObject(entry.get(), "filter", filter.c_str());
            cJSON_AddNumberToObject(entry.get(), "client", static_cast<double>(holder.id));
            json_append(filters, std::move(entry));
        }
    }
    return json;
}
