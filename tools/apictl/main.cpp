// SPDX-License-Identifier: MIT

#include <csignal>
#include <variant>

#include "src/base/standard_descriptors.h"
#include "tools/apictl/command_line.h"
#include "tools/apictl/commands.h"

// Without memory the program ends, as the bugprone check fears.
int main(int argc, char** argv) {  // NOLINT(bugprone-exception-escape)
    // The connection must not become the standard output of a caller that has none.
    if (!standard_descriptors_reserve()) {
        return static_cast<int>(ExitStatus::kUnreachable);
    }
    signal(SIGPIPE, SIG_IGN);
    const std::variant<CommandLine, int> command = command_line_parse(argc, argv);
    if (const int* status = std::get_if<int>(&command)) {
        return *status;
    }
    return static_cast<int>(command_run(std::get<CommandLine>(command)));
}
