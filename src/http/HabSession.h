// SPDX-License-Identifier: MIT

#pragma once

#include <pthread.h>

#include <deque>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include "runtime/c_owner.h"
#include "src/base/OncePerMinute.h"
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
// Owns:      the table owns its sessions. One that leaves the table (expired, ended, replaced, dropped) lives on
//            while a request is bound to it.
// Threads:   the table is locked; a session itself is not.
// Limits:    while setMaxSessions() of them are in the table, a new one drops another, with one log line a minute: an expired one,
//            else the one not used for longest of those that nobody holds. Nothing is dropped when there is none, up to
//            twice as many: from there on the one not used for longest of those that only subscriptions hold goes.
//            What that costs does not depend on their number.
// Units:     the idle timeout in seconds of the monotonic clock, 0 means never.
class HabSessionImpl : public HabSession {
  public:
    using Clock = utilities::DateTime (*)();
    // What holds a session as long as it lives.
    enum class HeldBy { kSubscription, kConnection };
    using Hold = std::shared_ptr<void>;

    static constexpr std::size_t kMaxSessions = 10000;

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
    // Keeps the session from being dropped; one that is held by subscriptions alone goes when it expires, or when there
    // are too many of them. Null for a session that the table has never had.
    [[nodiscard]] static Hold hold(HabSession* session, HeldBy what);
    // Runs with the number of each session whose subscriptions are to end: because it is dropped with them, or because too
    // many have been left behind by expired ones.
    static void setDroppedCallback(void (*dropped)(unsigned int numberId));
    // How many the table keeps, kMaxSessions unless this is called, which is before the first one.
    static void setMaxSessions(std::size_t max);
    // How many subscriptions and connections hold the session of that number, which may be gone.
    static std::size_t holdsOf(unsigned int number);
    // The number of the next session, as if so many had been before; for tests.
    static void setNextNumberId(unsigned int number);
    // The clock of all sessions; tests turn it by hand. Null brings the monotonic clock back. The log line about a full
    // table may come at once again.
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
    struct Entry;
    using SessionMap = std::map<MallocedText, Entry, cmp_str_functor>;
    // In the order of their last use, the longest ago first.
    using Order = std::list<SessionMap::iterator>;
    struct Entry {
        std::shared_ptr<HabSessionImpl> session;
        int subscriptions = 0;
        int connections = 0;
        Order* order = nullptr;
        Order::iterator place{};
    };

    static unsigned int takeNumberId();
    static void findUsedNumbers();
    static HabSessionImpl* findLive(const char* id);
    static HabSessionImpl* create(HabRequest* request);
    static void enter(MallocedText id, std::shared_ptr<HabSessionImpl> session);
    static void leave(SessionMap::iterator entry);
    static void sortIn(SessionMap::iterator entry);
    static void changeHolds(const HabSessionImpl& session, HeldBy what, int change);
    static void makeRoom();
    static void dropSessions(std::vector<unsigned int>& subscribed);
    enum class Subscribed { kExpired, kAny };
    static bool dropOldest(Order& order, Subscribed which, std::vector<unsigned int>& subscribed);
    bool isIdleTooLong() const;

    static SessionMap& m_sessionMap;
    static pthread_mutex_t m_sessionMapLock;
    static unsigned int m_nextNumberId;
    static std::multiset<unsigned int>& m_heldNumbers;  // of what is held, also when it has left the table
    static std::set<unsigned int>& m_usedNumbers;       // since before the numbers began anew
    static std::size_t m_maxSessions;
    static Clock m_clock;
    static OncePerMinute m_line;
    static Order& m_free;
    static Order& m_subscribed;
    static Order& m_connected;
    // Numbers of expired sessions that had subscriptions and no connection; the longest expired first.
    static std::deque<unsigned int>& m_orphans;
    static void (*m_dropped)(unsigned int numberId);

    MallocedText m_sessionId;
    unsigned int m_numberId = 0;
    utilities::DateTime requestStartTime;
    unsigned int hitCounts = 0;
    MallocedText authName;
    int accessLevel = 0;
    long long timeout;
    utilities::DateTime lastUsed;
};
