#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "device/configd/ConfigElement.h"
#include "device/configd/ConfigStore.h"
#include "device/configd/FactoryFile.h"
#include "device/configd/KeyPattern.h"

// ConfigDatabase: all values, in memory and in order; the persistent ones also in a store.
//   A factory value holds until the key is written or deleted; the store keeps only what differs by that.
// Owns:    values and store.
// Threads: one.
// Errors:  nothing is changed by a write that the store refuses.
class ConfigDatabase {
  public:
    using Changes = std::vector<ConfigElement>;  // in the order of the keys; type 0 is a deleted key

    // What stat tells of a key, beside its type in the low byte.
    static constexpr uint32_t kPersists = 0x100;
    static constexpr uint32_t kIsFactoryValue = 0x200;

    // Null, after one log line, when the store cannot be read.
    [[nodiscard]] static std::unique_ptr<ConfigDatabase> load(ConfigValues factory,
                                                              std::unique_ptr<ConfigStore> store);

    // Null when there is no value.
    [[nodiscard]] const ConfigValue* find(std::string_view key) const;
    [[nodiscard]] std::vector<const ConfigValues::value_type*> match(const KeyPattern& pattern) const;
    [[nodiscard]] uint32_t information(std::string_view key) const;

    // Writes all elements or, when the store refuses, none; of several with one key the last counts. The answer are
    // the keys whose value or type is another than before. The elements have passed config_element_check().
    [[nodiscard]] std::optional<Changes> write(const std::vector<ConfigElement>& elements);
    // Persistent trees: as in the factory file, keys that it does not name go. Others: only the keys that it names.
    [[nodiscard]] std::optional<Changes> reset_to_factory();
    [[nodiscard]] bool sync() { return m_store->sync(); }

  private:
    ConfigDatabase(ConfigValues factory, std::unique_ptr<ConfigStore> store);

    [[nodiscard]] Changes changes_by(ConfigValues wanted) const;
    [[nodiscard]] bool store_changes(const Changes& changes);
    void apply(const Changes& changes);

    ConfigValues m_factory;
    ConfigValues m_values;
    std::unique_ptr<ConfigStore> m_store;
};
