#pragma once

#include <pthread.h>

#include <map>
#include <memory>

#include "runtime/c_owner.h"
#include "src/base/date_time.h"
#include "src/http/cmp_str.h"

class HabRequest;
struct cJSON;

// HabSession: what a handler knows of the client behind a request.
// Owns:      returned texts stay the session's; toJson() gives a new tree that the caller deletes.
// Threads:   loop thread only; the session table alone is locked.
class HabSession : public std::enable_shared_from_this<HabSession> {
  public:
    HabSession() = default;
    HabSession(const HabSession&) = delete;
    HabSession& operator=(const HabSession&) = delete;

    virtual ~HabSession() = default;
    virtual const char* sessionId() const = 0;
    virtual unsigned int getNumberId() const = 0;
    virtual bool isExpired() = 0;
    virtual utilities::DateTime getRequestStartTime() const = 0;
    virtual unsigned int getHitCounts() const = 0;
    virtual void setHitCounts(unsigned int counts) = 0;
    virtual const char* getAuthName() const = 0;
    virtual void setAuthName(const char* name) = 0;
    virtual int getAccessLevel() const = 0;
    virtual void setAccessLevel(int level) = 0;
    virtual cJSON* toJson() = 0;
};

using cmp_str_functor = cmp_str;

// HabSessionImpl: a session of the process-wide table, found by the cookie that carries its id.
// Owns:      the table owns its sessions. One that leaves the table (expired, ended, replaced) lives on while
//            a request is bound to it.
// Threads:   the table is locked; a session itself is not.
// Units:     the idle timeout in seconds of the monotonic clock, 0 means never.
class HabSessionImpl : public HabSession {
  public:
    using Clock = utilities::DateTime (*)();

    explicit HabSessionImpl(const char* id);
    // From what toJson() wrote; members missing or of the wrong type are skipped. Takes no serial number.
    explicit HabSessionImpl(cJSON* json);
    ~HabSessionImpl() override;

    // The session that the request's cookie names, or a new one with its cookie set on the request. Never
    // null.
    static HabSession* sessionForRequest(HabRequest* request);
    // A new id that cannot be guessed; the caller frees it.
    static char* generateSessionId(HabRequest* request);
    // New sessions outside the table; the caller deletes them.
    static HabSessionImpl* sessionForId(const char* id);
    static HabSessionImpl* sessionFromJson(cJSON* json);
    // Puts `session` in the place of the table's session with that id and takes both arguments over (a
    // session made by new, an id from malloc). With no such session nothing happens and both stay the
    // caller's.
    static void setSessionForId(const HabSessionImpl* session, char* id);
    static void sessionEnded(const char* id);
    // The clock of all sessions; tests turn it by hand. Null brings the monotonic clock back.
    static void setClock(Clock clock);

    void updated();

    const char* sessionId() const override { return m_sessionId.get(); }
    unsigned int getNumberId() const override { return m_numberId; }
    bool isExpired() override;
    utilities::DateTime getRequestStartTime() const override { return requestStartTime; }
    unsigned int getHitCounts() const override { return hitCounts; }
    void setHitCounts(unsigned int counts) override { hitCounts = counts; }
    const char* getAuthName() const override { return authName.get(); }
    void setAuthName(const char* name) override;
    int getAccessLevel() const override { return accessLevel; }
    void setAccessLevel(int level) override { accessLevel = level; }
    cJSON* toJson() override;

  private:
    using SessionMap = std::map<MallocedText, std::shared_ptr<HabSessionImpl>, cmp_str_functor>;

    static HabSessionImpl* findLive(const char* id);
    static HabSessionImpl* create(HabRequest* request);

    static SessionMap& m_sessionMap;
    static pthread_mutex_t m_sessionMapLock;
    static unsigned int m_nextNumberId;
    static Clock m_clock;

    MallocedText m_sessionId;
    unsigned int m_numberId = 0;
    utilities::DateTime requestStartTime;
    unsigned int hitCounts = 0;
    MallocedText authName;
    int accessLevel = 0;
    long long timeout;
    utilities::DateTime lastUsed;
};
