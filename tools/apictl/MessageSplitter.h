// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <string_view>

// MessageSplitter: finds where a JSON object ends in a stream of them, without length or delimiter. Unlike the daemon,
// which counts every brace, it passes over those inside strings: the daemon's answers hold whatever is stored.
// A scan goes on where the last one stopped: a long message that comes in many pieces is read only once.
// Errors: kMalformed when something else than white space stands between two objects. Whether an object is correct
//         JSON is left to the parser.
class MessageSplitter {
  public:
    enum class Result { kMessage, kIncomplete, kMalformed };

    // Looks at the stream from the end of the last message on: as long as the answer is kIncomplete, every call brings
    // the same bytes and what has come behind them.
    [[nodiscard]] Result next(std::string_view bytes);
    // After kMessage: how many of the bytes belong to the message and the white space before it.
    [[nodiscard]] std::size_t length() const { return m_length; }

  private:
    bool read(char byte);
    void readInString(char byte);

    std::size_t m_position = 0;
    std::size_t m_length = 0;
    std::size_t m_depth = 0;
    bool m_is_in_string = false;
    bool m_is_escaped = false;
};
