// SPDX-License-Identifier: MIT

#pragma once

#include "config_client/config_client_api.h"
#include "tools/common/Output.h"
#include "tools/common/exit_status.h"
#include "tools/configctl/Database.h"
#include "tools/configctl/command_line.h"

// ChangeWatch: prints a line for every changed key that begins with one of the command's prefixes, until the
// interruption, the command's count or its timeout.
// Borrows: all that is passed in; it outlives this object.
class ChangeWatch {
  public:
    ChangeWatch(const CommandLine& command, Database& database, const Interruption& interruption,
                const Output& output);
    ChangeWatch(const ChangeWatch&) = delete;
    ChangeWatch& operator=(const ChangeWatch&) = delete;
    ~ChangeWatch();

    // A timeout before the first change is kRefused: nothing was seen.
    [[nodiscard]] ExitStatus run();

  private:
    static void on_change(unsigned int count, const config_data_t* elements, void* self);
    void print(const config_data_t& changed);
    [[nodiscard]] bool isDone() const;
    ExitStatus report(Interruption::Wakeup wakeup) const;

    const CommandLine& m_command;
    Database& m_database;
    const Interruption& m_interruption;
    const Output& m_output;
    std::vector<std::string> m_prefixes;
    int m_printed = 0;
    Output::Result m_written = Output::Result::kWritten;
};

// Those that no other one of them covers, each once: with them a key is told once.
[[nodiscard]] std::vector<std::string> change_prefixes(const std::vector<std::string>& prefixes);

// "2026-11-21T14:03:05.042 cfg.a = text", or "... cfg.a deleted"; {"time", "key", "value"}, the value null
// for a deleted key. Printable.
[[nodiscard]] std::string change_text(const config_data_t& changed, std::uint64_t time_us,
                                      const Paint& paint);
[[nodiscard]] std::string change_json(const config_data_t& changed, std::uint64_t time_us);
