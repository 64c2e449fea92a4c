// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "device/configd/CommitQueue.h"
#include "device/configd/ConfigDatabase.h"
#include "device/configd/ConfigOutlet.h"
#include "device/configd/ConfigReads.h"
#include "device/configd/GuardedWrites.h"

// ConfigService: the operations of the database, from the bytes of a request or signal to those of its reply.
//   A write is done whole or not at all. It passes its validators, waits for the transaction that it shares with what
//   came at the same time, and is then announced and answered, in this order.
// Borrows: database and outlet; they outlive it.
// Threads: loop thread only.
// Blocks:  for the disk, wherever a transaction ends: end_turn(), commit() and reads of what was just written.
// Errors:  malformed requests get an empty reply, malformed signals a log line; so do writes by signal that are
//          refused. A reply that the bus would not carry is empty.
// Units:   times in milliseconds of px_time_ms().
class ConfigService final : private GuardedWrites::Owner {
  public:
    ConfigService(ConfigDatabase& database, ConfigOutlet& outlet);
    ConfigService(const ConfigService&) = delete;
    ConfigService& operator=(const ConfigService&) = delete;
    ~ConfigService() = default;

    // The reply's data; nothing when the outlet's kept request carries it, now or later.
    [[nodiscard]] std::optional<std::string> handle_request(std::string_view name, std::string_view data,
                                                            uint32_t now_ms);
    void handle_signal(std::string_view name, std::string_view data, uint32_t now_ms);

    // Whether writes wait for their transaction, and whether one has waited for as long as it may.
    [[nodiscard]] bool has_uncommitted() const { return !m_queue.is_empty(); }
    [[nodiscard]] bool commit_is_due(uint32_t now_ms) const { return m_queue.is_due(now_ms); }
    void commit() { m_queue.commit(); }

    // For validators that do not answer: expire() is due after this time.
    [[nodiscard]] std::optional<uint32_t> time_left_ms(uint32_t now_ms) const {
        return m_guarded.time_left_ms(now_ms);
    }
    void expire(uint32_t now_ms) { m_guarded.expire(now_ms); }

  private:
    using Elements = std::vector<ConfigElement>;

    [[nodiscard]] std::string factory_reset();
    [[nodiscard]] std::optional<std::string> modify_vector(std::string_view prefix, std::string_view data,
                                                           uint32_t now_ms);
    [[nodiscard]] bool write(std::string_view key, std::string_view data, uint32_t now_ms);
    [[nodiscard]] bool write_vector(std::string_view prefix, std::string_view data, uint32_t now_ms);
    [[nodiscard]] bool delete_pattern(std::string_view pattern, uint32_t now_ms);
    [[nodiscard]] bool sync();
    [[nodiscard]] bool validate(std::string_view step, std::string_view data, uint32_t now_ms);

    void submit(PendingWrite write, uint32_t now_ms);
    void ask_validator(const std::string& name, const Elements& elements) override;
    void after_verdict(PendingWrite write, uint32_t now_ms) override;

    ConfigDatabase& m_database;
    ConfigOutlet& m_outlet;
    CommitQueue m_queue;
    ConfigReads m_reads;
    GuardedWrites m_guarded;
};
