// SPDX-License-Identifier: MIT

#include "cbus/cbus_wire.h"
#include "src/base/owners.h"
#include "tools/cbusctl/bus_data.h"
#include "tools/cbusctl/commands.h"

namespace {

using Outcome = BusClient::Outcome;

Output::Result write_reply(const CommandContext& context, const BusMessage& reply) {
    const DataForm form = context.command.is_hex ? DataForm::kHex : DataForm::kAuto;
    if (!context.command.is_json) {
        return context.output.writeLine(bus_data_text(reply.data, form));
    }
    const JsonPtr json(cJSON_CreateObject());
    cJSON_AddStringToObject(json.get(), "name", reply.name.c_str());
    bus_data_add_to(json.get(), reply.data, form);
    return context.output.writeJson(*json);
}

}  // namespace

ExitStatus command_call(const CommandContext& context) {
    BusClient client(context.interruption);
    BusMessage reply;
    Outcome outcome = client.connect(context.command.bus);
    if (outcome == Outcome::kOk) {
        outcome = client.call(context.command.name, context.command.data.value_or(""), reply);
    }
    if (outcome != Outcome::kOk) {
        return command_end(outcome, client, context.output);
    }
    // So the bus answers for who is not there or silent.
    if (reply.data.empty()) {
        context.output.complain(context.command.name + ": no answer");
        return ExitStatus::kRefused;
    }
    return write_reply(context, reply) == Output::Result::kFailed ? ExitStatus::kUnreachable
                                                                  : ExitStatus::kDone;
}

ExitStatus command_send(const CommandContext& context) {
    BusClient client(context.interruption);
    Outcome outcome = client.connect(context.command.bus);
    if (outcome == Outcome::kOk) {
        outcome = client.signal(context.command.name, context.command.data.value_or(""));
    }
    // Nobody answers a signal. The bus's answer to what comes behind it tells that it was taken, from this user too.
    BusMessage answer;
    if (outcome == Outcome::kOk) {
        outcome = client.call("cbus.status", "", answer);
    }
    return command_end(outcome, client, context.output);
}
