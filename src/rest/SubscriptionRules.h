// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>

#include "src/base/owners.h"
#include "src/http/HabRequest.h"
#include "src/http/HabSession.h"

// SubscriptionRules: what a subscription is, and how requests about one are answered; the same for nodes and for
// entries of collections.
// Threads: loop thread only.
// Errors:  answered on the request as an HTTP status.
class SubscriptionRules {
  public:
    enum class DataInclude : std::uint32_t { kAll = 0, kUpdated = 1, kNone = 2 };

    // What one session wants to hear of one node.
    struct subscription {
        bool recursive = false;  // also of changes of nodes below this one
        DataInclude data_include = DataInclude::kAll;
        HabSessionImpl::Hold hold{};  // of the session, as long as it is subscribed
    };

    // By the session's number id.
    using SubscriptionMap = std::map<unsigned int, subscription>;
    // Whom to notify; the records are borrowed.
    using NotifyMap = std::map<unsigned int, subscription*>;

    // Null stands for no parameters.
    [[nodiscard]] static subscription createSubscription(const cJSON* params);
    static void updateSubscription(subscription* record, const cJSON* params);
    // 202 for valid parameters, else 400. No parameters are valid for a create alone.
    [[nodiscard]] static int validateSubscriptionCreateParams(const cJSON* params);
    [[nodiscard]] static int validateSubscriptionUpdateParams(const cJSON* params);
    [[nodiscard]] static JsonPtr createSubscriptionJson(const char* api_path, const subscription* record);

    // The payload of a JSON request: the member "data" of its body. Null when there is none; JSON null is none.
    [[nodiscard]] static JsonPtr readRequestData(HabRequest* request);
    // The number of the request's session, whose subscriptions it is about; a request without a session is
    // answered here, with 401.
    [[nodiscard]] static std::optional<unsigned int> sessionNumber(HabRequest* request);

  protected:
    // The new record; when there is none, the request has been answered.
    [[nodiscard]] static std::optional<subscription> acceptSubscription(HabRequest* request,
                                                                        const subscription* existing);
    // Both answer 404 for a null record.
    static void replySubscription(HabRequest* request, StatusCode::Value status, const char* api_path,
                                  const subscription* record);
    static void applySubscriptionUpdate(HabRequest* request, subscription* record);
    static void appendSubscriptionJson(cJSON* array, const char* api_path, const subscription* record);
    // Adds the records to the map, which is made when it is null and needed; a session that is in it stays as it
    // is, so gathering begins next to the change.
    static void gatherSubscriptions(SubscriptionMap& records, bool recursive_only,
                                    std::unique_ptr<NotifyMap>& into);
};
