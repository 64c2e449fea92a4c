// SPDX-License-Identifier: MIT

#include "src/http/HabSession.h"

#include <sys/random.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>

#include <string>
#include <utility>

#include "runtime/logging.h"
#include "src/base/assertion.h"
#include "src/base/json_helpers.h"
#include "src/base/printable_text.h"
#include "src/base/scoped_locking.h"
#include "src/http/HabConfig.h"
#include "src/http/HabRequest.h"
#include "src/http/md5.h"

namespace {

constexpr const char* kModule = "src/HabSession";
constexpr const char* kCookie = "DRHABSESSID";
constexpr size_t kIdTextSize = 100;
constexpr int kMaxLooks = 8;

utilities::DateTime monotonic_now() {
    utilities::DateTime now;
    now.clockGetTime();
    return now;
}

const char* text_or_null(const MallocedText& text) {
    return text == nullptr ? "(null)" : text.get();
}

unsigned long random_from_kernel() {
    unsigned long number = 0;
    ORVALE_ASSERT(getrandom(&number, sizeof(number), 0) == sizeof(number),
                  "getrandom(&number) == sizeof(number)", kModule,
                  "static char* HabSessionImpl::generateSessionId(HabRequest*)");
    return number;
}

MallocedText text_member(const cJSON* json, const char* key) {
    const cJSON* item = cJSON_GetObjectString(json, key);
    return MallocedText(item == nullptr ? nullptr : strdup(item->valuestring));
}

int integer_member(const cJSON* json, const char* key) {
    const cJSON* item = cJSON_GetObjectNumber(json, key);
    return item == nullptr ? 0 : item->valueint;
}

utilities::DateTime time_member(const cJSON* json, const char* key) {
    const cJSON* item = cJSON_GetObjectNumber(json, key);
    if (item == nullptr || !(item->valuedouble >= 0)) {
        return {};
    }
    // A double can be beyond what 64 bits hold.
    return item->valuedouble >= 0x1p64 ? UINT64_MAX : static_cast<unsigned long long>(item->valuedouble);
}

}  // namespace

// Never destroyed: a signal may end the process in the middle of anything, an allocation included.
HabSessionImpl::SessionMap& HabSessionImpl::m_sessionMap = *new SessionMap;
pthread_mutex_t HabSessionImpl::m_sessionMapLock = PTHREAD_MUTEX_INITIALIZER;
unsigned int HabSessionImpl::m_nextNumberId = 1;
std::multiset<unsigned int>& HabSessionImpl::m_heldNumbers = *new std::multiset<unsigned int>;
std::set<unsigned int>& HabSessionImpl::m_usedNumbers = *new std::set<unsigned int>;
std::size_t HabSessionImpl::m_maxSessions = kMaxSessions;
HabSessionImpl::Clock HabSessionImpl::m_clock = monotonic_now;
OncePerMinute HabSessionImpl::m_line;
HabSessionImpl::Order& HabSessionImpl::m_free = *new Order;
HabSessionImpl::Order& HabSessionImpl::m_subscribed = *new Order;
HabSessionImpl::Order& HabSessionImpl::m_connected = *new Order;
std::deque<unsigned int>& HabSessionImpl::m_orphans = *new std::deque<unsigned int>;
void (*HabSessionImpl::m_dropped)(unsigned int numberId) = [](unsigned int) {};

HabSessionImpl::HabSessionImpl(const char* id)
    : m_sessionId(strdup(id)),
      m_numberId(takeNumberId()),
      requestStartTime(m_clock()),
      timeout(HabConfig::getInstance()->getSessionTimeout()),
      lastUsed(m_clock()) {
    logger_function(7, kModule, "HabSessionImpl(%s)", m_sessionId.get());
}

