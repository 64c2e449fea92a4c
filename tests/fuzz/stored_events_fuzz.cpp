// SPDX-License-Identifier: MIT

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "cbus/cbus.h"
#include "device/eventd/EventHandler.h"
#include "events/EventManager.h"
#include "fuzz_check.h"
#include "runtime/fdloop_libevent.h"
#include "tests/support/FakeDatabase.h"

namespace {

using BusPtr = COwned<_cbus_conn_t, cbus_conn_destroy>;

// What happens: an action, its argument, and data with their length in front.
struct Step {
    uint8_t action;
    uint8_t argument;
    std::string_view data;
};

Step take_step(std::string_view& script) {
    Step step{};
    if (script.size() >= 3) {
        step = {static_cast<uint8_t>(script[0]), static_cast<uint8_t>(script[1]),
                script.substr(3, static_cast<uint8_t>(script[2]))};
    }
    script.remove_prefix(script.size() < 3 ? script.size() : 3 + step.data.size());
    return step;
}

// One for all runs: each has an address of its own, and the environment keeps every one that it ever held.
FakeDatabase& the_database() {
    static FakeDatabase database;
    return database;
}

// The event handler and the daemon's view of the events, over one database.
class Unit {
  public:
    Unit() {
        m_bus.reset(cbus_conn_create(m_loop.get(), "fuzz"));
        fuzz_check(m_bus != nullptr);
        config_init_cbus(m_bus.get(), nullptr);
        int32_t value = 0;
        // An answer shows that the database has taken the connection.
        static_cast<void>(config_read_int("cfg.any", &value));
    }

    Unit(const Unit&) = delete;
    Unit& operator=(const Unit&) = delete;
    ~Unit() { m_database.reset(); }

    void act(const Step& step);
    void check();

  private:
    void signal(const char* name, const Step& step) {
        m_handler.handle_signal(name, step.data, step.argument);
    }
    void restore();
    void settle();

    FakeDatabase& m_database = the_database();
    FdLoopPtr m_loop{fdloop_init()};
    BusPtr m_bus;
    EventHandler m_handler;
    EventManager m_manager{EventList::kCapacity};
};

void Unit::act(const Step& step) {
    // A little beyond the end of the list as well.
    const std::string key = kEventStorePrefix + std::to_string(step.argument % (EventList::kCapacity + 2));
    switch (step.action % 8) {
        case 0:
            return m_database.setBinary(key, std::string(step.data));
        case 1:
            return m_database.setString(key, std::string(step.data));
        case 2:
            return m_database.erase(key);
        case 3:
            return m_database.setBinary("dyn.evh.severities", std::string(step.data));
        case 4:
            return signal(kRegisterEventDefinitionSignal, step);
        case 5:
            return signal(kForwardEventReportSignal, step);
        case 6:
            return signal(kClearEventsSignal, step);
        default:
            restore();
    }
}

void Unit::restore() {
    if (!m_handler.is_restored()) {
        fuzz_check(m_handler.restore());
        m_manager.emInit();
    }
}

// Handles everything that the database has announced: an answer comes behind it.
void Unit::settle() {
    int32_t value = 0;
    static_cast<void>(config_read_int("cfg.any", &value));
    fdloop_timer_add(
        m_loop.get(), 0, [](void*, int, _fdloop_timer_t*) {}, nullptr);
    fdloop_run(m_loop.get());
}

void Unit::check() {
    restore();
    m_handler.check_database();
    settle();
    const std::vector<UserEvent>& events = m_handler.list().events();
    const auto stored = event_database_read();
    fuzz_check(stored && events.size() <= stored->size() && m_manager.store().count() == events.size());
    const EventStoreItem* record = m_manager.store().first(nullptr);
    for (size_t n = 0; n < stored->size(); ++n) {
        fuzz_check((*stored)[n].is_taken == (n < events.size()));
        if (n < events.size()) {
            fuzz_check((*stored)[n].event == events[n] && record->ev_id == events[n].ev_id &&
                       record->state == events[n].state);
            record = m_manager.store().next(nullptr, record);
        }
    }
}

}  // namespace

// Values of whatever origin in the place of events, and signals: in the end the database holds the event handler's list
// and nothing else, and the daemon has followed it.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view script(reinterpret_cast<const char*>(data), size);
    Unit unit;
    while (!script.empty()) {
        unit.act(take_step(script));
    }
    unit.check();
    return 0;
}
