// SPDX-License-Identifier: MIT

#include "tools/apictl/report.h"

ExitStatus report_connection(ApiClient::Outcome outcome, const ApiClient& client, const Output& output) {
    if (outcome != ApiClient::Outcome::kFailed) {
        return ExitStatus::kDone;
    }
    output.complain(client.problem());
    return ExitStatus::kUnreachable;
}

ExitStatus report_written(Output::Result result) {
    return result == Output::Result::kFailed ? ExitStatus::kUnreachable : ExitStatus::kDone;
}

ExitStatus report_response(const ApiResponse& response, ReportForm form, const Output& output) {
    const cJSON* shown = form == ReportForm::kWholeMessage ? response.message()
                         : response.isSuccess()            ? response.data()
                                                           : nullptr;
    const Output::Result written = shown != nullptr ? output.writeJson(*shown) : Output::Result::kWritten;
    if (!response.isSuccess()) {
        output.complain(response.errorText());
        return ExitStatus::kRefused;
    }
    return report_written(written);
}
