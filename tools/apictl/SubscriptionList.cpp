// SPDX-License-Identifier: MIT

#include "tools/apictl/SubscriptionList.h"

#include <set>
#include <utility>

#include "src/base/json_helpers.h"
#include "tools/apictl/report.h"
#include "tools/apictl/subscription.h"

using Outcome = ApiClient::Outcome;

namespace {

std::set<std::string> apis_of(const CommandLine& command) {
    // The daemon has no list of its APIs.
    std::set<std::string> apis = {"/system", "/example"};
    for (const std::string& path : command.paths) {
        apis.insert(subscription_api(path));
    }
    return apis;
}

void append_copies(cJSON* list, const cJSON* items) {
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, items) {
        json_append(list, JsonPtr(cJSON_Duplicate(item, 1)));
    }
}

}  // namespace

SubscriptionList::SubscriptionList(const CommandLine& command, const Interruption& interruption,
                                   const Output& output)
    : m_command(command), m_output(output), m_client(interruption), m_list(cJSON_CreateArray()) {}

ExitStatus SubscriptionList::run() {
    Outcome outcome = m_client.connect(m_command.socket);
    if (outcome == Outcome::kOk) {
        if (const auto status = subscribe(m_client, m_command, m_output)) {
            return *status;
        }
    }
    for (const std::string& api : apis_of(m_command)) {
        if (outcome == Outcome::kOk) {
            outcome = readApi(api);
        }
    }
    return outcome == Outcome::kOk ? finish() : report_connection(outcome, m_client, m_output);
}

// An API that is not served, or closed, is refused and has none.
Outcome SubscriptionList::readApi(const std::string& api) {
    ApiResponse response;
    const Outcome outcome = m_client.call({"read", api + "/subscriptions"}, response);
    if (outcome != Outcome::kOk) {
        return outcome;
    }
    if (!response.isSuccess()) {
        m_refusal = std::move(response);
        return outcome;
    }
    m_is_any_answered = true;
    append_copies(m_list.get(), response.data());
    if (m_command.is_raw && m_written == Output::Result::kWritten) {
        m_written = m_output.writeJson(*response.message());
    }
    return outcome;
}

ExitStatus SubscriptionList::finish() {
    if (!m_is_any_answered) {
        return report_response(m_refusal, ReportForm::kData, m_output);
    }
    if (!m_command.is_raw) {
        m_written = m_output.writeJson(*m_list);
    }
    if (m_command.paths.empty()) {
        m_output.complain("a subscription is seen by its own connection alone, and this one was new");
    }
    return report_written(m_written);
}
