#include "device/configd/ConfigDatabase.h"

#include <utility>

#include "config_client/config_client_api.h"

std::unique_ptr<ConfigDatabase> ConfigDatabase::load(ConfigValues factory,
                                                     std::unique_ptr<ConfigStore> store) {
    std::unique_ptr<ConfigDatabase> database(new ConfigDatabase(std::move(factory), std::move(store)));
    return database->m_store->load(database->m_values) ? std::move(database) : nullptr;
}

ConfigDatabase::ConfigDatabase(ConfigValues factory, std::unique_ptr<ConfigStore> store)
    : m_factory(std::move(factory)), m_values(m_factory), m_store(std::move(store)) {}

const ConfigValue* ConfigDatabase::find(std::string_view key) const {
    const auto found = m_values.find(key);
    return found != m_values.end() ? &found->second : nullptr;
}

std::vector<const ConfigValues::value_type*> ConfigDatabase::match(const KeyPattern& pattern) const {
    std::vector<const ConfigValues::value_type*> matching;
    const std::string& prefix = pattern.literal_prefix();
    for (auto it = m_values.lower_bound(prefix); it != m_values.end() && it->first.starts_with(prefix);
         ++it) {
        if (pattern.matches(it->first)) {
            matching.push_back(&*it);
        }
    }
    return matching;
}

uint32_t ConfigDatabase::information(std::string_view key) const {
    const ConfigValue* value = find(key);
    const auto factory = m_factory.find(key);
    const bool is_factory_value = value != nullptr && factory != m_factory.end() && factory->second == *value;
    return (value != nullptr ? value->type : CONFIG_TYPE_NONE) |
           (config_key_tree(key) == KeyTree::kPersistent ? kPersists : 0) |
           (is_factory_value ? kIsFactoryValue : 0);
}

std::optional<ConfigDatabase::Changes> ConfigDatabase::write(const std::vector<ConfigElement>& elements) {
    ConfigValues wanted;
    for (const ConfigElement& element : elements) {
        wanted.insert_or_assign(element.key, element.value);
    }
    Changes changes = changes_by(std::move(wanted));
    if (!store_changes(changes)) {
        return std::nullopt;
    }
    apply(changes);
    return changes;
}

std::optional<ConfigDatabase::Changes> ConfigDatabase::reset_to_factory() {
    ConfigValues wanted = m_factory;
    for (const auto& [key, value] : m_values) {
        if (config_key_tree(key) == KeyTree::kPersistent) {
            wanted.try_emplace(key);  // of type 0: deletes what the factory does not name
        }
    }
    Changes changes = changes_by(std::move(wanted));
    if (!m_store->clear()) {
        return std::nullopt;
    }
    apply(changes);
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

// A deleted factory value leaves a row that says so; without it the next start would bring the value back.
bool ConfigDatabase::store_changes(const Changes& changes) {
    std::vector<ConfigElement> rows;
    std::vector<std::string> removed;
    for (const ConfigElement& change : changes) {
        if (config_key_tree(change.key) != KeyTree::kPersistent) {
            continue;
        }
        if (change.value.type != CONFIG_TYPE_NONE || m_factory.contains(change.key)) {
            rows.push_back(change);
        } else {
            removed.push_back(change.key);
        }
    }
    return (rows.empty() && removed.empty()) || m_store->write(rows, removed);
}

void ConfigDatabase::apply(const Changes& changes) {
    for (const ConfigElement& change : changes) {
        if (change.value.type == CONFIG_TYPE_NONE) {
            m_values.erase(change.key);
        } else {
            m_values.insert_or_assign(change.key, change.value);
        }
    }
}
