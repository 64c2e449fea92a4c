#include <event2/event.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>

#include "device/cbusd/Acceptor.h"
#include "device/cbusd/Broker.h"
#include "runtime/logging.h"
#include "src/base/owners.h"

namespace {

void on_end_signal(evutil_socket_t, short, void* base) noexcept {
    event_base_loopexit(static_cast<event_base*>(base), nullptr);
}

std::string default_address() {
    const char* address = getenv("CBUS_ADDR");
    return address != nullptr ? address : "unix*cbus";
}

}  // namespace

// Without memory at the start the program ends, as the bugprone check fears.
int main(int argc, char** argv) {  // NOLINT(bugprone-exception-escape)
    std::string address = default_address();
    CLI::App app("The message bus: routes signals, requests and replies between its clients.", "cbusd");
    app.add_option("-a", address, "listen here: unix*NAME or tcp*HOST*PORT (CBUS_ADDR, else unix*cbus)");
    CLI11_PARSE(app, argc, argv);

    // Each log line is written at once, also into a file or a pipe.
    setvbuf(stdout, nullptr, _IONBF, 0);
    set_logger(log_console, "cbusd");
    signal(SIGPIPE, SIG_IGN);

    UniqueFd listener = bus_listen(address.c_str());
    if (!listener.valid()) {
        fprintf(stderr, "cbusd: cannot listen on '%s': %s\n", address.c_str(), strerror(errno));
        return EXIT_FAILURE;
    }
    const EventBasePtr base(event_base_new());
    const EventPtr on_term(evsignal_new(base.get(), SIGTERM, on_end_signal, base.get()));
    const EventPtr on_int(evsignal_new(base.get(), SIGINT, on_end_signal, base.get()));
    event_add(on_term.get(), nullptr);
    event_add(on_int.get(), nullptr);
    const Broker broker(base.get(), std::move(listener), BrokerOptions{});
    logger_function(6, "cbusd", "listening on %s", address.c_str());
    event_base_dispatch(base.get());
    return EXIT_SUCCESS;
}