HabSessionImpl::HabSessionImpl(cJSON* json)
    : m_sessionId(text_member(json, "sessionID")),
      requestStartTime(time_member(json, "reqStartTime")),
      hitCounts(static_cast<unsigned int>(integer_member(json, "hitCount"))),
      authName(text_member(json, "authName")),
      accessLevel(integer_member(json, "accessLevel")),
      timeout(HabConfig::getInstance()->getSessionTimeout()),
      lastUsed(m_clock()) {}  // in use from now on, whenever it was used before it was written

HabSessionImpl::~HabSessionImpl() {
    logger_function(7, kModule, "~HabSessionImpl(%s)", text_or_null(m_sessionId));
}

// After 2^32 sessions the numbers begin anew. 0 stands for no session, and who got a number that is in use would get its
// subscriptions as well. Which numbers are in use is looked up once, when they begin anew.
unsigned int HabSessionImpl::takeNumberId() {
    while (m_nextNumberId == 0 || m_usedNumbers.contains(m_nextNumberId)) {
        if (m_nextNumberId == 0) {
            findUsedNumbers();
        }
        ++m_nextNumberId;
    }
    return m_nextNumberId++;
}

void HabSessionImpl::findUsedNumbers() {
    const concurrency::scoped_mutex lock(m_sessionMapLock);
    m_usedNumbers = {m_heldNumbers.begin(), m_heldNumbers.end()};
    for (const auto& [id, entry] : m_sessionMap) {
        m_usedNumbers.insert(entry.session->getNumberId());
    }
    m_usedNumbers.insert(m_orphans.begin(), m_orphans.end());
}

HabSession* HabSessionImpl::sessionForRequest(HabRequest* request) {
    const char* id = request->getRequestCookie(kCookie);
    HabSessionImpl* session = nullptr;
    if (id != nullptr && id[0] != '\0') {
        logger_function(7, kModule, "Got session id %s from cookie in request.", text_for_log(id).c_str());
        session = findLive(id);
    }
    if (session == nullptr) {
        session = create(request);
    }
    session->requestStartTime = m_clock();
    return session;
}

// The session with the id, marked as used; one found expired leaves the table.
HabSessionImpl* HabSessionImpl::findLive(const char* id) {
    const concurrency::scoped_mutex lock(m_sessionMapLock);
    const auto found = m_sessionMap.find(id);
    if (found == m_sessionMap.end()) {
        return nullptr;
    }
    if (found->second.session->isExpired()) {
        logger_function(3, kModule, "Existing session with id %s has expired", id);
        if (found->second.subscriptions > 0 && found->second.connections == 0) {
            m_orphans.push_back(found->second.session->getNumberId());
        }
        leave(found);
        return nullptr;
    }
    found->second.session->updated();
    sortIn(found);
    return found->second.session.get();
}

HabSessionImpl* HabSessionImpl::create(HabRequest* request) {
    MallocedText id(generateSessionId(request));
    const std::shared_ptr<HabSessionImpl> session(sessionForId(id.get()));
    logger_function(7, kModule, "Creating new session with id %s", session->sessionId());
    makeRoom();
    {
        const concurrency::scoped_mutex lock(m_sessionMapLock);
        enter(std::move(id), session);
    }
    request->setResponseCookie(kCookie, session->sessionId(), "/");
    return session.get();
}

char* HabSessionImpl::generateSessionId(HabRequest* request) {
    const char* host = request->getRemoteHost();
    char text[kIdTextSize];
    std::snprintf(text, sizeof(text), "%s-%d-%lu-%lu", host == nullptr ? "(null)" : host,
                  request->getRemotePort(), static_cast<unsigned long>(std::time(nullptr)),
                  random_from_kernel());
    return strdup(md5_hex(text).c_str());
}

HabSessionImpl* HabSessionImpl::sessionForId(const char* id) {
    return new HabSessionImpl(id);
}

HabSessionImpl* HabSessionImpl::sessionFromJson(cJSON* json) {
    return new HabSessionImpl(json);
}

