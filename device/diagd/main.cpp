#include <event2/event.h>
#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "cbus/cbus.h"
#include "config_client/config_client_api.h"
#include "device/diagd/DiagService.h"
#include "runtime/fdloop_libevent.h"
#include "runtime/logging.h"
#include "src/base/owners.h"

namespace {

using BusConnection = COwned<_cbus_conn_t, cbus_conn_destroy>;

bool end_is_asked = false;

void on_end_signal(evutil_socket_t, short, void*) noexcept {
    end_is_asked = true;
}

// Until a signal asks for the end (true) or the bus is gone (false).
bool serve(event_base* base, const std::string& directory) {
    const FdLoopPtr loop(fdloop_init_libevent(base));
    const BusConnection connection(cbus_conn_create(loop.get(), "diagd"));
    if (connection == nullptr) {
        fprintf(stderr, "diagd: no bus at '%s'\n", getenv("CBUS_ADDR"));
        return false;
    }
    config_init_cbus(connection.get(), nullptr);
    const DiagService service(loop.get(), directory);
    if (connection->socket >= 0) {
        logger_function(6, "diagd", "serving");
    }
    while (!end_is_asked && connection->socket >= 0) {
        fdloop_run(loop.get());
    }
    if (!end_is_asked) {
        fputs("diagd: the bus is gone\n", stderr);
    }
    return end_is_asked;
}

}  // namespace

// Without memory at the start the program ends, as the bugprone check fears.
int main(int argc, char** argv) {  // NOLINT(bugprone-exception-escape)
    std::string address;
    std::string directory = "/tmp";
    CLI::App app("Makes the diagnostic report of the unit when the configuration asks for one.", "diagd");
    app.footer("The report holds the configuration with every secret in it: handle it accordingly.");
    app.add_option("-a", address, "address of the bus (CBUS_ADDR, else unix*cbus)");
    app.add_option("-o", directory, "directory of diag_report.tar.gz")->capture_default_str();
    CLI11_PARSE(app, argc, argv);

    // Each log line is written at once, also into a file or a pipe.
    setvbuf(stdout, nullptr, _IONBF, 0);
    set_logger(log_console, "diagd");
    signal(SIGPIPE, SIG_IGN);
    umask(S_IRWXG | S_IRWXO);
    // The bus client takes its address from the environment.
    setenv("CBUS_ADDR", address.empty() ? "unix*cbus" : address.c_str(), address.empty() ? 0 : 1);

    const EventBasePtr base(event_base_new());
    const EventPtr on_term(evsignal_new(base.get(), SIGTERM, on_end_signal, nullptr));
    const EventPtr on_int(evsignal_new(base.get(), SIGINT, on_end_signal, nullptr));
    event_add(on_term.get(), nullptr);
    event_add(on_int.get(), nullptr);
    return serve(base.get(), directory) ? EXIT_SUCCESS : EXIT_FAILURE;
}
