// SPDX-License-Identifier: MIT

#pragma once

// The daemon's entry: reads the command line, chooses where log lines go, builds the Backend and runs it in the
// foreground or, with -d, detached. Returns 0 after the back end has run; exits 0 after the usage text. A start
// that fails ends the process with one line or the text of a failed assertion and a status other than 0.
int web_app_run(int argc, char** argv);
