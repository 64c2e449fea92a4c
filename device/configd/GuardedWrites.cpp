#include "device/configd/GuardedWrites.h"

#include <algorithm>
#include <utility>

#include "config_client/config_client_api.h"
#include "runtime/logging.h"

bool all_accepted(const std::vector<ConfigElement>& elements) {
    return std::ranges::all_of(elements, [](const ConfigElement& e) { return e.status == CONFIG_OK; });
}

bool GuardedWrites::register_validator(const std::string& name) {
    if (m_validators.size() == kMaxValidators && !m_validators.contains(name)) {
        return false;
    }
    m_validators.insert(name);
    return true;
}

bool GuardedWrites::guards(const std::vector<ConfigElement>& elements) const {
    return std::ranges::any_of(m_validators, [&](const std::string& name) {
        return std::ranges::any_of(elements, [&](const ConfigElement& e) { return e.key.starts_with(name); });
    });
}

void GuardedWrites::add(PendingWrite write, uint32_t now_ms) {
    if (m_waiting.size() == kMaxWaiting) {
        write.elements.front().status = CONFIG_REFUSED;
        m_owner.after_verdict(std::move(write));
        return;
    }
    m_waiting.push_back(std::move(write));
    if (m_waiting.size() == 1) {
        begin_front();
        go_on(now_ms);
    }
}

void GuardedWrites::handle_verdict(const std::vector<ConfigElement>& verdict, uint32_t now_ms) {
    if (m_to_ask.empty()) {
        return;
    }
    const Guarded guarded = elements_guarded_by(m_to_ask.back());
    const auto same_key = [](const ConfigElement* asked, const ConfigElement& answered) {
        return asked->key == answered.key;
    };
    if (!std::equal(guarded.begin(), guarded.end(), verdict.begin(), verdict.end(), same_key)) {
        return;
    }
    for (size_t i = 0; i < guarded.size(); ++i) {
        guarded[i]->status = verdict[i].status;
    }
    m_to_ask.pop_back();
    go_on(now_ms);
}

void GuardedWrites::expire(uint32_t now_ms) {
    if (time_left_ms(now_ms) != 0U) {
        return;
    }
    const std::string name = std::move(m_to_ask.back());
    m_to_ask.pop_back();
    logger_function(4, "configd", "validator '%s' does not answer and is dropped", name.c_str());
    for (ConfigElement* element : elements_guarded_by(name)) {
        element->status = CONFIG_REFUSED;
    }
    m_validators.erase(name);
    go_on(now_ms);
}

std::optional<uint32_t> GuardedWrites::time_left_ms(uint32_t now_ms) const {
    if (m_to_ask.empty()) {
        return std::nullopt;
    }
    return kTimeoutMs - std::min(kTimeoutMs, now_ms - m_asked_ms);
}

GuardedWrites::Guarded GuardedWrites::elements_guarded_by(const std::string& name) {
    Guarded guarded;
    for (ConfigElement& element : m_waiting.front().elements) {
        if (element.key.starts_with(name)) {
            guarded.push_back(&element);
        }
    }
    return guarded;
}

// Who has dropped out meanwhile is not asked any more.
void GuardedWrites::begin_front() {
    for (const std::string& name : m_validators) {
        if (!elements_guarded_by(name).empty()) {
            m_to_ask.push_back(name);
        }
    }
}

// Asks the next validator of the first write, or finishes it and begins the next one.
void GuardedWrites::go_on(uint32_t now_ms) {
    while (!m_waiting.empty()) {
        if (!m_to_ask.empty() && all_accepted(m_waiting.front().elements)) {
            ask_next(now_ms);
            return;
        }
        m_to_ask.clear();
        PendingWrite write = std::move(m_waiting.front());
        m_waiting.pop_front();
        m_owner.after_verdict(std::move(write));
        if (!m_waiting.empty()) {
            begin_front();
        }
    }
}

void GuardedWrites::ask_next(uint32_t now_ms) {
    std::vector<ConfigElement> elements;
    for (const ConfigElement* element : elements_guarded_by(m_to_ask.back())) {
        elements.push_back(*element);
    }
    m_asked_ms = now_ms;
    m_owner.ask_validator(m_to_ask.back(), elements);
}
