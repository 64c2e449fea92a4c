// SPDX-License-Identifier: MIT

#include "tools/apictl/subscription.h"

#include <algorithm>

#include "tools/apictl/report.h"

namespace {

// Without slashes in front.
std::string below_root(const std::string& path) {
    return path.substr(std::min(path.find_first_not_of('/'), path.size()));
}

JsonPtr options_of(const CommandLine& command) {
    JsonPtr options(cJSON_CreateObject());
    cJSON_AddBoolToObject(options.get(), "recursive", command.is_recursive ? 1 : 0);
    cJSON_AddStringToObject(options.get(), "data_include", command.include.c_str());
    return options;
}

}  // namespace

std::string subscription_api(const std::string& path) {
    const std::string rest = below_root(path);
    return "/" + rest.substr(0, rest.find('/'));
}

std::string subscription_path(const std::string& path) {
    return subscription_api(path) + "/subscriptions/" + below_root(path);
}

std::optional<ExitStatus> subscribe(ApiClient& client, const CommandLine& command, const Output& output) {
    const JsonPtr options = options_of(command);
    for (const std::string& path : command.paths) {
        ApiResponse response;
        const ApiClient::Outcome outcome =
            client.call({"create", subscription_path(path), options.get()}, response);
        if (outcome != ApiClient::Outcome::kOk) {
            return report_connection(outcome, client, output);
        }
        if (!response.isSuccess()) {
            output.complain(path + ": " + response.errorText());
            return ExitStatus::kRefused;
        }
    }
    return std::nullopt;
}
