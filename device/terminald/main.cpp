// SPDX-License-Identifier: MIT

#include <event2/event.h>

#include <csignal>
#include <memory>
#include <optional>
#include <string>

#include "command_line/CommandLineParser.h"
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

}  // namespace

// Without memory at the start the program ends, as the bugprone check fears.
int main(int argc, char** argv) {  // NOLINT(bugprone-exception-escape)
    std::string address;
    double speed = 1;
    CommandLineParser parser("terminald",
                             "Stands in for the terminal: comes up like one and shows its reset button.");
    parser.set_footer("SIGUSR1 presses the reset button, SIGUSR2 releases it.");
    unit_program_add_bus(parser, address);
    parser.add("--speed FACTOR", speed, "how many times faster than a real terminal it comes up")
        .check_range(kMinSpeed, kMaxSpeed)
        .show_default();
    if (const std::optional<int> status = parser.parse(argc, argv)) {
        return *status;
    }

    // Of no effect, yet no end either, while the terminal is not there.
    signal(SIGUSR1, SIG_IGN);
    signal(SIGUSR2, SIG_IGN);
    unit_program_prepare("terminald");
    unit_program_choose_bus(address);
    StartSequence sequence(px_time_ms(), speed);
    ResetButton button;
    return unit_program_run("terminald", [&](const UnitProgram& program) {
        config_init_cbus(program.connection, nullptr);
        auto service = std::make_shared<Service>(program, sequence, button);
        unit_program_log_serving("terminald", program.connection);
        return service;
    });
}
