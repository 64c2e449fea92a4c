// SPDX-License-Identifier: MIT

#pragma once

#include <unistd.h>

#include <string_view>

#include <cjson/cJSON.h>

#include "tools/common/Interruption.h"
#include "tools/common/Paint.h"
#include "tools/common/json_text.h"

// Output: what the user gets to see, each line written out at once.
// Borrows: the name of the program and the interruption, which outlive this object, and both descriptors. SIGPIPE has
//          to be ignored.
// Errors:  kEnded: nobody reads any more, or an interruption; no reason to say a word. kFailed: a full disk and the
//          like, said on the error output.
// Blocks:  as long as the reader does not read.
class Output {
  public:
    enum class Result { kWritten, kEnded, kFailed };

    Output(const char* program, const Interruption& interruption, int output = STDOUT_FILENO,
           int error_output = STDERR_FILENO);

    // From now on JSON is one line on a terminal too.
    void keepJsonOnOneLine() { m_terminal_layout = JsonLayout::kOneLine; }

    // `line` comes without its line end and has to be printable.
    [[nodiscard]] Result writeLine(std::string_view line) const;
    // Indented on a terminal, else on one line.
    [[nodiscard]] Result writeJson(const cJSON& json) const;
    // Colours for what is written here: on a terminal alone, and not on one that wants none (TERM=dumb, NO_COLOR).
    [[nodiscard]] Paint paint() const;
    // "PROGRAM: <text>" on the error output, whatever the text is made of.
    void complain(std::string_view text) const;

  private:
    [[nodiscard]] bool write(std::string_view text) const;

    const char* m_program;
    const Interruption& m_interruption;
    JsonLayout m_terminal_layout = JsonLayout::kIndented;
    int m_output;
    int m_error_output;
};
