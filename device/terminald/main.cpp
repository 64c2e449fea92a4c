#include <event2/event.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <string>

#include "config_client/config_client_api.h"
#include "device/program/unit_program.h"
#include "device/terminald/Terminal.h"
#include "runtime/px_time.h"
#include "src/base/owners.h"

namespace {

constexpr double kMinSpeed = 0.001;
constexpr double kMaxSpeed = 1e6;

void on_press(evutil_socket_t, short, void* terminal) noexcept {
    static_cast<Terminal*>(terminal)->press_reset_button();
}

void on_release(evutil_socket_t, short, void* terminal) noexcept {
    static_cast<Terminal*>(terminal)->release_reset_button();
}

// The terminal and the signals that stand for the finger on its button.
struct Service {
    Service(const UnitProgram& program, StartSequence& sequence, ResetButton& button)
        : terminal(program.loop, sequence, button),
          press(evsignal_new(program.base, SIGUSR1, on_press, &terminal)),
          release(evsignal_new(program.base, SIGUSR2, on_release, &terminal)) {
        event_add(press.get(), nullptr);
        event_add(release.get(), nullptr);
    }

    Terminal terminal;
    EventPtr press;
    EventPtr release;
};

// CLI::Range lets "nan" through, which is neither below nor above anything.
std::string is_speed(const std::string& text) {
    char* end = nullptr;
    const double speed = strtod(text.c_str(), &end);
    const bool is_within = *end == '\0' && speed >= kMinSpeed && speed <= kMaxSpeed;
    return is_within ? "" : text + " is not a factor from 0.001 to 1000000";
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

    // Of no effect, yet no end either, while the terminal is not there.
    signal(SIGUSR1, SIG_IGN);
    signal(SIGUSR2, SIG_IGN);
    unit_program_prepare("terminald", address);
    StartSequence sequence(px_time_ms(), speed);
    ResetButton button;
    return unit_program_run("terminald", [&](const UnitProgram& program) {
        config_init_cbus(program.connection, nullptr);
        auto service = std::make_shared<Service>(program, sequence, button);
        unit_program_log_serving("terminald", program.connection);
        return service;
    });
}
