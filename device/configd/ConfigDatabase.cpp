// SPDX-License-Identifier: MIT

#include "device/configd/ConfigDatabase.h"

#include <utility>

#include "config_client/config_client_api.h"

std::unique_ptr<ConfigDatabase> ConfigDatabase::load(ConfigValues factory, std::unique_ptr<ConfigStore> store,
                                                     std::unique_ptr<ConfigStore> runtime_store) {
    std::unique_ptr<ConfigDatabase> database(
        new ConfigDatabase(std::move(factory), std::move(store), std::move(runtime_store)));
    const bool is_loaded = database->m_store->load(KeyTree::kPersistent, database->m_values) &&
                           (database->m_runtime_store == nullptr ||
                            database->m_runtime_store->load(KeyTree::kVolatile, database->m_values));
    return is_loaded ? std::move(database) : nullptr;
}

ConfigDatabase::ConfigDatabase(ConfigValues factory, std::unique_ptr<ConfigStore> store,
                               std::unique_ptr<ConfigStore> runtime_store)
    : m_factory(std::move(factory)),
      m_values(m_factory),
      m_store(std::move(store)),
      m_runtime_store(std::move(runtime_store)) {}

const ConfigValue* ConfigDatabase::find(std::string_view key) const {
    const auto found = m_values.find(key);
    return found != m_values.end() ? &found->second : nullptr;
}

std::vector<const ConfigValues::value_type*> ConfigDatabase::match(const KeyPattern& pattern) const {
    std::vector<const ConfigValues::value_type*> matching;
    std::string leap = pattern.literal_prefix();
    auto it = m_values.lower_bound(leap);
    while (it != m_values.end()) {
        switch (pattern.look_at(it->first, leap)) {
            case KeyPattern::Look::kMatches:
                matching.push_back(&*it);
                ++it;
                break;
            case KeyPattern::Look::kNextKey:
                ++it;
                break;
            case KeyPattern::Look::kLeap:
                it = m_values.lower_bound(leap);
                break;
            case KeyPattern::Look::kNoneBehind:
                it = m_values.end();
                break;
        }
    }
    return matching;
}

uint32_t ConfigDatabase::information(std::string_view key) const {
    const ConfigValue* value = find(key);
    const auto factory = m_factory.find(key);
    const bool is_factory_value = value != nullptr && factory != m_factory.end() && factory->second == *value;
    return (value != nullptr ? value->type : CONFIG_TYPE_NONE) |
           (config_key_tree(key) == KeyTree::kPersistent ? CONFIG_STAT_PERSISTS : 0) |
           (is_factory_value ? CONFIG_STAT_FACTORY : 0);
}

std::optional<std::vector<ConfigDatabase::Changes>> ConfigDatabase::write(const std::vector<Write>& writes) {
    std::vector<Changes> all_changes;
    Changes undo;
    for (const Write& write : writes) {
        ConfigValues wanted;
        for (const ConfigElement& element : write) {
            wanted.insert_or_assign(element.key, element.value);
        }
        apply(all_changes.emplace_back(changes_by(std::move(wanted))), undo);
    }
    if (!store_volatile(undo) || !m_store->write(rows_of(undo, KeyTree::kPersistent))) {
        take_back(undo);
        return std::nullopt;
    }
    return all_changes;
}

std::optional<ConfigDatabase::Changes> ConfigDatabase::reset_to_factory() {
    ConfigValues wanted = m_factory;
    for (const auto& [key, value] : m_values) {
        if (config_key_tree(key) == KeyTree::kPersistent) {
            wanted.try_emplace(key);  // of type 0: deletes what the factory does not name
        }
    }
    Changes changes = changes_by(std::move(wanted));
    Changes undo;
    apply(changes, undo);
    if (!store_volatile(undo) || !m_store->clear()) {
        take_back(undo);
        return std::nullopt;
    }
    return changes;
}

ConfigDatabase::Changes ConfigDatabase::changes_by(ConfigValues wanted) const {
    Changes changes;
    for (auto& [key, value] : wanted) {
        if (value.type == CONFIG_TYPE_NONE) {
            value.data.clear();
        }
        const ConfigValue* before = find(key);
        if (before != nullptr ? *before != value : value.type != CONFIG_TYPE_NONE) {
            changes.push_back({key, std::move(value), CONFIG_OK});
        }
    }
    return changes;
}

// Appends to `undo` what was there before.
void ConfigDatabase::apply(const Changes& changes, Changes& undo) {
    for (const auto& [key, value, status] : changes) {
        ConfigValue& slot = m_values[key];
        undo.push_back({key, std::exchange(slot, value), CONFIG_OK});
        if (value.type == CONFIG_TYPE_NONE) {
            m_values.erase(key);
        }
    }
}

// The latest first: a key that was changed twice ends as it was before the first time. The volatile store has ended its
// transaction before the other one refused; in memory it has room for what it held before.
void ConfigDatabase::take_back(const Changes& undo) {
    for (auto it = undo.rbegin(); it != undo.rend(); ++it) {
        Changes redo;
        apply({*it}, redo);
    }
    static_cast<void>(store_volatile(undo));
}

// The rows that make the store of one kind of trees agree with memory. A deleted factory value leaves a row
// that says so; without it the next start would bring the value back.
StoreRows ConfigDatabase::rows_of(const Changes& touched, KeyTree tree) const {
    StoreRows rows;
    for (const ConfigElement& element : touched) {
        if (config_key_tree(element.key) != tree) {
            continue;
        }
        const ConfigValue* value = find(element.key);
        const bool is_put = value != nullptr || m_factory.contains(element.key);
        rows.insert_or_assign(
            element.key, is_put ? std::optional(value != nullptr ? *value : ConfigValue()) : std::nullopt);
    }
    return rows;
}

bool ConfigDatabase::store_volatile(const Changes& touched) {
    return m_runtime_store == nullptr || m_runtime_store->write(rows_of(touched, KeyTree::kVolatile));
}
