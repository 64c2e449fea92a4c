#include "src/http/HabSession.h"

#include <sys/random.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <string>
#include <utility>

#include "runtime/logging.h"
#include "src/base/assertion.h"
#include "src/base/json_helpers.h"
#include "src/base/scoped_locking.h"
#include "src/http/HabConfig.h"
#include "src/http/HabRequest.h"
#include "src/http/md5.h"

namespace {

constexpr const char* kModule = "src/HabSession";
constexpr const char* kCookie = "DRHABSESSID";
constexpr size_t kIdTextSize = 100;

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
HabSessionImpl::Clock HabSessionImpl::m_clock = monotonic_now;

HabSessionImpl::HabSessionImpl(const char* id)
    : m_sessionId(strdup(id)),
      m_numberId(m_nextNumberId++),
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

HabSession* HabSessionImpl::sessionForRequest(HabRequest* request) {
    const char* id = request->getRequestCookie(kCookie);
    HabSessionImpl* session = nullptr;
    if (id != nullptr && id[0] != '\0') {
        logger_function(7, kModule, "Got session id %s from cookie in request.", id);
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
    if (found->second->isExpired()) {
        logger_function(3, kModule, "Existing session with id %s has expired", id);
        m_sessionMap.erase(found);
        return nullptr;
    }
    found->second->updated();
    return found->second.get();
}

HabSessionImpl* HabSessionImpl::create(HabRequest* request) {
    MallocedText id(generateSessionId(request));
    const std::shared_ptr<HabSessionImpl> session(sessionForId(id.get()));
    logger_function(7, kModule, "Creating new session with id %s", session->sessionId());
    {
        const concurrency::scoped_mutex lock(m_sessionMapLock);
        m_sessionMap.insert_or_assign(std::move(id), session);
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
    m_sessionMap.erase(found);
    m_sessionMap.emplace(MallocedText(id),
                         std::shared_ptr<HabSessionImpl>(const_cast<HabSessionImpl*>(session)));
}

void HabSessionImpl::sessionEnded(const char* id) {
    const concurrency::scoped_mutex lock(m_sessionMapLock);
    const auto found = m_sessionMap.find(id);
    if (found != m_sessionMap.end()) {
        logger_function(3, kModule, "Existing session with id %s has ended", id);
        m_sessionMap.erase(found);
    }
}

void HabSessionImpl::setClock(Clock clock) {
    m_clock = clock == nullptr ? monotonic_now : clock;
}

void HabSessionImpl::updated() {
    lastUsed = m_clock();
}

bool HabSessionImpl::isExpired() {
    if (timeout == 0) {
        return false;
    }
    // The clock counts in 32 bits and steps from its largest value to its smallest every 24.8 days, so only
    // the difference in 32 bits is a time that passed.
    const auto idle_ms = static_cast<std::uint32_t>((m_clock() - lastUsed).milliseconds());
    const bool expired = idle_ms / 1000 > timeout;
    if (expired) {
        logger_function(6, kModule, "SESSION EXPIRED! id=%s", text_or_null(m_sessionId));
    }
    return expired;
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