void HabSessionImpl::setSessionForId(const HabSessionImpl* session, char* id) {
    const concurrency::scoped_mutex lock(m_sessionMapLock);
    const auto found = m_sessionMap.find(id);
    if (found == m_sessionMap.end()) {
        return;
    }
    leave(found);
    enter(MallocedText(id), std::shared_ptr<HabSessionImpl>(const_cast<HabSessionImpl*>(session)));
}

void HabSessionImpl::sessionEnded(const char* id) {
    const concurrency::scoped_mutex lock(m_sessionMapLock);
    const auto found = m_sessionMap.find(id);
    if (found != m_sessionMap.end()) {
        logger_function(3, kModule, "Existing session with id %s has ended", id);
        leave(found);
    }
}

// An equal key that is there already keeps its entry and gets the new session.
void HabSessionImpl::enter(MallocedText id, std::shared_ptr<HabSessionImpl> session) {
    const auto [entry, isNew] = m_sessionMap.try_emplace(std::move(id));
    entry->second.session = std::move(session);
    if (isNew) {
        entry->second.order = &m_free;
        entry->second.place = m_free.insert(m_free.end(), entry);
    }
}

void HabSessionImpl::leave(SessionMap::iterator entry) {
    entry->second.order->erase(entry->second.place);
    m_sessionMap.erase(entry);
}

// At the end of the order that its holds put it in: a hold begins and ends with a request of its session.
void HabSessionImpl::sortIn(SessionMap::iterator entry) {
    Entry& e = entry->second;
    Order& order = e.connections > 0 ? m_connected : e.subscriptions > 0 ? m_subscribed : m_free;
    order.splice(order.end(), *e.order, e.place);
    e.order = &order;
}

HabSessionImpl::Hold HabSessionImpl::hold(HabSession* session, HeldBy what) {
    const std::weak_ptr<HabSession> held = session->weak_from_this();
    const auto change = [held, what](int by) {
        if (const auto live = std::dynamic_pointer_cast<HabSessionImpl>(held.lock())) {
            changeHolds(*live, what, by);
        }
    };
    if (held.expired()) {
        return nullptr;
    }
    change(1);
    // A subscription can outlive its session.
    const auto number = m_heldNumbers.insert(session->getNumberId());
    return {nullptr, [change, number](void*) {
                change(-1);
                m_heldNumbers.erase(number);
            }};
}

void HabSessionImpl::changeHolds(const HabSessionImpl& session, HeldBy what, int change) {
    const concurrency::scoped_mutex lock(m_sessionMapLock);
    const auto found = m_sessionMap.find(session.sessionId());
    if (found != m_sessionMap.end() && found->second.session.get() == &session) {
        (what == HeldBy::kConnection ? found->second.connections : found->second.subscriptions) += change;
        sortIn(found);
    }
}

void HabSessionImpl::setDroppedCallback(void (*dropped)(unsigned int numberId)) {
    m_dropped = dropped;
}

void HabSessionImpl::makeRoom() {
    std::vector<unsigned int> subscribed;
    {
        const concurrency::scoped_mutex lock(m_sessionMapLock);
        // Nobody can end the subscriptions of a session that has expired, and a client can leave some behind again and
        // again. They stay, but not more of them than sessions may.
        if (m_orphans.size() > m_maxSessions) {
            subscribed.push_back(m_orphans.front());
            m_orphans.pop_front();
        }
        if (m_sessionMap.size() >= m_maxSessions) {
            dropSessions(subscribed);
        }
    }
    for (const unsigned int number : subscribed) {
        m_dropped(number);
    }
}

