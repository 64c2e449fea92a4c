#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "config_client/config_client_api.h"
#include "device/diagd/DiagService.h"
#include "device/program/unit_program.h"

// Without memory at the start the program ends, as the bugprone check fears.
int main(int argc, char** argv) {  // NOLINT(bugprone-exception-escape)
    std::string address;
    std::string directory = "/tmp";
    unsigned retry_s = 60;
    CLI::App app("Makes the diagnostic report of the unit when the configuration asks for one.", "diagd");
    app.footer("The report holds the configuration with every secret in it: handle it accordingly.");
    app.add_option("-a", address, "address of the bus (CBUS_ADDR, else unix*cbus)");
    app.add_option("-o", directory, "directory of diag_report.tar.gz")->capture_default_str();
    app.add_option("--retry", retry_s, "seconds until a report that failed is tried again")
        ->check(CLI::Range(1U, 86400U))
        ->capture_default_str();
    CLI11_PARSE(app, argc, argv);

    unit_program_prepare("diagd", address);
    umask(S_IRWXG | S_IRWXO);
    return unit_program_run("diagd", [&](const UnitProgram& program) {
        config_init_cbus(program.connection, nullptr);
        auto service = std::make_shared<DiagService>(program.loop, directory, retry_s);
        unit_program_log_serving("diagd", program.connection);
        return service;
    });
}
