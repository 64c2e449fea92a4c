// SPDX-License-Identifier: MIT

#include <sys/stat.h>

#include <csignal>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "command_line/CommandLineParser.h"
#include "device/configd/ConfigServer.h"
#include "device/configd/ConfigStore.h"
#include "device/configd/FactoryFile.h"
#include "device/configd/startup_error.h"
#include "device/program/unit_program.h"

namespace {

struct Settings {
    std::string address;
    std::string store = "/var/lib/orvale/config.db";
    std::string runtime_store;
    std::string factory;
};

// Null after one line on standard error.
std::unique_ptr<ConfigDatabase> open_database(const Settings& settings) {
    std::optional<ConfigValues> factory =
        settings.factory.empty() ? ConfigValues() : factory_file_read(settings.factory.c_str());
    if (!factory) {
        return nullptr;
    }
    std::unique_ptr<ConfigStore> store = ConfigStore::open(settings.store);
    std::unique_ptr<ConfigStore> runtime_store;
    if (!settings.runtime_store.empty()) {
        runtime_store = ConfigStore::open(settings.runtime_store, ConfigStore::Medium::kMemory);
    }
    if (store == nullptr || (runtime_store == nullptr && !settings.runtime_store.empty())) {
        return nullptr;
    }
    std::unique_ptr<ConfigDatabase> database =
        ConfigDatabase::load(std::move(*factory), std::move(store), std::move(runtime_store));
    if (database == nullptr) {
        startup_error("cannot read the store '%s'", settings.store.c_str());
    }
    return database;
}

}  // namespace

// Without memory at the start the program ends, as the bugprone check fears.
int main(int argc, char** argv) {  // NOLINT(bugprone-exception-escape)
    Settings settings;
    CommandLineParser parser("configd", "The configuration database of the unit, as a service on the bus.");
    unit_program_add_bus(parser, settings.address);
    parser.add("-s FILE", settings.store, "SQLite file of the persistent values").show_default();
    parser.add("-r FILE", settings.runtime_store,
               "SQLite file of the other values, in a memory file system (none: they go with the program)");
    parser.add("-f FILE", settings.factory, "JSON file of the factory values (none)");
    if (const std::optional<int> status = parser.parse(argc, argv)) {
        return *status;
    }

    unit_program_prepare("configd");
    unit_program_choose_bus(settings.address);
    // A limit on file sizes is a full disk to us, not the end.
    signal(SIGXFSZ, SIG_IGN);
    umask(S_IRWXG | S_IRWXO);  // the store may hold secrets
    const std::unique_ptr<ConfigDatabase> database = open_database(settings);
    if (database == nullptr) {
        return EXIT_FAILURE;
    }
    return unit_program_run("configd", [&database](const UnitProgram& program) {
        auto server = std::make_shared<ConfigServer>(program.loop, program.connection, *database);
        unit_program_log_serving("configd", program.connection);
        return server;
    });
}
