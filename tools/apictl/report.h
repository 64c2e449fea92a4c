// SPDX-License-Identifier: MIT

#pragma once

#include "tools/apictl/ApiClient.h"
#include "tools/apictl/ApiResponse.h"
#include "tools/common/Output.h"
#include "tools/common/exit_status.h"

// What a command says at its end, and the exit status that goes with it.

// Complains when the client has failed. An interruption or a time limit is a good end.
[[nodiscard]] ExitStatus report_connection(ApiClient::Outcome outcome, const ApiClient& client,
                                           const Output& output);

// The output has complained itself.
[[nodiscard]] ExitStatus report_written(Output::Result result);

enum class ReportForm { kData, kWholeMessage };

// Writes the data of a success, if there is any, or the whole message; complains about an error answer.
[[nodiscard]] ExitStatus report_response(const ApiResponse& response, ReportForm form, const Output& output);
