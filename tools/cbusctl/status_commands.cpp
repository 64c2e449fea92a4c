// SPDX-License-Identifier: MIT

#include <algorithm>
#include <optional>
#include <variant>

#include "src/base/json_helpers.h"
#include "tools/cbusctl/BusStatus.h"
#include "tools/cbusctl/commands.h"
#include "tools/cbusctl/status_text.h"

namespace {

using Outcome = BusClient::Outcome;

// The bus tells of no change, so the status is asked for again and again.
constexpr std::chrono::milliseconds kWaitPause{100};

// The status, or what to end with.
std::variant<BusStatus, ExitStatus> ask(BusClient& client, const Output& output,
                                        std::string* text = nullptr) {
    BusMessage reply;
    const Outcome outcome = client.call("cbus.status", "", reply);
    if (outcome != Outcome::kOk) {
        return command_end(outcome, client, output);
    }
    std::optional<BusStatus> status = bus_status_parse(reply.data);
    if (!status) {
        output.complain("the bus does not tell its status");
        return ExitStatus::kRefused;
    }
    if (text != nullptr) {
        *text = reply.data.substr(0, reply.data.find('\0'));
    }
    return std::move(*status);
}

std::variant<BusStatus, ExitStatus> connect_and_ask(const CommandContext& context,
                                                    std::string* text = nullptr) {
    BusClient client(context.interruption);
    if (const Outcome outcome = client.connect(context.command.bus); outcome != Outcome::kOk) {
        return command_end(outcome, client, context.output);
    }
    return ask(client, context.output, text);
}

ExitStatus write_lines(const std::vector<std::string>& lines, const Output& output) {
    for (const std::string& line : lines) {
        const Output::Result written = output.writeLine(line);
        if (written != Output::Result::kWritten) {
            return written == Output::Result::kFailed ? ExitStatus::kUnreachable : ExitStatus::kDone;
        }
    }
    return ExitStatus::kDone;
}

ExitStatus write_json(const cJSON& json, const Output& output) {
    return output.writeJson(json) == Output::Result::kFailed ? ExitStatus::kUnreachable : ExitStatus::kDone;
}

}  // namespace

ExitStatus command_status(const CommandContext& context) {
    std::string text;
    const auto status = connect_and_ask(context, &text);
    if (const auto* end = std::get_if<ExitStatus>(&status)) {
        return *end;
    }
    // As the bus said it: it may have more members than this program knows.
    return context.command.is_json
               ? write_json(*json_parse(text), context.output)
               : write_lines(status_lines(std::get<BusStatus>(status), context.output.paint()),
                             context.output);
}

ExitStatus command_list(const CommandContext& context) {
    const auto status = connect_and_ask(context);
    if (const auto* end = std::get_if<ExitStatus>(&status)) {
        return *end;
    }
    const auto& bus = std::get<BusStatus>(status);
    return context.command.is_json ? write_json(*list_json(bus), context.output)
                                   : write_lines(list_lines(bus, context.output.paint()), context.output);
}

ExitStatus command_wait_for(const CommandContext& context) {
    const auto& timeout = context.command.timeout;
    const Deadline deadline = timeout ? Deadline::clock::now() + *timeout : kNoDeadline;
    BusClient client(context.interruption);
    if (const Outcome outcome = client.connect(context.command.bus); outcome != Outcome::kOk) {
        return command_end(outcome, client, context.output);
    }
    for (;;) {
        const auto status = ask(client, context.output);
        if (const auto* end = std::get_if<ExitStatus>(&status)) {
            return *end;
        }
        if (std::get<BusStatus>(status).serves(context.command.name)) {
            return ExitStatus::kDone;
        }
        const auto now = Deadline::clock::now();
        if (now >= deadline) {
            context.output.complain(context.command.name + ": nobody provides it");
            return ExitStatus::kRefused;
        }
        const auto wakeup = context.interruption.await(-1, 0, std::min<Deadline>(deadline, now + kWaitPause));
        if (wakeup == Interruption::Wakeup::kInterrupted) {
            return ExitStatus::kRefused;
        }
    }
}
