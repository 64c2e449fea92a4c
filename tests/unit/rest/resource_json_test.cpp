// SPDX-License-Identifier: MIT

#include "src/rest/resource_json.h"

#include <gtest/gtest.h>

#include "tests/support/RecordingRequest.h"
#include "tests/support/RpcFakes.h"

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
