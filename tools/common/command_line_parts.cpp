#include "tools/common/command_line_parts.h"

#include <cstdlib>
#include <limits>

#include "tools/common/exit_status.h"
#include "tools/common/json_text.h"

namespace {

constexpr const char* kUnitBus = "unix*cbus";

CLI::Range positive() {
    return {1, std::numeric_limits<int>::max(), "N"};
}

}  // namespace

void command_line_set_up(CLI::App& app, const std::string& answerer) {
    app.set_version_flag("--version", app.get_name() + " " ORVALE_VERSION);
    // None is allowed here, so that a wrong one is reported as such and not as missing.
    app.require_subcommand(0, 1);
    app.get_formatter()->label("SUBCOMMAND", "COMMAND");
    app.failure_message([program = app.get_name()](const CLI::App*, const CLI::Error& error) {
        return program + ": " + text_printable(error.what()) + "\nTry " + program + " -h.\n";
    });
    app.footer("Exit status: 0 done, 1 " + answerer + " answered with an error, 2 usage, 3 " + answerer +
               " cannot be reached.");
}

CLI::App* command_line_add_verb(CLI::App& app, const std::string& name, const std::string& description,
                                const std::string& common_options) {
    CLI::App* verb = app.add_subcommand(name, description);
    verb->fallthrough();
    verb->footer(common_options + " are options of all commands, see " + app.get_name() + " -h.");
    return verb;
}

void command_line_add_count(CLI::App* verb, std::optional<int>& count, const std::string& things) {
    verb->add_option("-n,--count", count, "end after that many " + things)->check(positive());
}

void command_line_add_timeout(CLI::App* verb, std::optional<int>& timeout_s) {
    verb->add_option("-t,--timeout", timeout_s, "end after that many seconds")->check(positive());
}

void command_line_add_bus(CLI::App& app, std::string& address) {
    app.add_option("-a,--address", address,
                   std::string("address of the bus (CBUS_ADDR, else ") + kUnitBus + ")");
}

std::string command_line_bus(const std::string& option) {
    if (!option.empty()) {
        return option;
    }
    const char* environment = getenv("CBUS_ADDR");
    return environment != nullptr && *environment != '\0' ? environment : kUnitBus;
}

std::optional<int> command_line_read(CLI::App& app, int argc, const char* const* argv) {
    try {
        app.parse(argc, argv);
        if (app.get_subcommands().empty()) {
            throw CLI::RequiredError("A command");
        }
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : static_cast<int>(ExitStatus::kUsage);
    }
    return std::nullopt;
}
