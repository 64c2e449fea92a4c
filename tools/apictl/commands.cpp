// SPDX-License-Identifier: MIT

#include "tools/apictl/commands.h"

#include <variant>

#include "tools/apictl/SubscriptionList.h"
#include "tools/apictl/Watch.h"
#include "tools/apictl/payload.h"
#include "tools/apictl/report.h"

namespace {

using Outcome = ApiClient::Outcome;
using Verb = CommandLine::Verb;

const char* method_of(Verb verb) {
    switch (verb) {
        case Verb::kCreate:
            return "create";
        case Verb::kUpdate:
            return "update";
        case Verb::kDelete:
            return "delete";
        default:
            return "read";
    }
}

Output make_output(const CommandLine& command, const Interruption& interruption) {
    Output output("apictl", interruption);
    if (command.is_json) {
        output.keepJsonOnOneLine();
    }
    return output;
}

ExitStatus call(const CommandLine& command, const cJSON* data, const Output& output) {
    const Interruption none;
    ApiClient client(none);
    ApiResponse response;
    Outcome outcome = client.connect(command.socket);
    if (outcome == Outcome::kOk) {
        outcome = client.call({method_of(command.verb), command.paths.front(), data}, response);
    }
    if (outcome != Outcome::kOk) {
        return report_connection(outcome, client, output);
    }
    return report_response(response, command.is_raw ? ReportForm::kWholeMessage : ReportForm::kData, output);
}

ExitStatus run_call(const CommandLine& command) {
    const Interruption none;
    const Output output = make_output(command, none);
    if (!command.payload) {
        return call(command, nullptr, output);
    }
    const std::variant<JsonPtr, InputError> payload = payload_read(*command.payload);
    if (const auto* error = std::get_if<InputError>(&payload)) {
        output.complain(error->text);
        return ExitStatus::kUsage;
    }
    return call(command, std::get<JsonPtr>(payload).get(), output);
}

ExitStatus run_subscriptions(const CommandLine& command) {
    const Interruption none;
    const Output output = make_output(command, none);
    return SubscriptionList(command, none, output).run();
}

ExitStatus run_watch(const CommandLine& command) {
    Interruption interruption;
    const Output output = make_output(command, interruption);
    if (!interruption.addSignals()) {
        output.complain("cannot wait for signals");
        return ExitStatus::kUnreachable;
    }
    interruption.addReaderOf(STDOUT_FILENO);
    return Watch(command, interruption, output).run();
}

}  // namespace

ExitStatus command_run(const CommandLine& command) {
    switch (command.verb) {
        case Verb::kWatch:
            return run_watch(command);
        case Verb::kSubscriptions:
            return run_subscriptions(command);
        default:
            return run_call(command);
    }
}
