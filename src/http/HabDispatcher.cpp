// SPDX-License-Identifier: MIT

#include "src/http/HabDispatcher.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <optional>
#include <utility>

#include "runtime/logging.h"
#include "src/base/assertion.h"
#include "src/base/printable_text.h"
#include "src/http/AccessMap.h"
#include "src/http/HabConfig.h"
#include "src/http/HabHandler.h"
#include "src/http/HabRequest.h"
#include "src/http/HabSession.h"
#include "src/http/HabTimer.h"

namespace {

constexpr const char* kModule = "src/HabDispatcher";
constexpr int kMaxRegistered = 19;
constexpr std::size_t kGroups = 10;  // the whole match and nine placeholders
constexpr std::size_t kMaxRemembered = 128;
constexpr std::size_t kMaxRememberedLength = 256;
// The paths of resources end at some 200. An expression takes up to three microseconds a byte, on each of hundreds of
// connections in one turn of the loop, and a client may send 64 KiB of them.
constexpr std::size_t kMaxMatchedLength = 512;

// The backslash is one of the characters of the set: inside brackets it escapes nothing.
constexpr const char* kSegment = "([0-9a-zA-Z\\-]+)";

struct Template {
    std::string pattern;
    std::vector<std::string> names;
};

Template parseTemplate(const std::string& uri) {
    Template result;
    for (std::size_t at = 0; at < uri.size();) {
        const char c = uri[at++];
        if (c != '#' && c != ':') {
            result.pattern += c;
            continue;
        }
        const bool optional = c == '#';
        std::size_t end = uri.find('/', at);
        // A slash that ends the whole template is part of the name.
        const bool more = end != std::string::npos && end + 1 < uri.size();
        end = more ? end : uri.size();
        result.names.push_back(uri.substr(at, end - at));
        result.pattern += kSegment;
        result.pattern += optional ? "?" : "";
        if (more) {
            result.pattern += optional ? "/?" : "/";
        }
        at = more ? end + 1 : end;
    }
    return result;
}

void logTemplate(const Template& parsed) {
    logger_function(7, kModule, "registerUri() - Generating regular expression: %s", parsed.pattern.c_str());
    if (parsed.names.empty()) {
        return;
    }
    logger_function(7, kModule, "Request parameters:");
    for (const std::string& name : parsed.names) {
        logger_function(7, kModule, " - %s", name.c_str());
    }
}

// Puts pattern and expression into the entry; false when the pattern does not fit or does not compile.
bool compile(const Template& parsed, HabHandlerListEntry& entry) {
    if (parsed.pattern.size() >= sizeof(entry.pattern)) {
        return false;
    }
    parsed.pattern.copy(entry.pattern, parsed.pattern.size());
    entry.compiled = regcomp(&entry.regex, entry.pattern, REG_EXTENDED) == 0;
    return entry.compiled;
}

// Where the segments end that a controller goes by: it stops at the first that is missing, whatever comes behind.
std::size_t end_of_walk(const regmatch_t* groups) {
    const auto isThere = [](const regmatch_t& group) { return group.rm_so >= 0; };
    const regmatch_t* const end = groups + kGroups;
    if (isThere(groups[1])) {
        const regmatch_t* const gap = std::find_if_not(groups + 1, end, isThere);
        return static_cast<std::size_t>((gap - 1)->rm_eo);
    }
    const regmatch_t* const next = std::find_if(groups + 1, end, isThere);
    return static_cast<std::size_t>(next == end ? groups[0].rm_eo : next->rm_so);
}

// An expression matches anywhere in a URI and leaves what it cannot match, while access rules begin at the start of
// one and may end at its end. What stands in front, behind or in between must not open what is closed without it, and so
// these count as well: the URI from where it matches, the part that matches, and as much of that as a controller goes
// by, without slashes at its end.
std::vector<std::string> plainer_spellings(const std::string& uri, const regmatch_t* groups) {
    const auto from = static_cast<std::size_t>(groups[0].rm_so);
    const auto to = static_cast<std::size_t>(groups[0].rm_eo);
    std::string plain = uri.substr(from, end_of_walk(groups) - from);
    plain.erase(plain.find_last_not_of('/') + 1);
    std::vector<std::string> spellings{uri.substr(from), uri.substr(from, to - from), plain};
    std::erase_if(spellings, [&uri](const std::string& text) { return text.empty() || text == uri; });
    return spellings;
}

// Runs the entry's expression over the URI.
std::optional<UriMatch> runExpression(const std::string& uri, const HabHandlerListEntry& entry) {
    std::string text = uri;
    regmatch_t groups[kGroups];
    if (regexec(&entry.regex, text.c_str(), kGroups, groups, 0) != 0) {
        // The slash behind the fixed part of a template is optional at the end of a URI, like what follows it.
        text += '/';
        if (regexec(&entry.regex, text.c_str(), kGroups, groups, 0) != 0) {
            return std::nullopt;
        }
    }
    UriMatch match;
    // An expression of the added slash alone matches behind the URI.
    if (std::cmp_less(groups[0].rm_so, uri.size())) {
        match.spellings = plainer_spellings(uri, groups);
    }
    for (std::size_t group = 1; group < kGroups && !entry.names.empty(); ++group) {
        if (groups[group].rm_so >= 0) {
            const auto from = static_cast<std::size_t>(groups[group].rm_so);
            const auto to = static_cast<std::size_t>(groups[group].rm_eo);
            match.segments.emplace_back(group - 1, text.substr(from, to - from));
        }
    }
    return match;
}

// The same from memory for a URI that was asked for lately. Clients ask for few resources many times; one that asks
// for ever new ones makes the memory start afresh.
std::optional<UriMatch> findMatch(const std::string& uri, HabHandlerListEntry& entry) {
    if (uri.size() > kMaxMatchedLength) {
        return std::nullopt;
    }
    if (const auto found = entry.recent.find(uri); found != entry.recent.end()) {
        return found->second;
    }
    std::optional<UriMatch> match = runExpression(uri, entry);
    if (uri.size() <= kMaxRememberedLength) {
        if (entry.recent.size() >= kMaxRemembered) {
            entry.recent.clear();
        }
        entry.recent.emplace(uri, match);
    }
    return match;
}

// What else has been asked for with the URI, nothing when the entry's expression does not match. The placeholders become
// parameters of the request.
std::optional<std::vector<std::string>> matchEntry(HabRequest& request, const char* uri,
                                                   HabHandlerListEntry& entry) {
    // A placeholder's name in the query string must not stand in for a segment that the path lacks.
    for (const std::string& name : entry.names) {
        request.removeParameter(name.c_str());
    }
    std::optional<UriMatch> match = findMatch(uri, entry);
    if (!match) {
        return std::nullopt;
    }
    logger_function(7, kModule, "regexec matches");
    for (const auto& [number, text] : match->segments) {
        // A template with groups of its own that have no names is a mistake in the program.
        request.setParameter(entry.names.at(number).c_str(), text.c_str());
    }
    return std::move(match->spellings);
}

// The most demanding of the levels counts.
int requiredLevel(HabRequest& request, const std::vector<std::string>& spellings) {
    const AccessMap* map = AccessMap::getInstance();
    int level = map->getAccessLevel(request.getURI(), request.getMethod());
    for (const std::string& spelling : spellings) {
        level = std::max(level, map->getAccessLevel(spelling.c_str(), request.getMethod()));
    }
    return level;
}

// Whether the session may use the entry for this request.
bool isAuthorized(HabRequest& request, const HabHandlerListEntry& entry,
                  const std::vector<std::string>& spellings) {
    const int required = requiredLevel(request, spellings);
    const int have = request.getSession()->getAccessLevel();
    logger_function(
        7, kModule, "#%i: Match: %s Methods: %s%s%s%s Request: %s, AccessLevels required: %d, sessions: %d",
        0, entry.pattern, (entry.methods & 1U) != 0 ? "Get" : "", (entry.methods & 2U) != 0 ? "Put" : "",
        (entry.methods & 4U) != 0 ? "Post" : "", (entry.methods & 8U) != 0 ? "Del" : "",
        text_for_log(request.getURI()).c_str(), required, have);
    return required <= have;
}

}  // namespace

