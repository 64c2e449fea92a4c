// SPDX-License-Identifier: MIT

#include "device/configd/GuardedWrites.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "config_client/config_client_api.h"
#include "runtime/logging.h"

namespace {

size_t bytes_of(const PendingWrite& write) {
    size_t bytes = 0;
    for (const ConfigElement& element : write.elements) {
        bytes += sizeof element + element.key.size() + element.value.data.size();
    }
    return bytes;
}

}  // namespace

// A validator that has started anew knows nothing of what its predecessor was asked.
bool GuardedWrites::register_validator(const std::string& name, uint32_t now_ms) {
    if (m_validators.size() == kMaxValidators && !m_validators.contains(name)) {
        return false;
    }
    m_validators.insert(name);
    for (Examination& examination : m_waiting) {
        if (examination.is_asking && examination.to_ask.back() == name) {
            ask_next(examination, now_ms);
        }
    }
    return true;
}

bool GuardedWrites::guards(const std::vector<ConfigElement>& elements) const {
    return std::ranges::any_of(m_validators, [&](const std::string& name) {
        return std::ranges::any_of(elements, [&](const ConfigElement& e) { return e.key.starts_with(name); });
    });
}

void GuardedWrites::add(PendingWrite write, uint32_t now_ms) {
    const size_t bytes = bytes_of(write);
    if (m_waiting.size() == kMaxWaiting || bytes > kMaxWaitingBytes - m_waiting_bytes) {
        write.elements.front().status = CONFIG_REFUSED;
        m_owner.after_verdict(std::move(write), now_ms);
        return;
    }
    Examination& examination = m_waiting.emplace_back(Examination{std::move(write), bytes, {}});
    m_waiting_bytes += bytes;
    for (const std::string& name : m_validators) {
        if (!elements_guarded_by(name, examination).empty()) {
            examination.to_ask.push_back(name);
        }
    }
    go_on(now_ms);
}

// Keys and values tell which question is meant: two that are open at the same time have no validator in common, thus no
// key that both are about, and a late verdict on a write that has been refused meanwhile is about another value.
void GuardedWrites::handle_verdict(const std::vector<ConfigElement>& verdict, uint32_t now_ms) {
    const auto asked =
        std::ranges::find_if(m_waiting, [&](Examination& e) { return is_verdict_on(e, verdict); });
    if (asked == m_waiting.end()) {
        return;
    }
    const Guarded guarded = elements_guarded_by(asked->to_ask.back(), *asked);
    for (size_t i = 0; i < guarded.size(); ++i) {
        guarded[i]->status = verdict[i].status;
    }
    close_question(*asked);
    go_on(now_ms);
}

bool GuardedWrites::is_verdict_on(Examination& examination, const std::vector<ConfigElement>& verdict) {
    if (!examination.is_asking) {
        return false;
    }
    const Guarded guarded = elements_guarded_by(examination.to_ask.back(), examination);
    return std::equal(guarded.begin(), guarded.end(), verdict.begin(), verdict.end(),
                      [](const ConfigElement* asked, const ConfigElement& answered) {
                          return asked->key == answered.key && asked->value == answered.value;
                      });
}

void GuardedWrites::expire(uint32_t now_ms) {
    for (Examination& examination : m_waiting) {
        if (!examination.is_asking || now_ms - examination.asked_ms < kTimeoutMs) {
            continue;
        }
        const std::string& name = examination.to_ask.back();
        logger_function(4, "configd", "validator '%s' does not answer and is dropped", name.c_str());
        for (ConfigElement* element : elements_guarded_by(name, examination)) {
            element->status = CONFIG_REFUSED;
        }
        m_validators.erase(name);
        close_question(examination);
    }
    go_on(now_ms);
}

// After a refusal nobody else is asked.
void GuardedWrites::close_question(Examination& examination) {
    examination.to_ask.pop_back();
    examination.is_asking = false;
    if (!all_accepted(examination.write.elements)) {
        examination.to_ask.clear();
    }
}

std::optional<uint32_t> GuardedWrites::time_left_ms(uint32_t now_ms) const {
    std::optional<uint32_t> least;
    for (const Examination& examination : m_waiting) {
        if (examination.is_asking) {
            const uint32_t left = kTimeoutMs - std::min(kTimeoutMs, now_ms - examination.asked_ms);
            least = std::min(left, least.value_or(left));
        }
    }
    return least;
}

GuardedWrites::Guarded GuardedWrites::elements_guarded_by(const std::string& name, Examination& examination) {
    Guarded guarded;
    for (ConfigElement& element : examination.write.elements) {
        if (element.key.starts_with(name)) {
            guarded.push_back(&element);
        }
    }
    return guarded;
}

// Ends the examinations that are through and asks for those that are the oldest of all their validators.
void GuardedWrites::go_on(uint32_t now_ms) {
    std::set<std::string_view> busy;
    for (auto it = m_waiting.begin(); it != m_waiting.end();) {
        // Who has dropped out since the write came is not asked any more.
        if (!it->is_asking) {
            std::erase_if(it->to_ask,
                          [this](const std::string& name) { return !m_validators.contains(name); });
        }
        if (it->to_ask.empty()) {
            PendingWrite write = std::move(it->write);
            m_waiting_bytes -= it->bytes;
            it = m_waiting.erase(it);
            m_owner.after_verdict(std::move(write), now_ms);
            continue;
        }
        const bool is_first =
            std::ranges::none_of(it->to_ask, [&](const std::string& name) { return busy.contains(name); });
        busy.insert(it->to_ask.begin(), it->to_ask.end());
        if (is_first && !it->is_asking) {
            ask_next(*it, now_ms);
        }
        ++it;
    }
}

void GuardedWrites::ask_next(Examination& examination, uint32_t now_ms) {
    std::vector<ConfigElement> elements;
    for (const ConfigElement* element : elements_guarded_by(examination.to_ask.back(), examination)) {
        elements.push_back(*element);
    }
    examination.is_asking = true;
    examination.asked_ms = now_ms;
    m_owner.ask_validator(examination.to_ask.back(), elements);
}
