#include <event2/event.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "cbus/cbus.h"
#include "device/eventd/EventServer.h"
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
bool serve(event_base* base) {
    const FdLoopPtr loop(fdloop_init_libevent(base));
    const BusConnection connection(cbus_conn_create(loop.get(), "eventd"));
    if (connection == nullptr) {
        fprintf(stderr, "eventd: no bus at '%s'\n", getenv("CBUS_ADDR"));
        return false;
    }
    const EventServer server(loop.get(), connection.get());
    while (!end_is_asked && connection->socket >= 0) {
        fdloop_run(loop.get());
    }
    if (!end_is_asked) {
        fputs("eventd: the bus is gone\n", stderr);
    }
    return end_is_asked;
}

}  // namespace

// Without memory at the start the program ends, as the bugprone check fears.
int main(int argc, char** argv) {  // NOLINT(bugprone-exception-escape)
    std::string address;
    CLI::App app("The event handler of the unit: keeps the list of its events in the database.", "eventd");
    app.add_option("-a", address, "address of the bus (CBUS_ADDR, else unix*cbus)");
    CLI11_PARSE(app, argc, argv);

    // Each log line is written at once, also into a file or a pipe.
    setvbuf(stdout, nullptr, _IONBF, 0);
    set_logger(log_console, "eventd");
    signal(SIGPIPE, SIG_IGN);
    // The bus client takes its address from the environment.
    setenv("CBUS_ADDR", address.empty() ? "unix*cbus" : address.c_str(), address.empty() ? 0 : 1);

    const EventBasePtr base(event_base_new());
    const EventPtr on_term(evsignal_new(base.get(), SIGTERM, on_end_signal, nullptr));
    const EventPtr on_int(evsignal_new(base.get(), SIGINT, on_end_signal, nullptr));
    event_add(on_term.get(), nullptr);
    event_add(on_int.get(), nullptr);
    return serve(base.get()) ? EXIT_SUCCESS : EXIT_FAILURE;
}