// Never destroyed, as no other table of this program: a signal may end the process in the middle of anything, an
// allocation included.
std::list<std::unique_ptr<HabHandlerListEntry>>& HabDispatcher::m_handlers =
    *new std::list<std::unique_ptr<HabHandlerListEntry>>;
std::unique_ptr<HabDispatcher::TimerEntry>& HabDispatcher::timerList = *new std::unique_ptr<TimerEntry>;
int HabDispatcher::registeredHandlers = 0;

HabHandlerListEntry::~HabHandlerListEntry() {
    if (compiled) {
        regfree(&regex);
    }
}

int HabDispatcher::registerUri(const char* uri, unsigned int methods, HabHandler* handler) {
    auto entry = std::make_unique<HabHandlerListEntry>();
    logger_function(7, kModule, "registerUri() - registering handler for URI %s", uri);
    // Nothing counts registrations at present, so the list has no bound; callers know the refusal all the same.
    if (registeredHandlers > kMaxRegistered) {
        return -1;
    }
    Template parsed = parseTemplate(uri);
    logTemplate(parsed);
    if (!compile(parsed, *entry)) {
        logger_function(3, kModule, "registerUri regcomp failed: '%s'", uri);
        return 0;
    }
    entry->names = std::move(parsed.names);
    entry->methods = methods;
    entry->handler = handler;
    m_handlers.push_back(std::move(entry));
    return 1;
}

