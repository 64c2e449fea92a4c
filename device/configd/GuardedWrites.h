#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "device/configd/ConfigElement.h"

// A write of one or more keys, and who waits for its result.
struct PendingWrite {
    std::vector<ConfigElement> elements;
    size_t prefix_bytes = 0;  // of each key, in front of the name that the writer gave
    std::function<void(const PendingWrite&)> after_write = [](const PendingWrite&) {};
};

[[nodiscard]] bool all_accepted(const std::vector<ConfigElement>& elements);

// GuardedWrites: the validators, and the writes that wait for their verdict, one after the other in the order in which
// they came. A validator guards the keys that begin with its name; it sees those elements of a write, and the write
// goes on when it answers all of them with 0. A write that several validators guard goes through all of them.
// Owns:      the waiting writes.
// Borrows:   the owner; it outlives this object.
// Callbacks: from add(), handle_verdict() and expire(); they do not come back into this object.
// Errors:    beyond kMaxWaiting a write is refused. A validator that does not answer in kTimeoutMs is dropped with a
//            log line, and the write refused; it guards again when it registers again.
// Units:     times in milliseconds of px_time_ms().
class GuardedWrites {
  public:
    class Owner {
      public:
        virtual void ask_validator(const std::string& name, const std::vector<ConfigElement>& elements) = 0;
        // The verdict stands in the statuses.
        virtual void after_verdict(PendingWrite write) = 0;

      protected:
        ~Owner() = default;
    };

    static constexpr size_t kMaxWaiting = 1000;
    static constexpr size_t kMaxValidators = 256;
    static constexpr uint32_t kTimeoutMs = 5000;

    explicit GuardedWrites(Owner& owner) : m_owner(owner) {}

    // False when there are too many.
    [[nodiscard]] bool register_validator(const std::string& name);
    [[nodiscard]] bool guards(const std::vector<ConfigElement>& elements) const;
    void add(PendingWrite write, uint32_t now_ms);
    // Elements that are not those of the write under examination, in their order, come too late and are passed over.
    void handle_verdict(const std::vector<ConfigElement>& verdict, uint32_t now_ms);
    void expire(uint32_t now_ms);
    // How long the validator that is being asked has left, 0 at least; nothing when none is.
    [[nodiscard]] std::optional<uint32_t> time_left_ms(uint32_t now_ms) const;

  private:
    using Guarded = std::vector<ConfigElement*>;

    [[nodiscard]] Guarded elements_guarded_by(const std::string& name);
    void begin_front();
    void go_on(uint32_t now_ms);
    void ask_next(uint32_t now_ms);

    Owner& m_owner;
    std::set<std::string> m_validators;
    std::deque<PendingWrite> m_waiting;  // the first is under examination
    std::vector<std::string> m_to_ask;   // who still has to see it; the last is being asked
    uint32_t m_asked_ms = 0;
};
