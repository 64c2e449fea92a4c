// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <optional>

#include "tools/cbusctl/BusClient.h"
#include "tools/cbusctl/BusStatus.h"
#include "tools/cbusctl/MonitorCopy.h"
#include "tools/cbusctl/bus_data.h"
#include "tools/cbusctl/command_line.h"
#include "tools/common/Output.h"
#include "tools/common/exit_status.h"

// Listener: prints a line for every signal that begins with one of the command's prefixes (listen), or for
// every message on the bus (monitor), until the interruption, the command's count or its timeout.
// Borrows: all that is passed in; it outlives this object.
class Listener {
  public:
    Listener(const CommandLine& command, const Interruption& interruption, const Output& output);
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    // A timeout before the first message is kRefused: nothing was seen. So is a bus that does not let us monitor it.
    [[nodiscard]] ExitStatus run();

  private:
    BusClient::Outcome begin();
    BusClient::Outcome beginToMonitor();
    BusClient::Outcome learnClients();
    void take(const BusMessage& message);
    void printSignal(const BusMessage& message);
    void printCopy(const BusMessage& message);
    [[nodiscard]] bool isOfOwnQuestion(const MonitorCopy& copy);
    void print(const std::string& line);
    [[nodiscard]] bool isDone() const;
    [[nodiscard]] ExitStatus report(BusClient::Outcome outcome) const;

    const CommandLine& m_command;
    const Output& m_output;
    const DataForm m_form;
    BusClient m_client;
    BusStatus m_clients;
    std::optional<std::uint16_t> m_question;  // asked right after the wish to monitor
    std::optional<std::uint32_t> m_self;      // our id, once the question was copied
    bool m_is_monitoring = false;
    bool m_is_refused = false;
    int m_printed = 0;
    Output::Result m_written = Output::Result::kWritten;
};
