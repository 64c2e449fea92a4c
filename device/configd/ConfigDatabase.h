// SPDX-License-Identifier: MIT

#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "device/configd/ConfigElement.h"
#include "device/configd/ConfigStore.h"
#include "device/configd/FactoryFile.h"
#include "device/configd/KeyPattern.h"

// ConfigDatabase: all values, in memory and in order; the persistent ones also in a store, the volatile ones
// too if there is a second store for them. A factory value holds until the key is written or deleted; the
// stores keep only what was.
// Owns:    values and stores.
// Threads: one.
// Blocks:  writes, until the store has them.
// Errors:  nothing is changed by writes that a store refuses. The two stores end their transactions one after
//          the other: of a write of both kinds of keys a process that is killed may leave the volatile half.
class ConfigDatabase {
  public:
    using Write = std::span<const ConfigElement>;
    using Changes = std::vector<ConfigElement>;  // in the order of the keys; type 0 is a deleted key

    // Without `runtime_store` (null) volatile values live in memory only. Null, after one log line, when a store cannot
    // be read.
    [[nodiscard]] static std::unique_ptr<ConfigDatabase> load(
        ConfigValues factory, std::unique_ptr<ConfigStore> store,
        std::unique_ptr<ConfigStore> runtime_store = nullptr);

    // Null when there is no value. What find() and match() answer is valid until the next write.
    [[nodiscard]] const ConfigValue* find(std::string_view key) const;
    // In the order of the keys. Keys that cannot match are leapt over: the cost follows the matches, and for a "*" the
    // components that stand in its place.
    [[nodiscard]] std::vector<const ConfigValues::value_type*> match(const KeyPattern& pattern) const;
    // Bits of CONFIG_STAT_....
    [[nodiscard]] uint32_t information(std::string_view key) const;

    // Does the writes one after the other in one transaction: all of them or, when a store refuses, none. The
    // answer are, for each, the keys whose value or type is another than before it; of several elements of
    // one write with one key the last counts. The elements have passed config_element_check().
    [[nodiscard]] std::optional<std::vector<Changes>> write(const std::vector<Write>& writes);
    // Persistent trees: as in the factory file, keys that it does not name go. Others: only the keys that it names.
    [[nodiscard]] std::optional<Changes> reset_to_factory();
    [[nodiscard]] bool sync() { return m_store->sync(); }

  private:
    ConfigDatabase(ConfigValues factory, std::unique_ptr<ConfigStore> store,
                   std::unique_ptr<ConfigStore> runtime_store);

    [[nodiscard]] Changes changes_by(ConfigValues wanted) const;
    void apply(const Changes& changes, Changes& undo);
    void take_back(const Changes& undo);
    [[nodiscard]] StoreRows rows_of(const Changes& touched, KeyTree tree) const;
    [[nodiscard]] bool store_volatile(const Changes& touched);

    ConfigValues m_factory;
    ConfigValues m_values;
    std::unique_ptr<ConfigStore> m_store;
    std::unique_ptr<ConfigStore> m_runtime_store;  // may be null
};
