// SPDX-License-Identifier: MIT

#include "src/rest/SubscriptionRules.h"

#include <utility>

#include "src/base/json_helpers.h"
#include "src/rest/CjsonValidate.h"

namespace {

using DataInclude = SubscriptionRules::DataInclude;

const char* include_text(DataInclude include) {
    switch (include) {
        case DataInclude::kUpdated:
            return "UPDATED";
        case DataInclude::kNone:
            return "NONE";
        default:
            return "ALL";
    }
}

int validate_subscription(const cJSON* params) {
    static const char* includes[] = {"ALL", "UPDATED", "NONE"};
    char* include = nullptr;
    bool recursive = false;
    const bool invalid =
        !cJSON_IsObject(params) ||
        CjsonValidate::getAttributeString(params, "data_include", &include, includes, 3) ==
            CjsonValidate::kInvalid ||
        CjsonValidate::getAttributeBoolean(params, "recursive", &recursive) == CjsonValidate::kInvalid;
    return invalid ? StatusCode::kBadRequest : StatusCode::kAccepted;
}

}  // namespace

SubscriptionRules::subscription SubscriptionRules::createSubscription(const cJSON* params) {
    subscription record;
    updateSubscription(&record, params);
    return record;
}

void SubscriptionRules::updateSubscription(subscription* record, const cJSON* params) {
    for (const auto include : {DataInclude::kAll, DataInclude::kUpdated, DataInclude::kNone}) {
        if (CjsonValidate::validateAttributeString(params, "data_include", include_text(include)) ==
            CjsonValidate::kValid) {
            record->data_include = include;
        }
    }
    static_cast<void>(CjsonValidate::getAttributeBoolean(params, "recursive", &record->recursive));
}

int SubscriptionRules::validateSubscriptionCreateParams(const cJSON* params) {
    return params == nullptr ? StatusCode::kAccepted : validate_subscription(params);
}

int SubscriptionRules::validateSubscriptionUpdateParams(const cJSON* params) {
    return validate_subscription(params);
}

JsonPtr SubscriptionRules::createSubscriptionJson(const char* api_path, const subscription* record) {
    JsonPtr json(cJSON_CreateObject());
    cJSON_AddStringToObject(json.get(), "api_path", api_path);
    cJSON_AddBoolToObject(json.get(), "recursive", record->recursive);
    cJSON_AddStringToObject(json.get(), "data_include", include_text(record->data_include));
    return json;
}

JsonPtr SubscriptionRules::readRequestData(HabRequest* request) {
    constexpr int kJson = 1;
    if (request->getContentType() != kJson) {
        return nullptr;
    }
    const JsonPtr body(request->readJSONBody());
    JsonPtr data(cJSON_DetachItemFromObjectCaseSensitive(body.get(), "data"));
    return cJSON_IsNull(data.get()) ? nullptr : std::move(data);
}

std::optional<unsigned int> SubscriptionRules::sessionNumber(HabRequest* request) {
    const HabSession* const session = request->getSession();
    if (session == nullptr) {
        request->replyFinish(StatusCode::kUnauthorized);
        return std::nullopt;
    }
    return session->getNumberId();
}

std::optional<SubscriptionRules::subscription> SubscriptionRules::acceptSubscription(
    HabRequest* request, const subscription* existing) {
    if (existing != nullptr) {
        request->replyFinish(StatusCode::kConflict);
        return std::nullopt;
    }
    const JsonPtr params = readRequestData(request);
    const int status = validateSubscriptionCreateParams(params.get());
    if (status != StatusCode::kAccepted) {
        request->replyFinish(static_cast<StatusCode::Value>(status));
        return std::nullopt;
    }
    subscription record = createSubscription(params.get());
    record.hold = HabSessionImpl::hold(request->getSession(), HabSessionImpl::HeldBy::kSubscription);
    return record;
}

void SubscriptionRules::replySubscription(HabRequest* request, StatusCode::Value status, const char* api_path,
                                          const subscription* record) {
    if (record == nullptr) {
        request->replyFinish(StatusCode::kNotFound);
        return;
    }
    const JsonText text(cJSON_Print(createSubscriptionJson(api_path, record).get()));
    request->reply(status, text.get(), nullptr);
}

void SubscriptionRules::applySubscriptionUpdate(HabRequest* request, subscription* record) {
    if (record == nullptr) {
        request->replyFinish(StatusCode::kNotFound);
        return;
    }
    const JsonPtr params = readRequestData(request);
    const int status = validateSubscriptionUpdateParams(params.get());
    if (status != StatusCode::kAccepted) {
        request->replyFinish(static_cast<StatusCode::Value>(status));
        return;
    }
    updateSubscription(record, params.get());
    request->replyFinish(StatusCode::kOk);
}

void SubscriptionRules::appendSubscriptionJson(cJSON* array, const char* api_path,
                                               const subscription* record) {
    json_append(array, createSubscriptionJson(api_path, record));
}

void SubscriptionRules::gatherSubscriptions(SubscriptionMap& records, bool recursive_only,
                                            std::unique_ptr<NotifyMap>& into) {
    for (auto& [session, record] : records) {
        if (recursive_only && !record.recursive) {
            continue;
        }
        if (into == nullptr) {
            into = std::make_unique<NotifyMap>();
        }
        // Keeps the subscription nearest to the change. Sessions come in order: the place is mostly behind the last.
        into->emplace_hint(into->end(), session, &record);
    }
}
