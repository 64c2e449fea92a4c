// SPDX-License-Identifier: MIT

#pragma once

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <cjson/cJSON.h>
#include <gtest/gtest.h>

#include "src/base/owners.h"
#include "src/http/HabConfig.h"
#include "src/http/HabDispatcher.h"
#include "src/http/HabHandler.h"
#include "src/http/HabRequest.h"
#include "src/http/HabSession.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/WebConfiguration.h"

// FrontEndFiles: one configuration for the whole test process, since the access map is read once. Everything is
// open but what lies below /system/closed, and two paths without what lies below them.
class FrontEndFiles {
  public:
    static HabConfig* config() {
        static const FrontEndFiles files;
        return files.m_config.get();
    }

  private:
    FrontEndFiles() {
        m_directory.write("configuration.json",
                          std::string(R"({"hab.path": ")") + m_directory.path() + "\"}");
        m_directory.write("accessmap.json", R"({
            "/": {"GET": 0, "PUT": 0, "POST": 0, "DELETE": 0},
            "/system/closed": {"GET": 2, "POST": 2}, "/system/(a/)?exact$": {"GET": 2}})");
        m_config = std::make_unique<HabConfig>(m_directory.path());
    }

    TempDirectory m_directory;
    std::unique_ptr<HabConfig> m_config;
};

// FrontEnd: a configured front end without registrations.
class FrontEnd : public ::testing::Test {
  protected:
    FrontEnd() : m_before(HabConfig::theApplicationConfiguration) {
        HabConfig::theApplicationConfiguration = FrontEndFiles::config();
    }
    ~FrontEnd() override {
        HabDispatcher::clear();
        HabConfig::theApplicationConfiguration = m_before;
    }

  private:
    HabConfig* m_before;
};

// LocalRequest: the client's end of a request: method, URI, headers and body are set by hand, and the answers are
// kept, all of them, in the order in which they were given.
class LocalRequest : public HabRequest {
  public:
    LocalRequest(const char* methodText, const char* uri, const char* query = nullptr) {
        method = methodText;
        setURI(uri);
        setQueryString(query);
    }

    std::map<std::string, std::string> requestHeaders;
    std::string requestBody;
    std::string cookie;  // of the session, sent and received
    std::vector<int> answers;
    std::vector<std::string> reasons;
    std::map<std::string, std::string> headers;
    std::string body;

    std::string parameter(const char* name) const {
        const char* value = getParameter(name);
        return value != nullptr ? value : "(none)";
    }

    const char* getRemoteHost() override { return "127.0.0.1"; }
    int getContentLength() override { return static_cast<int>(requestBody.size()); }
    void storeContent(const char* content) override { requestBody = content; }
    size_t getRequestContent(char* buf, size_t max) override { return requestBody.copy(buf, max); }
    size_t getRequestContent(char** buffer) override {
        if (requestBody.empty() || bodyIsLost) {
            return 0;
        }
        *buffer = static_cast<char*>(std::malloc(requestBody.size()));
        return requestBody.copy(*buffer, requestBody.size());
    }
    void addHeader(const char* name, const char* value) override { headers[name] = value; }
    const char* getHeader(const char* name) override {
        const auto found = requestHeaders.find(name);
        return found != requestHeaders.end() ? found->second.c_str() : nullptr;
    }
    void replyAdd(const void* data, size_t len) override { body.append(static_cast<const char*>(data), len); }
    void replyPrintf(const char* fmt, ...) override __attribute__((format(printf, 2, 3))) {
        char text[512];
        va_list arguments;
        va_start(arguments, fmt);
        std::vsnprintf(text, sizeof(text), fmt, arguments);
        va_end(arguments);
        body += text;
    }
    void reply(int code, const char* reason, const char*) override { replyFinish(code, reason); }
    void replyFinish() override { replyFinish(200, "OK"); }
    using HabRequest::replyFinish;
    void replyFinish(int code, const char* reason) override {
        answers.push_back(code);
        reasons.emplace_back(reason);
    }
    void setResponseCookie(const char*, const char* value, const char*) override { cookie = value; }
    char* getRequestCookie(const char*) override { return cookie.empty() ? nullptr : cookie.data(); }
    void notFound(const char*) override { replyFinish(404, ""); }
    void internalError() override { replyFinish(500, ""); }
    void unauthorized(const char*) override { replyFinish(401, ""); }
    int getContentType() override { return 1; }

    bool bodyIsLost = false;
};

// CountingHandler: counts what it is called for, and answers nothing by itself.
class CountingHandler : public HabHandler {
  public:
    explicit CountingHandler(int result = 1) : m_result(result) {}
    int handleRequest(HabRequest* request) override {
        ++requests;
        if (m_result != 0) {
            request->replyFinish(200, "OK");
        }
        return m_result;
    }

    int requests = 0;

  private:
    int m_result;
};
