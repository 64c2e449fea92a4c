// SPDX-License-Identifier: MIT

#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "src/rest/ApiControllerInterface.h"
#include "src/rest/SubscriptionRules.h"

// SubscriberNotice: tells the sessions that a change concerns about it, in session order.
// Owns:      copies of what it was given, because a notification may end the session that it is sent to and the
//            subscription with it.
// Borrows:   the data of the change, during the call.
class SubscriberNotice {
  public:
    // Takes ownership of the map, which may be null: then nobody is told. The same goes without a controller.
    SubscriberNotice(ApiControllerInterface* api, SubscriptionRules::NotifyMap* to, std::string path);

    void created(cJSON* data) const;
    // `make_changed` makes the object for those who want the changed attributes only; it runs at most once.
    void updated(cJSON* data, const std::function<JsonPtr()>& make_changed) const;
    void deleted() const;

  private:
    NotificationManager* m_manager = nullptr;
    std::string m_path;
    std::vector<std::pair<unsigned int, SubscriptionRules::DataInclude>> m_recipients;
};