int HabDispatcher::registerUri(const std::list<std::string>& uris, unsigned int methods,
                               HabHandler* handler) {
    for (const std::string& uri : uris) {
        registerUri(uri.c_str(), methods, handler);
    }
    return -1;
}

int HabDispatcher::registerHandler(const char* uri, unsigned int methods, HabHandler* handler) {
    return registerUri(uri, methods, handler);
}

int HabDispatcher::setHandler(HabRequest* request) {
    HabSession* session = HabSessionImpl::sessionForRequest(request);
    ORVALE_ASSERT(session != nullptr, "session != __null", kModule,
                  "static int HabDispatcher::setHandler(HabRequest*)");
    preFixup(request);
    logger_function(6, kModule, "Got session with sessionId: %s", session->sessionId());
    request->setSession(session);

    const auto method = static_cast<unsigned int>(request->getHttpMethod());
    for (const auto& entry : m_handlers) {
        if (request->getURI() == nullptr || entry->methods == 0) {
            continue;
        }
        const auto spellings = matchEntry(*request, request->getURI(), *entry);
        if (!spellings || (method & entry->methods) == 0) {
            continue;
        }
        if (!isAuthorized(*request, *entry, *spellings)) {
            logger_function(3, kModule, "Insufficient access level - unauthorized");
            request->unauthorized(request->getURI());
            return -1;
        }
        request->setMatchEx(entry->pattern);
        request->setHandler(entry->handler);
        return 1;
    }
    logger_function(7, kModule, "No handler found!");
    request->notFound(request->getURI());
    return 0;
}

int HabDispatcher::dispatchRequest(HabRequest* request) {
    if (request->getHandler() == nullptr) {
        setHandler(request);
    }
    if (request->getHandler() != nullptr && request->getHandler()->handleRequest(request) != 0) {
        return -1;
    }
    // A request that setHandler() has refused gets its second answer here; the transports ignore it.
    logger_function(7, kModule, "No handler found! (NEW)");
    request->notFound(request->getURI());
    return -1;
}

int HabDispatcher::matchCheck(HabRequest* request, const char* uri, HabHandlerListEntry* entry) {
    return matchEntry(*request, uri, *entry) ? 1 : 0;
}

void HabDispatcher::preFixup(HabRequest* request) {
    if (request->getURI() != nullptr && std::strcmp(request->getURI(), "/") == 0) {
        logger_function(7, kModule, "Setting URI to default");
        request->setURI(HabConfig::getInstance()->getDefaultLocation());
    }
}

int HabDispatcher::registerTimer(HabTimer* timer, int when) {
    logger_function(7, kModule, "Registering new timer");
    std::unique_ptr<TimerEntry> entry(new (std::nothrow) TimerEntry{timer, when, nullptr});
    if (!entry) {
        logger_function(3, kModule, "Could not allocate new entry to list of timers");
        return -1;
    }
    // The signed difference keeps the order right when the times pass the largest int.
    const auto isSooner = [when](const TimerEntry& other) {
        return static_cast<int>(static_cast<unsigned int>(other.when) - static_cast<unsigned int>(when)) < 0;
    };
    std::unique_ptr<TimerEntry>* place = &timerList;
    while (*place && isSooner(**place)) {
        place = &(*place)->next;
    }
    entry->next = std::move(*place);
    *place = std::move(entry);
    return 1;
}

void HabDispatcher::serviceTimers() {
    for (const TimerEntry* entry = timerList.get(); entry != nullptr; entry = entry->next.get()) {
        entry->timer->onTime();
    }
}

void HabDispatcher::sessionEnded(const char* sessionId) {
    HabSessionImpl::sessionEnded(sessionId);
}

void HabDispatcher::clear() {
    m_handlers.clear();
    while (timerList) {
        timerList = std::move(timerList->next);
    }
}
