// SPDX-License-Identifier: MIT

#include "device/program/unit_program.h"

#include <event2/event.h>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>

#include "cbus/bus_address.h"
#include "cbus/cbus.h"
#include "runtime/fdloop_libevent.h"
#include "runtime/logging.h"
#include "src/base/owners.h"
#include "src/base/service_notify.h"

namespace {

using BusConnection = COwned<_cbus_conn_t, cbus_conn_destroy>;

constexpr uint32_t kRejoinMs = 500;

bool end_is_asked = false;

void on_end_signal(evutil_socket_t, short, void*) noexcept {
    end_is_asked = true;
}

// There is no configuration to read again.
void on_hangup_signal(evutil_socket_t, short, void* name) noexcept {
    logger_function(5, static_cast<const char*>(name), "SIGHUP is ignored");
}

void on_rejoin_timer(void*, int, _fdloop_timer_t*) noexcept {}

void announce_stopping(std::optional<ServiceNotifier>& notifier) {
    if (notifier) {
        notifier->announce_stopping();
        notifier.reset();
    }
}

// Until a signal asks for the end (true) or the bus is gone (false). The service manager hears of the first service
// alone, and of the end before the service has its last things to do.
bool serve(const MakeUnitService& make_service, const UnitProgram& program,
           std::optional<ServiceNotifier>& notifier) {
    const UnitService service = make_service(program);
    if (!notifier && program.connection->socket >= 0) {
        notifier.emplace(program.base);
    }
    while (!end_is_asked && program.connection->socket >= 0) {
        fdloop_run(program.loop);
    }
    if (end_is_asked) {
        announce_stopping(notifier);
    }
    return end_is_asked;
}

// Null once a signal asks for the end.
BusConnection await_bus(const char* name, _fdloop_t* loop) {
    _fdloop_timer_t* const timer = fdloop_timer_add(loop, kRejoinMs, on_rejoin_timer, nullptr);
    BusConnection connection;
    while (connection == nullptr && !end_is_asked) {
        fdloop_run(loop);
        connection.reset(end_is_asked ? nullptr : cbus_conn_create(loop, name));
    }
    fdloop_timer_del(loop, timer);
    return connection;
}

}  // namespace

void unit_program_add_bus(CommandLineOptions program, std::string& address) {
    program.add("-a ADDRESS", address,
                std::string("address of the bus (CBUS_ADDR, else ") + kBusDefaultAddress + ")");
}

void unit_program_choose_bus(const std::string& address) {
    // The bus client takes its address from the environment.
    setenv("CBUS_ADDR", bus_address_choose(address).c_str(), 1);
}

void unit_program_prepare(const char* name) {
    // Each log line is written at once, also into a file or a pipe.
    setvbuf(stdout, nullptr, _IONBF, 0);
    set_logger(log_console, name);
    signal(SIGPIPE, SIG_IGN);
}

int unit_program_run(const char* name, const MakeUnitService& make_service) {
    const EventBasePtr base(event_base_new());
    const EventPtr on_term(evsignal_new(base.get(), SIGTERM, on_end_signal, nullptr));
    const EventPtr on_int(evsignal_new(base.get(), SIGINT, on_end_signal, nullptr));
    // The logger takes the name as it is and changes nothing in it.
    const EventPtr on_hangup(evsignal_new(base.get(), SIGHUP, on_hangup_signal, const_cast<char*>(name)));
    for (const EventPtr* signal_event : {&on_term, &on_int, &on_hangup}) {
        event_add(signal_event->get(), nullptr);
    }
    const FdLoopPtr loop(fdloop_init_libevent(base.get()));
    BusConnection connection(cbus_conn_create(loop.get(), name));
    if (connection == nullptr) {
        fprintf(stderr, "%s: no bus at '%s'\n", name, getenv("CBUS_ADDR"));
        return EXIT_FAILURE;
    }
    std::optional<ServiceNotifier> notifier;
    while (connection != nullptr &&
           !serve(make_service, {base.get(), loop.get(), connection.get()}, notifier)) {
        logger_function(4, name, "the bus is gone: joining it again");
        // Before there is another: the first idler of the loop takes those behind it along when it goes.
        connection.reset();
        connection = await_bus(name, loop.get());
    }
    // The end may have come while there was no bus.
    announce_stopping(notifier);
    return EXIT_SUCCESS;
}

void unit_program_log_serving(const char* name, const _cbus_conn_t* connection) {
    if (connection->socket >= 0) {
        logger_function(6, name, "serving");
    }
}
