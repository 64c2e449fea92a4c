// SPDX-License-Identifier: MIT

#include "tools/cbusctl/monitor_text.h"

#include "cbus/cbus_wire.h"
#include "src/base/hex_text.h"
#include "src/base/json_helpers.h"
#include "src/base/printable_text.h"
#include "tools/cbusctl/ConfigPayload.h"
#include "tools/common/json_text.h"
#include "tools/common/time_text.h"

namespace {

std::string kind_of(const MonitorCopy& copy) {
    switch (copy.type) {
        case CBUS_SIGNAL:
            return "signal";
        case CBUS_REQUEST:
            return "request";
        case CBUS_REPLY:
            return "reply";
        default:
            return "type-" + std::to_string(copy.type);
    }
}

Paint::Colour colour_of(const MonitorCopy& copy) {
    return copy.type == CBUS_SIGNAL    ? Paint::Colour::kGood
           : copy.type == CBUS_REQUEST ? Paint::Colour::kNotable
                                       : Paint::Colour::kName;
}

std::optional<ConfigPayload> config_payload_of(const MonitorCopy& copy) {
    const auto kind = copy.type == CBUS_REPLY     ? ConfigMessageKind::kReply
                      : copy.type == CBUS_REQUEST ? ConfigMessageKind::kRequest
                                                  : ConfigMessageKind::kSignal;
    return config_payload_parse(kind, copy.name, copy.data);
}

std::string time_of(const MonitorCopy& copy) {
    return time_text(copy.time_us, TimePrecision::kMicroseconds);
}

}  // namespace

std::string monitor_text(const MonitorCopy& copy, const BusStatus& clients, DataForm form,
                         const Paint& paint) {
    std::string text =
        time_of(copy) + ' ' + paint(colour_of(copy), kind_of(copy)) + ' ' +
        text_printable(clients.clientText(copy.from)) + " > " + text_printable(clients.clientText(copy.to)) +
        ' ' + (copy.name.empty() ? "-" : text_printable(copy.name)) + ' ' + std::to_string(copy.data.size());
    if (const auto payload = config_payload_of(copy)) {
        const std::string decoded = config_payload_text(*payload);
        text += decoded.empty() ? "" : ' ' + decoded;
    }
    return form == DataForm::kHex && !copy.data.empty() ? text + ' ' + hex_text(copy.data) : text;
}

std::string monitor_json(const MonitorCopy& copy, DataForm form) {
    const JsonPtr json(cJSON_CreateObject());
    cJSON_AddStringToObject(json.get(), "time", time_of(copy).c_str());
    cJSON_AddStringToObject(json.get(), "kind", kind_of(copy).c_str());
    cJSON_AddNumberToObject(json.get(), "from", copy.from);
    cJSON_AddNumberToObject(json.get(), "to", copy.to);
    cJSON_AddStringToObject(json.get(), "name", std::string(copy.name).c_str());
    cJSON_AddNumberToObject(json.get(), "size", static_cast<double>(copy.data.size()));
    if (const auto payload = config_payload_of(copy)) {
        json_add(json.get(), "config", config_payload_json(*payload));
    }
    if (form == DataForm::kHex) {
        cJSON_AddStringToObject(json.get(), "hex", hex_text(copy.data).c_str());
    }
    return json_printable(*json, JsonLayout::kOneLine);
}

std::string monitor_lost_text(const MonitorCopy& copy, std::uint32_t count, const Paint& paint) {
    return time_of(copy) + ' ' + paint(Paint::Colour::kBad, "lost") + ' ' + std::to_string(count) +
           " messages";
}

std::string monitor_lost_json(const MonitorCopy& copy, std::uint32_t count) {
    const JsonPtr json(cJSON_CreateObject());
    cJSON_AddStringToObject(json.get(), "time", time_of(copy).c_str());
    cJSON_AddStringToObject(json.get(), "kind", "lost");
    cJSON_AddNumberToObject(json.get(), "count", count);
    return json_printable(*json, JsonLayout::kOneLine);
}
