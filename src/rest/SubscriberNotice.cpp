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
    Notification whole{"Created", m_path.c_str(), data};
    Notification bare{"Created", m_path.c_str()};
    for (const auto& [session, include] : m_recipients) {
        m_manager->tell(session, include == DataInclude::kNone ? bare : whole);
    }
}

void SubscriberNotice::updated(cJSON* data, const std::function<JsonPtr()>& make_changed) const {
    JsonPtr made;
    Notification whole{"Updated", m_path.c_str(), data};
    Notification changed{"Updated", m_path.c_str()};
    Notification bare{"Updated", m_path.c_str()};
    for (const auto& [session, include] : m_recipients) {
        if (include == DataInclude::kUpdated && made == nullptr) {
            made = make_changed();
            changed.data = made.get();
        }
        m_manager->tell(session, include == DataInclude::kNone      ? bare
                                 : include == DataInclude::kUpdated ? changed
                                                                    : whole);
    }
}

void SubscriberNotice::deleted() const {
    Notification notification{"Deleted", m_path.c_str()};
    for (const auto& recipient : m_recipients) {
        m_manager->tell(recipient.first, notification);
    }
}
