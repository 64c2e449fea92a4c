// SPDX-License-Identifier: MIT

#include "tools/common/Output.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>

#include "src/base/printable_text.h"

Output::Output(const char* program, const Interruption& interruption, int output, int error_output)
    : m_program(program), m_interruption(interruption), m_output(output), m_error_output(error_output) {}

// False with errno set; EPIPE for an interruption too.
bool Output::write(std::string_view text) const {
    while (!text.empty()) {
        if (m_interruption.await(m_output, POLLOUT, kNoDeadline) == Interruption::Wakeup::kInterrupted) {
            errno = EPIPE;
            return false;
        }
        // That much a pipe that is ready takes without blocking, so an interruption is not missed.
        const ssize_t count = ::write(m_output, text.data(), std::min<std::size_t>(text.size(), PIPE_BUF));
        if (count >= 0) {
            text.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno != EAGAIN && errno != EINTR) {
            return false;
        }
    }
    return true;
}

Output::Result Output::writeLine(std::string_view line) const {
    if (write(std::string(line) + '\n')) {
        return Result::kWritten;
    }
    if (errno == EPIPE) {
        return Result::kEnded;
    }
    complain(std::string("cannot write: ") + std::strerror(errno));
    return Result::kFailed;
}

Output::Result Output::writeJson(const cJSON& json) const {
    const bool is_terminal = isatty(m_output) == 1;
    return writeLine(json_printable(json, is_terminal ? m_terminal_layout : JsonLayout::kOneLine));
}

Paint Output::paint() const {
    const char* no_colour = getenv("NO_COLOR");
    const char* terminal = getenv("TERM");
    const bool is_wanted = (no_colour == nullptr || *no_colour == '\0') &&
                           (terminal == nullptr || std::strcmp(terminal, "dumb") != 0);
    return Paint(is_wanted && isatty(m_output) == 1);
}

void Output::complain(std::string_view text) const {
    const std::string line = std::string(m_program) + ": " + text_printable(text) + '\n';
    // Nothing is left to be done when that does not get through either.
    [[maybe_unused]] const ssize_t count = ::write(m_error_output, line.data(), line.size());
}
