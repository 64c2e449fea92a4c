// SPDX-License-Identifier: MIT

#include "tools/common/command_line_parts.h"

#include "cbus/bus_address.h"

void command_line_explain_statuses(CommandLineParser& parser, const std::string& answerer) {
    parser.set_footer("Exit status: 0 done, 1 " + answerer + " answered with an error, 2 usage, 3 " +
                      answerer + " cannot be reached.");
}

void command_line_add_count(CommandLineOptions verb, std::optional<int>& count, const std::string& things) {
    verb.add("-n,--count N", count, "end after that many " + things);
}

void command_line_add_timeout(CommandLineOptions verb, std::optional<std::chrono::seconds>& timeout) {
    verb.add("-t,--timeout SECONDS", timeout, "end after that many seconds");
}

void command_line_add_bus(CommandLineParser& parser, std::string& address) {
    parser.add("-a,--address ADDRESS", address,
               std::string("address of the bus (CBUS_ADDR, else ") + kBusDefaultAddress + ")");
}
