// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <string_view>

// MessageScanner: finds where messages end in a stream of bare JSON objects without length or delimiter: where
// the curly braces balance. Braces inside JSON strings count like all others, so clients send no string in which
// they are unbalanced; it stays so, because clients frame what they receive in the same way.
// A scan goes on where the last one stopped: a long message that comes in many pieces is read only once.
class MessageScanner {
  public:
    // The number of bytes from the start of `bytes` to the end of the next message; 0 when it is not
    // complete. Until restart() every call brings the same bytes, which may have grown at their end.
    size_t findEnd(std::string_view bytes);
    // The next call brings other bytes.
    void restart() { *this = MessageScanner(); }

  private:
    size_t m_position = 0;
    size_t m_opened = 0;
    size_t m_closed = 0;
};
