// SPDX-License-Identifier: MIT

#include "src/rest/SubscriptionRules.h"

#include <string>

#include <gtest/gtest.h>

#include "tests/support/RecordingRequest.h"
#include "tests/support/RpcFakes.h"

namespace {

using DataInclude = SubscriptionRules::DataInclude;

int create_status(const char* params) {
    return SubscriptionRules::validateSubscriptionCreateParams(parse(params).get());
}

std::string record_json(const SubscriptionRules::subscription& record) {
    return print_compact(SubscriptionRules::createSubscriptionJson("/api/a", &record).get());
}

// The payload that is read from a request with this body.
std::string payload_of(const char* body, int accepted_type = 1) {
    RecordingRequest request("PUT", "/api/a", nullptr);
    request.setBody(body);
    request.setAcceptedType(accepted_type);
    const JsonPtr data = SubscriptionRules::readRequestData(&request);
    return data == nullptr ? "none" : print_compact(data.get());
}

}  // namespace

TEST(SubscriptionRecord, IsAllAndNotRecursiveByDefault) {
    EXPECT_EQ(record_json(SubscriptionRules::createSubscription(nullptr)),
              R"({"api_path":"/api/a","recursive":false,"data_include":"ALL"})");
}

TEST(SubscriptionRecord, TakesItsParameters) {
    const JsonPtr params = parse(R"({"recursive": true, "data_include": "UPDATED"})");

    EXPECT_EQ(record_json(SubscriptionRules::createSubscription(params.get())),
              R"({"api_path":"/api/a","recursive":true,"data_include":"UPDATED"})");
}

TEST(SubscriptionRecord, PrintsNone) {
    const JsonPtr params = parse(R"({"data_include": "NONE"})");

    EXPECT_EQ(record_json(SubscriptionRules::createSubscription(params.get())),
              R"({"api_path":"/api/a","recursive":false,"data_include":"NONE"})");
}

TEST(SubscriptionRecord, PrintsAValueOfNoMeaningAsAll) {
    SubscriptionRules::subscription record;
    record.data_include = static_cast<DataInclude>(9);

    EXPECT_EQ(record_json(record), R"({"api_path":"/api/a","recursive":false,"data_include":"ALL"})");
}

TEST(SubscriptionUpdate, KeepsWhatTheParametersDoNotName) {
    SubscriptionRules::subscription record{true, DataInclude::kNone};

    SubscriptionRules::updateSubscription(&record, parse("{}").get());

    EXPECT_TRUE(record.recursive);
    EXPECT_EQ(record.data_include, DataInclude::kNone);
}

TEST(SubscriptionUpdate, LeavesTheFieldForAnUnknownText) {
    SubscriptionRules::subscription record{false, DataInclude::kUpdated};

    SubscriptionRules::updateSubscription(&record, parse(R"({"data_include": "SOME"})").get());

    EXPECT_EQ(record.data_include, DataInclude::kUpdated);
}

TEST(SubscriptionUpdate, TurnsRecursionOff) {
    SubscriptionRules::subscription record{true, DataInclude::kAll};

    SubscriptionRules::updateSubscription(&record, parse(R"({"recursive": false})").get());

    EXPECT_FALSE(record.recursive);
}

TEST(SubscriptionParams, NoParametersAreValidForACreate) {
    EXPECT_EQ(SubscriptionRules::validateSubscriptionCreateParams(nullptr), 202);
}

TEST(SubscriptionParams, NoParametersAreInvalidForAnUpdate) {
    EXPECT_EQ(SubscriptionRules::validateSubscriptionUpdateParams(nullptr), 400);
}

TEST(SubscriptionParams, AnEmptyObjectIsValid) {
    EXPECT_EQ(create_status("{}"), 202);
    EXPECT_EQ(SubscriptionRules::validateSubscriptionUpdateParams(parse("{}").get()), 202);
}

TEST(SubscriptionParams, JsonNullIsInvalid) {
    EXPECT_EQ(create_status("null"), 400);
}

TEST(SubscriptionParams, AnArrayIsInvalid) {
    EXPECT_EQ(create_status("[]"), 400);
}

TEST(SubscriptionParams, EveryKindOfDataIsValid) {
    EXPECT_EQ(create_status(R"({"data_include": "ALL"})"), 202);
    EXPECT_EQ(create_status(R"({"data_include": "UPDATED"})"), 202);
    EXPECT_EQ(create_status(R"({"data_include": "NONE"})"), 202);
}

TEST(SubscriptionParams, AnotherKindOfDataIsInvalid) {
    EXPECT_EQ(create_status(R"({"data_include": "all"})"), 400);
}

TEST(SubscriptionParams, AKindOfDataThatIsNoStringIsInvalid) {
    EXPECT_EQ(create_status(R"({"data_include": null})"), 400);
}

TEST(SubscriptionParams, RecursiveHasToBeABoolean) {
    EXPECT_EQ(create_status(R"({"recursive": true})"), 202);
    EXPECT_EQ(create_status(R"({"recursive": "yes"})"), 400);
}

TEST(RequestData, IsTheMemberDataOfTheBody) {
    EXPECT_EQ(payload_of(R"({"other": 1, "data": {"a": [1]}})"), R"({"a":[1]})");
}

TEST(RequestData, IsNoneForAClientThatDoesNotTakeJson) {
    EXPECT_EQ(payload_of(R"({"data": {}})", 2), "none");
}

TEST(RequestData, IsNoneForJsonNull) {
    EXPECT_EQ(payload_of(R"({"data": null})"), "none");
}

TEST(RequestData, IsNoneWithoutABody) {
    EXPECT_EQ(payload_of(""), "none");
}

TEST(RequestData, IsNoneForABodyThatIsNoJson) {
    EXPECT_EQ(payload_of("{\"data\": "), "none");
}

TEST(RequestData, IsNoneForABodyThatIsNoObject) {
    EXPECT_EQ(payload_of("[1, 2]"), "none");
}

TEST(RequestData, IsNoneWhenOnlyTheCaseOfTheNameDiffers) {
    EXPECT_EQ(payload_of(R"({"Data": {}})"), "none");
}

TEST(SessionNumber, IsRefusedWith401WithoutASession) {
    RecordingRequest request("GET", "/api/a", nullptr);

    EXPECT_FALSE(SubscriptionRules::sessionNumber(&request).has_value());

    EXPECT_EQ(request.status(), 401);
    EXPECT_EQ(request.finishCount(), 1);
}