// A client that never sends its cookie back costs a session a request.
void HabSessionImpl::dropSessions(std::vector<unsigned int>& subscribed) {
    // Two, in case there were too many while they were all held.
    for (int i = 0; i < 2 && m_sessionMap.size() >= m_maxSessions; ++i) {
        const bool isDropped = dropOldest(m_subscribed, Subscribed::kExpired, subscribed) ||
                               dropOldest(m_free, Subscribed::kExpired, subscribed);
        // A client can subscribe with each of its requests in a session of its own.
        if (!isDropped && m_sessionMap.size() >= 2 * m_maxSessions) {
            dropOldest(m_subscribed, Subscribed::kAny, subscribed);
        }
    }
    if (const unsigned long count = m_line.take(); count > 0) {
        logger_function(4, kModule, "%lu new sessions beyond %zu: those not used for longest go", count,
                        m_maxSessions);
    }
}

// Drops the session of the order that was used longest ago, if it may go. Sessions that a request is bound to are in
// use now; there are as many of them as connections, and so not all of them are looked for.
bool HabSessionImpl::dropOldest(Order& order, Subscribed which, std::vector<unsigned int>& subscribed) {
    for (int looked = 0; looked < kMaxLooks && !order.empty(); ++looked) {
        const SessionMap::iterator oldest = order.front();
        const Entry& entry = oldest->second;
        if (entry.session.use_count() > 1) {
            sortIn(oldest);
            continue;
        }
        if (entry.subscriptions > 0) {
            if (which == Subscribed::kExpired && !entry.session->isIdleTooLong()) {
                return false;
            }
            subscribed.push_back(entry.session->getNumberId());
        }
        leave(oldest);
        return true;
    }
    return false;
}

void HabSessionImpl::setMaxSessions(std::size_t max) {
    m_maxSessions = max;
}

std::size_t HabSessionImpl::holdsOf(unsigned int number) {
    return m_heldNumbers.count(number);
}

void HabSessionImpl::setNextNumberId(unsigned int number) {
    m_nextNumberId = number;
}

void HabSessionImpl::setClock(Clock clock) {
    m_clock = clock == nullptr ? monotonic_now : clock;
    m_line = OncePerMinute();
}

void HabSessionImpl::updated() {
    lastUsed = m_clock();
}

bool HabSessionImpl::isExpired() {
    const bool expired = isIdleTooLong();
    if (expired) {
        logger_function(6, kModule, "SESSION EXPIRED! id=%s", text_or_null(m_sessionId));
    }
    return expired;
}

bool HabSessionImpl::isIdleTooLong() const {
    // The clock counts in 32 bits and steps from its largest value to its smallest every 24.8 days, so only
    // the difference in 32 bits is a time that passed.
    const auto idle_ms = static_cast<std::uint32_t>((m_clock() - lastUsed).milliseconds());
    return timeout != 0 && idle_ms / 1000 > timeout;
}

void HabSessionImpl::setAuthName(const char* name) {
    authName.reset(name == nullptr ? nullptr : strdup(name));
}

cJSON* HabSessionImpl::toJson() {
    constexpr const char* kFunction = "virtual cJSON* HabSessionImpl::toJson()";
    JsonPtr jsonObj(cJSON_CreateObject());
    ORVALE_ASSERT(jsonObj != nullptr, "jsonObj != __null", kModule, kFunction);
    ORVALE_ASSERT(m_sessionId != nullptr, "m_sessionId != __null", kModule, kFunction);
    cJSON_AddStringToObject(jsonObj.get(), "sessionID", m_sessionId.get());
    cJSON_AddNumberToObject(jsonObj.get(), "hitCount", hitCounts);
    if (authName != nullptr) {
        cJSON_AddStringToObject(jsonObj.get(), "authName", authName.get());
    }
    cJSON_AddNumberToObject(jsonObj.get(), "accessLevel", accessLevel);
    cJSON_AddNumberToObject(jsonObj.get(), "reqStartTime",
                            static_cast<double>(requestStartTime.milliseconds()));
    cJSON_AddNumberToObject(jsonObj.get(), "updated", static_cast<double>(lastUsed.milliseconds()));
    return jsonObj.release();
}
