// SPDX-License-Identifier: MIT

#pragma once

#include <memory>

#include "Load.h"
#include "Soak.h"

// Privileged commands that end by themselves, with output and exit code, and ones that a delete ends. They are the
// scripts "ip" and "tcpdump", added to `scripts` here.
class CommandScripts;
void add_command_scripts(const CommandScripts& scripts);
std::unique_ptr<Load> make_commands(const Soak& soak);

// The warning of the integrator goes on and off, by way of the event handler into alerts and log.
std::unique_ptr<Load> make_warnings(const Soak& soak);
// The log keeps 500 changes.
void fill_event_log(const Soak& soak);

// Diagnostic reports, one after the other.
std::unique_ptr<Load> make_reports(const Soak& soak);

// The reset button is pressed and released.
std::unique_ptr<Load> make_button(const Soak& soak);
