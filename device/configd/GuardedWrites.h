// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <list>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "device/configd/PendingWrite.h"

// GuardedWrites: the validators, and the writes that wait for their verdict. A validator guards the keys that begin
// with its name; it sees those elements of a write, and the write goes on when it answers all of them with 0. A write
// that several validators guard goes through all of them, one after the other. Writes that have a validator in common
// are examined in the order in which they came; others do not wait for each other.
// Owns:      the waiting writes.
// Borrows:   the owner; it outlives this object.
// Callbacks: from add(), handle_verdict() and expire(); they do not come back into this object.
// Errors:    beyond kMaxWaiting and kMaxWaitingBytes (keys and values) a write is refused. A validator that does not
//            answer in kTimeoutMs is dropped with a log line, and the write refused; it guards again when it registers
//            again.
// Units:     times in milliseconds of px_time_ms().
class GuardedWrites {
  public:
    class Owner {
      public:
        virtual void ask_validator(const std::string& name, const std::vector<ConfigElement>& elements) = 0;
        // The verdict stands in the statuses.
        virtual void after_verdict(PendingWrite write, uint32_t now_ms) = 0;

      protected:
        ~Owner() = default;
    };

    // What the client library takes into one question.
    static constexpr size_t kMaxElements = 1600;
    static constexpr size_t kMaxWaiting = 1000;
    static constexpr size_t kMaxWaitingBytes = size_t{64} << 20;
    static constexpr size_t kMaxValidators = 256;
    static constexpr uint32_t kTimeoutMs = 5000;

    explicit GuardedWrites(Owner& owner) : m_owner(owner) {}

    // False when there are too many. One that is being asked is asked again.
    [[nodiscard]] bool register_validator(const std::string& name, uint32_t now_ms);
    [[nodiscard]] bool guards(const std::vector<ConfigElement>& elements) const;
    void add(PendingWrite write, uint32_t now_ms);
    // Elements that are not those of a question that is open, in their order, come too late and are passed over.
    void handle_verdict(const std::vector<ConfigElement>& verdict, uint32_t now_ms);
    void expire(uint32_t now_ms);
    // How long the validator that was asked first has left, 0 at least; nothing when none is being asked.
    [[nodiscard]] std::optional<uint32_t> time_left_ms(uint32_t now_ms) const;

  private:
    struct Examination {
        PendingWrite write;
        size_t bytes;
        // The last is the next one, or is being asked. Longer names come later, so that of two validators of one key
        // that with the shorter name is the last to be asked: until then its name keeps other writes of that key
        // waiting.
        std::vector<std::string> to_ask;
        bool is_asking = false;
        uint32_t asked_ms = 0;
    };
    using Guarded = std::vector<ConfigElement*>;

    static Guarded elements_guarded_by(const std::string& name, Examination& examination);
    static bool is_verdict_on(Examination& examination, const std::vector<ConfigElement>& verdict);
    static void close_question(Examination& examination);
    void go_on(uint32_t now_ms);
    void ask_next(Examination& examination, uint32_t now_ms);

    Owner& m_owner;
    std::set<std::string> m_validators;
    std::list<Examination> m_waiting;  // in the order in which they came
    size_t m_waiting_bytes = 0;
};
