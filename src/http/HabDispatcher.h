// SPDX-License-Identifier: MIT

#pragma once

#include <regex.h>

#include <cstddef>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

class HabHandler;
class HabRequest;
class HabTimer;

// What an expression found in a URI: what else has been asked for with it (see plainer_spellings), and the texts of the
// placeholders that took part, each with its number among the names.
struct UriMatch {
    std::vector<std::string> spellings;
    std::vector<std::pair<std::size_t, std::string>> segments;
};

// One registration: an expression made of a URI template, and the handler behind it.
struct HabHandlerListEntry {
    HabHandlerListEntry() = default;
    HabHandlerListEntry(const HabHandlerListEntry&) = delete;
    HabHandlerListEntry& operator=(const HabHandlerListEntry&) = delete;
    ~HabHandlerListEntry();

    char pattern[204] = {};
    unsigned int methods = 0;  // GET 1, PUT 2, POST 4, DELETE 8
    HabHandler* handler = nullptr;
    regex_t regex = {};
    std::vector<std::string> names;  // the placeholders, in the order of the template

    bool compiled = false;
    // What URIs that were asked for lately match, if anything: the expression is the dearest step on the road of a
    // request, and every request passes the entries before its own.
    std::unordered_map<std::string, std::optional<UriMatch>> recent;
};

// HabDispatcher: finds the handler of a request by URI and method, binds the session and checks its access
// level. Serves HTTP and JSON-RPC alike.
// Owns:    the registrations, for the life of the process or until clear().
// Borrows: handlers and timers; they outlive their registration.
// Threads: loop thread only.
// Errors:  refusals are answered on the request (404, 401).
//
// In a template "#name" stands for an optional and ":name" for a required path segment; everything else is
// taken over into a POSIX extended regular expression that is not anchored. The texts of the segments become
// request parameters under their names.
class HabDispatcher {
  public:
    // 1: registered. 0: the expression does not compile or is too long. -1: the counter refuses it.
    static int registerUri(const char* uri, unsigned int methods, HabHandler* handler);
    // Registers each of them; always -1.
    static int registerUri(const std::list<std::string>& uris, unsigned int methods, HabHandler* handler);
    static int registerHandler(const char* uri, unsigned int methods, HabHandler* handler);

    // 1: the request has its handler. 0: none matches, answered with 404. -1: access refused, answered with 401.
    static int setHandler(HabRequest* request);
    // Always -1: the request has been answered by its handler or with 404.
    static int dispatchRequest(HabRequest* request);
    // 1: the entry's expression matches uri, and its placeholders are parameters of the request now.
    static int matchCheck(HabRequest* request, const char* uri, HabHandlerListEntry* entry);
    static void preFixup(HabRequest* request);

    // Timers are kept in the order of `when`. 1, or -1 when there is no memory.
    static int registerTimer(HabTimer* timer, int when);
    static void serviceTimers();

    static void sessionEnded(const char* sessionId);

    // Forgets every registration and every timer.
    static void clear();

  protected:
    struct TimerEntry {
        HabTimer* timer = nullptr;
        int when = 0;
        std::unique_ptr<TimerEntry> next;
    };

    static std::list<std::unique_ptr<HabHandlerListEntry>>& m_handlers;
    static std::unique_ptr<TimerEntry>& timerList;
    static int registeredHandlers;
};
