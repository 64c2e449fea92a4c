#include <event2/event.h>
#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>

#include "cbus/cbus.h"
#include "device/configd/ConfigServer.h"
#include "device/configd/ConfigStore.h"
#include "device/configd/FactoryFile.h"
#include "device/configd/startup_error.h"
#include "runtime/fdloop_libevent.h"
#include "runtime/logging.h"
#include "src/base/owners.h"

namespace {

using BusConnection = COwned<_cbus_conn_t, cbus_conn_destroy>;

struct Settings {
    std::string address;
    std::string store = "/var/lib/orvale/config.db";
    std::string factory;
};

bool end_is_asked = false;

void on_end_signal(evutil_socket_t, short, void*) noexcept {
    end_is_asked = true;
}

// Null after one line on standard error.
std::unique_ptr<ConfigDatabase> open_database(const Settings& settings) {
    std::optional<ConfigValues> factory =
        settings.factory.empty() ? ConfigValues() : factory_file_read(settings.factory.c_str());
    if (!factory) {
        return nullptr;
    }
    std::unique_ptr<ConfigStore> store = ConfigStore::open(settings.store.c_str());
    if (store == nullptr) {
        return nullptr;
    }
    std::unique_ptr<ConfigDatabase> database = ConfigDatabase::load(std::move(*factory), std::move(store));
    if (database == nullptr) {
        startup_error("cannot read the store '%s'", settings.store.c_str());
    }
    return database;
}

// Until a signal asks for the end (true) or the bus is gone (false).
bool serve(event_base* base, ConfigDatabase& database) {
    const FdLoopPtr loop(fdloop_init_libevent(base));
    const BusConnection connection(cbus_conn_create(loop.get(), "configd"));
    if (connection == nullptr) {
        startup_error("no bus at '%s'", getenv("CBUS_ADDR"));
        return false;
    }
    const ConfigServer server(loop.get(), connection.get(), database);
    if (connection->socket >= 0) {
        logger_function(6, "configd", "serving");
    }
    while (!end_is_asked && connection->socket >= 0) {
        fdloop_run(loop.get());
    }
    if (!end_is_asked) {
        startup_error("the bus is gone");
    }
    return end_is_asked;
}

}  // namespace

// Without memory at the start the program ends, as the bugprone check fears.
int main(int argc, char** argv) {  // NOLINT(bugprone-exception-escape)
    Settings settings;
    CLI::App app("The configuration database of the unit, as a service on the bus.", "configd");
    app.add_option("-a", settings.address, "address of the bus (CBUS_ADDR, else unix*cbus)");
    app.add_option("-s", settings.store, "SQLite file of the persistent values")->capture_default_str();
    app.add_option("-f", settings.factory, "JSON file of the factory values (none)");
    CLI11_PARSE(app, argc, argv);

    // Each log line is written at once, also into a file or a pipe.
    setvbuf(stdout, nullptr, _IONBF, 0);
    set_logger(log_console, "configd");
    signal(SIGPIPE, SIG_IGN);
    umask(S_IRWXG | S_IRWXO);  // the store may hold secrets
    // The bus client takes its address from the environment.
    setenv("CBUS_ADDR", settings.address.empty() ? "unix*cbus" : settings.address.c_str(),
           settings.address.empty() ? 0 : 1);

    const std::unique_ptr<ConfigDatabase> database = open_database(settings);
    if (database == nullptr) {
        return EXIT_FAILURE;
    }
    const EventBasePtr base(event_base_new());
    const EventPtr on_term(evsignal_new(base.get(), SIGTERM, on_end_signal, nullptr));
    const EventPtr on_int(evsignal_new(base.get(), SIGINT, on_end_signal, nullptr));
    event_add(on_term.get(), nullptr);
    event_add(on_int.get(), nullptr);
    return serve(base.get(), *database) ? EXIT_SUCCESS : EXIT_FAILURE;
}
