#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "device/configd/ConfigDatabase.h"
#include "device/configd/GuardedWrites.h"

// The bus as the service sees it.
class ConfigOutlet {
  public:
    using Answer = std::function<void(const std::string& data)>;

    virtual void send_signal(const std::string& name, const std::string& data) = 0;
    // Keeps the request that is being handled; the answer is called at most once.
    [[nodiscard]] virtual Answer keep_request() = 0;

  protected:
    ~ConfigOutlet() = default;
};

// ConfigService: the operations of the database, from the bytes of a request or signal to those of its reply.
//   A write is done whole or not at all, and what it changed is announced before its writer is answered: one signal
//   "config.change.<first component>" for each first component.
// Borrows: database and outlet; they outlive it.
// Threads: loop thread only.
// Errors:  malformed requests get an empty reply, malformed signals a log line; so do writes by signal that are
//          refused. A reply that the bus would not carry is empty.
// Units:   times in milliseconds of px_time_ms().
class ConfigService final : private GuardedWrites::Owner {
  public:
    // The broker takes messages of 8 MiB; name and header need a little of that.
    static constexpr size_t kMaxDataBytes = (size_t{8} << 20) - 1024;

    ConfigService(ConfigDatabase& database, ConfigOutlet& outlet);
    ConfigService(const ConfigService&) = delete;
    ConfigService& operator=(const ConfigService&) = delete;
    ~ConfigService() = default;

    // The reply's data; nothing when the outlet's kept request carries it, now or later.
    [[nodiscard]] std::optional<std::string> handle_request(std::string_view name, std::string_view data,
                                                            uint32_t now_ms);
    void handle_signal(std::string_view name, std::string_view data, uint32_t now_ms);

    // For validators that do not answer: expire() is due after this time.
    [[nodiscard]] std::optional<uint32_t> time_left_ms(uint32_t now_ms) const {
        return m_guarded.time_left_ms(now_ms);
    }
    void expire(uint32_t now_ms) { m_guarded.expire(now_ms); }

  private:
    using Elements = std::vector<ConfigElement>;

    [[nodiscard]] std::string read(std::string_view key, std::string_view data) const;
    [[nodiscard]] std::string read_vector(std::string_view prefix, std::string_view data) const;
    [[nodiscard]] std::string read_pattern(std::string_view pattern) const;
    [[nodiscard]] std::string stat(std::string_view key) const;
    [[nodiscard]] std::string factory_reset();
    [[nodiscard]] std::optional<std::string> modify_vector(std::string_view prefix, std::string_view data,
                                                           uint32_t now_ms);
    [[nodiscard]] bool write(std::string_view key, std::string_view data, uint32_t now_ms);
    [[nodiscard]] bool write_vector(std::string_view prefix, std::string_view data, uint32_t now_ms);
    [[nodiscard]] bool delete_pattern(std::string_view pattern, uint32_t now_ms);
    [[nodiscard]] bool validate(std::string_view step, std::string_view data, uint32_t now_ms);

    void submit(PendingWrite write, uint32_t now_ms);
    void ask_validator(const std::string& name, const Elements& elements) override;
    void after_verdict(PendingWrite write) override;
    void announce(const Elements& changes);

    ConfigDatabase& m_database;
    ConfigOutlet& m_outlet;
    GuardedWrites m_guarded;
};
