#include <event2/event.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "cbus/cbus.h"
#include "config_client/config_client_api.h"
#include "device/terminald/Terminal.h"
#include "runtime/fdloop_libevent.h"
#include "runtime/logging.h"
#include "src/base/owners.h"

namespace {

using BusConnection = COwned<_cbus_conn_t, cbus_conn_destroy>;

constexpr double kMinSpeed = 0.001;
constexpr double kMaxSpeed = 1e6;

bool end_is_asked = false;

void on_end_signal(evutil_socket_t, short, void*) noexcept {
    end_is_asked = true;
}

void on_press(evutil_socket_t, short, void* terminal) noexcept {
    static_cast<Terminal*>(terminal)->press_reset_button();
}

void on_release(evutil_socket_t, short, void* terminal) noexcept {
    static_cast<Terminal*>(terminal)->release_reset_button();
}

// CLI::Range lets "nan" through, which is neither below nor above anything.
std::string is_speed(const std::string& text) {
    char* end = nullptr;
    const double speed = strtod(text.c_str(), &end);
    const bool is_within = *end == '\0' && speed >= kMinSpeed && speed <= kMaxSpeed;
    return is_within ? "" : text + " is not a factor from 0.001 to 1000000";
}

// Until a signal asks for the end (true) or the bus is gone (false).
bool serve(event_base* base, double speed) {
    const FdLoopPtr loop(fdloop_init_libevent(base));
    const BusConnection connection(cbus_conn_create(loop.get(), "terminald"));
    if (connection == nullptr) {
        fprintf(stderr, "terminald: no bus at '%s'\n", getenv("CBUS_ADDR"));
        return false;
    }
    config_init_cbus(connection.get(), nullptr);
    Terminal terminal(loop.get(), speed);
    const EventPtr press(evsignal_new(base, SIGUSR1, on_press, &terminal));
    const EventPtr release(evsignal_new(base, SIGUSR2, on_release, &terminal));
    event_add(press.get(), nullptr);
    event_add(release.get(), nullptr);
    if (connection->socket >= 0) {
        logger_function(6, "terminald", "serving");
    }
    while (!end_is_asked && connection->socket >= 0) {
        fdloop_run(loop.get());
    }
    if (!end_is_asked) {
        fputs("terminald: the bus is gone\n", stderr);
    }
    return end_is_asked;
}

}  // namespace

// Without memory at the start the program ends, as the bugprone check fears.
int main(int argc, char** argv) {  // NOLINT(bugprone-exception-escape)
    std::string address;
    double speed = 1;
    CLI::App app("The terminal in small: comes up like one and shows its reset button.", "terminald");
    app.footer("SIGUSR1 presses the reset button, SIGUSR2 releases it.");
    app.add_option("-a", address, "address of the bus (CBUS_ADDR, else unix*cbus)");
    app.add_option("--speed", speed, "how many times faster than a real terminal it comes up")
        ->check(is_speed)
        ->capture_default_str();
    CLI11_PARSE(app, argc, argv);

    // Each log line is written at once, also into a file or a pipe.
    setvbuf(stdout, nullptr, _IONBF, 0);
    set_logger(log_console, "terminald");
    signal(SIGPIPE, SIG_IGN);
    // Of no effect, yet no end either, until the terminal is there.
    signal(SIGUSR1, SIG_IGN);
    signal(SIGUSR2, SIG_IGN);
    // The bus client takes its address from the environment.
    setenv("CBUS_ADDR", address.empty() ? "unix*cbus" : address.c_str(), address.empty() ? 0 : 1);

    const EventBasePtr base(event_base_new());
    const EventPtr on_term(evsignal_new(base.get(), SIGTERM, on_end_signal, nullptr));
    const EventPtr on_int(evsignal_new(base.get(), SIGINT, on_end_signal, nullptr));
    event_add(on_term.get(), nullptr);
    event_add(on_int.get(), nullptr);
    return serve(base.get(), speed) ? EXIT_SUCCESS : EXIT_FAILURE;
}
