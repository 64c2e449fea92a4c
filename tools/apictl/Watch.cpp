// SPDX-License-Identifier: MIT

#include "tools/apictl/Watch.h"

#include "tools/apictl/notification_text.h"
#include "tools/apictl/report.h"
#include "tools/apictl/subscription.h"
#include "tools/common/json_text.h"
#include "tools/common/time_text.h"

using Outcome = ApiClient::Outcome;

Watch::Watch(const CommandLine& command, const Interruption& interruption, const Output& output)
    : m_command(command),
      m_output(output),
      m_client(interruption, [this](const cJSON& message) { print(message); }) {}

ExitStatus Watch::run() {
    Outcome outcome = m_client.connect(m_command.socket);
    if (outcome == Outcome::kOk) {
        if (const auto status = subscribe(m_client, m_command, m_output)) {
            return *status;
        }
    }
    const Deadline deadline = m_command.timeout ? Deadline::clock::now() + *m_command.timeout : kNoDeadline;
    while (outcome == Outcome::kOk && !isDone()) {
        outcome = m_client.receive(deadline);
    }
    if (isDone()) {
        return report_written(m_written);
    }
    const bool saw_nothing = outcome == Outcome::kTimeLimit && m_printed == 0;
    return saw_nothing ? ExitStatus::kRefused : report_connection(outcome, m_client, m_output);
}

bool Watch::isDone() const {
    return m_written != Output::Result::kWritten || (m_command.count && m_printed >= *m_command.count);
}

void Watch::print(const cJSON& message) {
    const std::string line = m_command.is_raw ? json_printable(message, JsonLayout::kOneLine)
                             : m_command.is_json
                                 ? notification_json(message, time_now_us())
                                 : notification_text(message, time_now_us(), m_output.paint());
    if (!isDone() && !line.empty()) {
        m_written = m_output.writeLine(line);
        ++m_printed;
    }
}
