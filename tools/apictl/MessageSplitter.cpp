// SPDX-License-Identifier: MIT

#include "tools/apictl/MessageSplitter.h"

namespace {

bool is_white_space(char byte) {
    return byte == ' ' || byte == '\n' || byte == '\r' || byte == '\t';
}

}  // namespace

MessageSplitter::Result MessageSplitter::next(std::string_view bytes) {
    while (m_position < bytes.size()) {
        const char byte = bytes[m_position];
        if (m_depth == 0 && byte != '{' && !is_white_space(byte)) {
            return Result::kMalformed;
        }
        ++m_position;
        if (read(byte)) {
            m_length = m_position;
            m_position = 0;
            return Result::kMessage;
        }
    }
    return Result::kIncomplete;
}

// True for the last byte of an object.
bool MessageSplitter::read(char byte) {
    if (m_is_in_string) {
        readInString(byte);
    } else if (byte == '"') {
        m_is_in_string = true;
    } else if (byte == '{') {
        ++m_depth;
    } else if (byte == '}') {
        return --m_depth == 0;
    }
    return false;
}

void MessageSplitter::readInString(char byte) {
    if (m_is_escaped) {
        m_is_escaped = false;
    } else if (byte == '\\') {
        m_is_escaped = true;
    } else if (byte == '"') {
        m_is_in_string = false;
    }
}
