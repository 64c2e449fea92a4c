// SPDX-License-Identifier: MIT

#include "tests/support/RecordingRequest.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>

namespace {

constexpr const char* kLevelNames[] = {"main_res", "sub1", "sub2", "sub3", "sub4", "sub5", "sub6", "sub7"};

}  // namespace

RecordingRequest::RecordingRequest(const char* method_text, const char* uri, HabSession* session) {
    method = method_text;
    setURI(uri);
    setSession(session);
    std::istringstream levels(uri);
    std::string level;
    std::getline(levels, level, '/');  // what stands before the first slash
    std::getline(levels, level, '/');  // the API path
    for (const char* name : kLevelNames) {
        if (!std::getline(levels, level, '/')) {
            break;
        }
        setParameter(name, level.c_str());
    }
}

size_t RecordingRequest::getRequestContent(char* buffer, size_t max) {
    const size_t length = std::min(max, m_body.size());
    std::memcpy(buffer, m_body.data(), length);
    m_body.erase(0, length);
    return length;
}

size_t RecordingRequest::getRequestContent(char** buffer) {
    const size_t length = m_body.size();
    if (length == 0) {
        return 0;
    }
    *buffer = static_cast<char*>(std::malloc(length));
    return getRequestContent(*buffer, length);
}

void RecordingRequest::replyAdd(const void* data, size_t length) {
    m_text.append(static_cast<const char*>(data), length);
}

void RecordingRequest::replyPrintf(const char* format, ...) {
    va_list args;
    va_start(args, format);
    char* printed = nullptr;
    const int length = vasprintf(&printed, format, args);
    va_end(args);
    const MallocedText text(length < 0 ? nullptr : printed);
    if (text != nullptr) {
        m_text += text.get();
    }
}

// As over HTTP: the text is the body unless there is one already.
void RecordingRequest::reply(int code, const char* answer, const char* path) {
    if (m_text.empty() && answer != nullptr) {
        m_text = answer;
    }
    if (path != nullptr) {
        m_location = path;
    }
    finish(code);
}

void RecordingRequest::replyFinish(int code, const char*) {
    finish(code);
}

void RecordingRequest::notFound(const char*) {
    finish(404);
}

void RecordingRequest::unauthorized(const char*) {
    finish(401);
}

void RecordingRequest::finish(int code) {
    m_status = code;
    ++m_finish_count;
}
