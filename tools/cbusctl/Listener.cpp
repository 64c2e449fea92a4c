// SPDX-License-Identifier: MIT

#include "tools/cbusctl/Listener.h"

#include "cbus/cbus_wire.h"
#include "src/base/json_helpers.h"
#include "src/base/printable_text.h"
#include "tools/cbusctl/ConfigPayload.h"
#include "tools/cbusctl/monitor_text.h"
#include "tools/common/json_text.h"
#include "tools/common/time_text.h"

using Outcome = BusClient::Outcome;
using Verb = CommandLine::Verb;

namespace {

std::string with_nul(const std::string& text) {
    return {text.c_str(), text.size() + 1};
}

// Of a signal of the configuration database, unless its bytes are asked for.
std::optional<ConfigPayload> config_payload_of(const BusMessage& message, DataForm form) {
    return form == DataForm::kAuto
               ? config_payload_parse(ConfigMessageKind::kSignal, message.name, message.data)
               : std::nullopt;
}

std::string signal_text(const BusMessage& message, DataForm form, const Paint& paint) {
    const auto payload = config_payload_of(message, form);
    const std::string data = payload ? config_payload_text(*payload) : bus_data_text(message.data, form);
    return time_text(time_now_us(), TimePrecision::kMilliseconds) + ' ' +
           paint(Paint::Colour::kName, text_printable(message.name)) + (data.empty() ? "" : ' ' + data);
}

std::string signal_json(const BusMessage& message, DataForm form) {
    const JsonPtr json(cJSON_CreateObject());
    cJSON_AddStringToObject(json.get(), "time",
                            time_text(time_now_us(), TimePrecision::kMilliseconds).c_str());
    cJSON_AddStringToObject(json.get(), "name", message.name.c_str());
    if (const auto payload = config_payload_of(message, form)) {
        json_add(json.get(), "config", config_payload_json(*payload));
    } else {
        bus_data_add_to(json.get(), message.data, form);
    }
    return json_printable(*json, JsonLayout::kOneLine);
}

}  // namespace

Listener::Listener(const CommandLine& command, const Interruption& interruption, const Output& output)
    : m_command(command),
      m_output(output),
      m_form(command.is_hex ? DataForm::kHex : DataForm::kAuto),
      m_client(interruption) {}

ExitStatus Listener::run() {
    Outcome outcome = begin();
    const Deadline deadline = m_command.timeout ? Deadline::clock::now() + *m_command.timeout : kNoDeadline;
    while (outcome == Outcome::kOk && !isDone()) {
        BusMessage message;
        outcome = m_client.receive(deadline, message);
        if (outcome == Outcome::kOk) {
            take(message);
        }
    }
    return report(outcome);
}

Outcome Listener::begin() {
    Outcome outcome = m_client.connect(m_command.bus);
    if (m_command.verb == Verb::kMonitor) {
        return outcome == Outcome::kOk ? beginToMonitor() : outcome;
    }
    for (const std::string& prefix : m_command.prefixes) {
        outcome = outcome == Outcome::kOk ? m_client.signal("cbus.filter", with_nul(prefix)) : outcome;
    }
    return outcome;
}

// The bus tells nobody that he may not monitor it. But whoever may gets a copy of what he asks before its answer.
Outcome Listener::beginToMonitor() {
    Outcome outcome = learnClients();
    outcome = outcome == Outcome::kOk ? m_client.signal("cbus.monitor", "") : outcome;
    return outcome == Outcome::kOk ? m_client.ask("cbus.status", "", m_question.emplace()) : outcome;
}

// Who comes later, and everybody on a bus that tells nothing, goes by the number alone.
Outcome Listener::learnClients() {
    BusMessage reply;
    const Outcome outcome = m_client.call("cbus.status", "", reply);
    if (outcome == Outcome::kOk) {
        m_clients = bus_status_parse(reply.data).value_or(BusStatus{});
    }
    return outcome;
}

void Listener::take(const BusMessage& message) {
    if (message.type != CBUS_SIGNAL) {
        m_is_refused = message.type == CBUS_REPLY && message.seqn == m_question && !m_is_monitoring;
        return;
    }
    if (m_command.verb == Verb::kListen) {
        printSignal(message);
    } else if (message.name == "cbus.monitor") {
        printCopy(message);
    }
}

void Listener::printSignal(const BusMessage& message) {
    print(m_command.is_json ? signal_json(message, m_form) : signal_text(message, m_form, m_output.paint()));
    ++m_printed;
}

void Listener::printCopy(const BusMessage& message) {
    m_is_monitoring = true;
    const std::optional<MonitorCopy> copy = monitor_copy_parse(message.data);
    if (!copy) {
        m_output.complain("a copy that is no message, " + std::to_string(message.data.size()) + " bytes");
        return;
    }
    if (isOfOwnQuestion(*copy)) {
        return;
    }
    // Losses concern everybody, and are none of the messages that are counted.
    if (const auto lost = monitor_copy_lost(*copy)) {
        print(m_command.is_json ? monitor_lost_json(*copy, *lost)
                                : monitor_lost_text(*copy, *lost, m_output.paint()));
        return;
    }
    if (m_command.prefixes.empty() || copy->name.starts_with(m_command.prefixes.front())) {
        print(m_command.is_json ? monitor_json(*copy, m_form)
                                : monitor_text(*copy, m_clients, m_form, m_output.paint()));
        ++m_printed;
    }
}

bool Listener::isOfOwnQuestion(const MonitorCopy& copy) {
    if (copy.name != "cbus.status" || copy.seqn != m_question) {
        return false;
    }
    if (copy.type == CBUS_REQUEST && !m_self) {
        m_self = copy.from;
        return true;
    }
    return copy.type == CBUS_REPLY && copy.to == m_self;
}

void Listener::print(const std::string& line) {
    m_written = m_output.writeLine(line);
}

bool Listener::isDone() const {
    return m_is_refused || m_written != Output::Result::kWritten ||
           (m_command.count && m_printed >= *m_command.count);
}

ExitStatus Listener::report(Outcome outcome) const {
    if (m_written == Output::Result::kFailed) {
        return ExitStatus::kUnreachable;
    }
    if (m_is_refused) {
        m_output.complain("the bus does not let this user monitor it");
        return ExitStatus::kRefused;
    }
    if (outcome == Outcome::kFailed) {
        m_output.complain(m_client.problem());
        return ExitStatus::kUnreachable;
    }
    return outcome == Outcome::kTimeLimit && m_printed == 0 ? ExitStatus::kRefused : ExitStatus::kDone;
}
