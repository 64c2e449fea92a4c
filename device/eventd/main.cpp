#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "device/eventd/EventServer.h"
#include "device/program/unit_program.h"

// Without memory at the start the program ends, as the bugprone check fears.
int main(int argc, char** argv) {  // NOLINT(bugprone-exception-escape)
    std::string address;
    CLI::App app("The event handler of the unit: keeps the list of its events in the database.", "eventd");
    app.add_option("-a", address, "address of the bus (CBUS_ADDR, else unix*cbus)");
    CLI11_PARSE(app, argc, argv);

    unit_program_prepare("eventd", address);
    EventHandler handler;
    return unit_program_run("eventd", [&handler](const UnitProgram& program) {
        return std::make_shared<EventServer>(program.loop, program.connection, handler);
    });
}
