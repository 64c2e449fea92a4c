// SPDX-License-Identifier: MIT

#pragma once

#include "tools/apictl/ApiClient.h"
#include "tools/apictl/command_line.h"
#include "tools/common/Output.h"
#include "tools/common/exit_status.h"

// SubscriptionList: prints what the unit holds as the subscriptions of a connection, which are those that it has made
// itself just before: the paths of the command. Those of other connections nobody else can see.
// Borrows: all that is passed in; it outlives this object.
class SubscriptionList {
  public:
    SubscriptionList(const CommandLine& command, const Interruption& interruption, const Output& output);

    [[nodiscard]] ExitStatus run();

  private:
    [[nodiscard]] ApiClient::Outcome readApi(const std::string& api);
    [[nodiscard]] ExitStatus finish();

    const CommandLine& m_command;
    const Output& m_output;
    ApiClient m_client;
    JsonPtr m_list;
    ApiResponse m_refusal;
    bool m_is_any_answered = false;
    Output::Result m_written = Output::Result::kWritten;
};
