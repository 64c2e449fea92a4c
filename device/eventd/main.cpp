// SPDX-License-Identifier: MIT

#include <memory>
#include <optional>
#include <string>

#include "command_line/CommandLineParser.h"
#include "device/eventd/EventServer.h"
#include "device/program/unit_program.h"

// Without memory at the start the program ends, as the bugprone check fears.
int main(int argc, char** argv) {  // NOLINT(bugprone-exception-escape)
    std::string address;
    CommandLineParser parser("eventd",
                             "The event handler of the unit: keeps the list of its events in the database.");
    unit_program_add_bus(parser, address);
    if (const std::optional<int> status = parser.parse(argc, argv)) {
        return *status;
    }

    unit_program_prepare("eventd");
    unit_program_choose_bus(address);
    EventHandler handler;
    return unit_program_run("eventd", [&handler](const UnitProgram& program) {
        return std::make_shared<EventServer>(program.loop, program.connection, handler);
    });
}
