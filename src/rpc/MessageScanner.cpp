// SPDX-License-Identifier: MIT

#include "src/rpc/MessageScanner.h"

size_t MessageScanner::findEnd(std::string_view bytes) {
    while (m_position < bytes.size()) {
        const char byte = bytes[m_position++];
        if (byte == '{') {
            ++m_opened;
        } else if (byte == '}') {
            ++m_closed;
        }
        if (m_opened > 0 && m_opened == m_closed) {
            m_opened = 0;
            m_closed = 0;
            return m_position;
        }
    }
    return 0;
}
