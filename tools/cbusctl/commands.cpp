// SPDX-License-Identifier: MIT

#include "tools/cbusctl/commands.h"

#include <unistd.h>

#include "tools/cbusctl/Listener.h"

namespace {

using Verb = CommandLine::Verb;

// What waits for others ends with a signal, or with the reader of its output, as well.
ExitStatus run_waiting(const CommandLine& command) {
    Interruption interruption;
    const Output output("cbusctl", interruption);
    if (!interruption.addSignals()) {
        output.complain("cannot wait for signals");
        return ExitStatus::kUnreachable;
    }
    if (command.verb == Verb::kWaitFor) {
        return command_wait_for({command, interruption, output});
    }
    interruption.addReaderOf(STDOUT_FILENO);
    return Listener(command, interruption, output).run();
}

}  // namespace

ExitStatus command_run(const CommandLine& command) {
    const Interruption none;
    Output output("cbusctl", none);
    output.keepJsonOnOneLine();
    const CommandContext context{command, none, output};
    switch (command.verb) {
        case Verb::kListen:
        case Verb::kMonitor:
        case Verb::kWaitFor:
            return run_waiting(command);
        case Verb::kCall:
            return command_call(context);
        case Verb::kSend:
            return command_send(context);
        case Verb::kList:
            return command_list(context);
        default:
            return command_status(context);
    }
}

ExitStatus command_end(BusClient::Outcome outcome, const BusClient& client, const Output& output) {
    if (outcome != BusClient::Outcome::kFailed) {
        return outcome == BusClient::Outcome::kInterrupted ? ExitStatus::kRefused : ExitStatus::kDone;
    }
    output.complain(client.problem());
    return ExitStatus::kUnreachable;
}
