#pragma once

#include <unistd.h>

#include <string_view>

#include <cjson/cJSON.h>

#include "tools/apictl/Interruption.h"

// Output: what the user gets to see, each line written out at once.
// Borrows: the interruption, which outlives this object, and both descriptors. SIGPIPE has to be ignored.
// Errors:  kEnded: nobody reads any more, or an interruption; no reason to say a word. kFailed: a full disk and the
//          like, said on the error output.
// Blocks:  as long as the reader does not read.
class Output {
  public:
    enum class Result { kWritten, kEnded, kFailed };

    explicit Output(const Interruption& interruption, int output = STDOUT_FILENO,
                    int error_output = STDERR_FILENO);

    // `line` comes without its line end and has to be printable.
    [[nodiscard]] Result writeLine(std::string_view line) const;
    // Indented on a terminal, else on one line.
    [[nodiscard]] Result writeJson(const cJSON& json) const;
    // "apictl: <text>" on the error output, whatever the text is made of.
    void complain(std::string_view text) const;

  private:
    [[nodiscard]] bool write(std::string_view text) const;

    const Interruption& m_interruption;
    int m_output;
    int m_error_output;
};
