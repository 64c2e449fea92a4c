// SPDX-License-Identifier: MIT

#include <sys/stat.h>

#include <memory>
#include <optional>
#include <string>

#include "command_line/CommandLineParser.h"
#include "config_client/config_client_api.h"
#include "device/diagd/DiagService.h"
#include "device/program/unit_program.h"

// Without memory at the start the program ends, as the bugprone check fears.
int main(int argc, char** argv) {  // NOLINT(bugprone-exception-escape)
    std::string address;
    std::string directory = "/tmp";
    unsigned retry_s = 60;
    CommandLineParser parser("diagd",
                             "Makes the diagnostic report of the unit when the configuration asks for one.");
    parser.set_footer("The report holds the configuration with every secret in it: handle it accordingly.");
    unit_program_add_bus(parser, address);
    parser.add("-o DIRECTORY", directory, "directory of diag_report.tar.gz").show_default();
    parser.add("--retry SECONDS", retry_s, "seconds until a report that failed is tried again")
        .check_range(1, 86400)
        .show_default();
    if (const std::optional<int> status = parser.parse(argc, argv)) {
        return *status;
    }

    unit_program_prepare("diagd");
    unit_program_choose_bus(address);
    umask(S_IRWXG | S_IRWXO);
    return unit_program_run("diagd", [&](const UnitProgram& program) {
        config_init_cbus(program.connection, nullptr);
        auto service = std::make_shared<DiagService>(program.loop, directory, retry_s);
        unit_program_log_serving("diagd", program.connection);
        return service;
    });
}
