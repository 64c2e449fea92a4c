#include "device/program/unit_program.h"

#include <event2/event.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "cbus/cbus.h"
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
bool serve(const char* name, event_base* base,
           const std::function<UnitService(const UnitProgram&)>& make_service) {
    const FdLoopPtr loop(fdloop_init_libevent(base));
    const BusConnection connection(cbus_conn_create(loop.get(), name));
    if (connection == nullptr) {
        fprintf(stderr, "%s: no bus at '%s'\n", name, getenv("CBUS_ADDR"));
        return false;
    }
    const UnitService service = make_service({base, loop.get(), connection.get()});
    while (!end_is_asked && connection->socket >= 0) {
        fdloop_run(loop.get());
    }
    if (!end_is_asked) {
        fprintf(stderr, "%s: the bus is gone\n", name);
    }
    return end_is_asked;
}

}  // namespace

void unit_program_prepare(const char* name, const std::string& address) {
    // Each log line is written at once, also into a file or a pipe.
    setvbuf(stdout, nullptr, _IONBF, 0);
    set_logger(log_console, name);
    signal(SIGPIPE, SIG_IGN);
    // The bus client takes its address from the environment.
    setenv("CBUS_ADDR", address.empty() ? "unix*cbus" : address.c_str(), address.empty() ? 0 : 1);
}

int unit_program_run(const char* name, const std::function<UnitService(const UnitProgram&)>& make_service) {
    const EventBasePtr base(event_base_new());
    const EventPtr on_term(evsignal_new(base.get(), SIGTERM, on_end_signal, nullptr));
    const EventPtr on_int(evsignal_new(base.get(), SIGINT, on_end_signal, nullptr));
    event_add(on_term.get(), nullptr);
    event_add(on_int.get(), nullptr);
    return serve(name, base.get(), make_service) ? EXIT_SUCCESS : EXIT_FAILURE;
}

void unit_program_log_serving(const char* name, const _cbus_conn_t* connection) {
    if (connection->socket >= 0) {
        logger_function(6, name, "serving");
    }
}
