// SPDX-License-Identifier: MIT

#include "src/rest/resource_json.h"

#include <gtest/gtest.h>

#include "tests/support/RecordingRequest.h"
#include "tests/support/RpcFakes.h"

TEST(ResourceJson, AddsBehindTheOthers) {
    const JsonPtr object = parse(R"({"b":1})");

    resource_json_add(object.get(), "a", parse("2"));

    EXPECT_EQ(print_compact(object.get()), R"({"b":1,"a":2})");
}

TEST(ResourceJson, ReplacesInPlace) {
    const JsonPtr object = parse(R"({"a":1,"b":2,"c":3})");

    resource_json_replace(object.get(), "b", parse("\"x\""));

    EXPECT_EQ(print_compact(object.get()), R"({"a":1,"b":"x","c":3})");
}

TEST(ResourceJson, ReplacesNothingThatIsSpelledDifferently) {
    const JsonPtr object = parse(R"({"a":1})");

    resource_json_replace(object.get(), "A", parse("2"));

    EXPECT_EQ(print_compact(object.get()), R"({"a":1})");
}

TEST(ResourceJson, KeepsTheObjectWhenThereIsNoValue) {
    const JsonPtr object = parse(R"({"a":1})");

    resource_json_add(object.get(), "b", nullptr);
    resource_json_replace(object.get(), "a", nullptr);

    EXPECT_EQ(print_compact(object.get()), R"({"a":1})");
}

TEST(ResourceJson, RepliesWithTheFormattedObject) {
    RecordingRequest request("GET", "/system/info", nullptr);

    resource_json_reply(&request, parse(R"({"a":1})").get());

    EXPECT_EQ(request.status(), 200);
    EXPECT_EQ(request.text(), "{\n\t\"a\":\t1\n}");
}

TEST(ResourceJson, RepliesServerErrorWithoutAnObject) {
    RecordingRequest request("GET", "/system/info", nullptr);

    resource_json_reply(&request, nullptr);

    EXPECT_EQ(request.status(), 500);
}
