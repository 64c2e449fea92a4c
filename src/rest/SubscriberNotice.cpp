// SPDX-License-Identifier: MIT

#include "src/rest/SubscriberNotice.h"

#include <memory>

#include "src/rpc/NotificationManager.h"

using DataInclude = SubscriptionRules::DataInclude;

SubscriberNotice::SubscriberNotice(ApiControllerInterface* api, SubscriptionRules::NotifyMap* to,
                                   std::string path)
    : m_path(std::move(path)) {
    const std::unique_ptr<SubscriptionRules::NotifyMap> owned(to);
    if (api == nullptr || owned == nullptr) {
        return;
    }
    m_manager = api->getNotificationManager();
    for (const auto& [session, record] : *owned) {
        m_recipients.emplace_back(session, record->data_include);
    }
}

void SubscriberNotice::created(cJSON* data) const {
    for (const auto& [session, include] : m_recipients) {
        m_manager->notifyCreated(session, m_path.c_str(), include == DataInclude::kNone ? nullptr : data);
    }
}

void SubscriberNotice::updated(cJSON* data, const std::function<JsonPtr()>& make_changed) const {
    JsonPtr changed;
    for (const auto& [session, include] : m_recipients) {
        if (include == DataInclude::kUpdated && changed == nullptr) {
            changed = make_changed();
        }
        cJSON* const payload = include == DataInclude::kNone      ? nullptr
                               : include == DataInclude::kUpdated ? changed.get()
                                                                  : data;
        m_manager->notifyUpdated(session, m_path.c_str(), payload);
    }
}

void SubscriberNotice::deleted() const {
    for (const auto& recipient : m_recipients) {
        m_manager->notifyDeleted(recipient.first, m_path.c_str());
    }
}
