// SPDX-License-Identifier: MIT

#include "tools/apictl/ApiResponse.h"

#include <gtest/gtest.h>

namespace {

ApiResponse Response(const char* text) {
    return ApiResponse(JsonPtr(cJSON_Parse(text)));
}

}  // namespace

TEST(ApiResponse, AResultFrom200To299IsASuccess) {
    EXPECT_TRUE(Response(R"({"result": {"code": 200}})").isSuccess());
    EXPECT_TRUE(Response(R"({"result": {"code": 299}})").isSuccess());
}

TEST(ApiResponse, AnyOtherCodeIsNone) {
    EXPECT_FALSE(Response(R"({"result": {"code": 199}})").isSuccess());
    EXPECT_FALSE(Response(R"({"result": {"code": 300}})").isSuccess());
    EXPECT_FALSE(Response(R"({"result": {"code": 0}})").isSuccess());
}

TEST(ApiResponse, AnErrorIsNoSuccessWhateverItsCode) {
    EXPECT_FALSE(Response(R"({"error": {"code": 200}})").isSuccess());
}

TEST(ApiResponse, AResultWithoutACodeIsNoSuccess) {
    for (const char* text :
         {R"({"result": null})", R"({"result": {}})", R"({"result": {"code": "200"}})", "{}"}) {
        EXPECT_FALSE(Response(text).isSuccess()) << text;
        EXPECT_EQ(Response(text).errorText(), "0") << text;
    }
}

TEST(ApiResponse, HasTheDataOfTheResult) {
    const ApiResponse response = Response(R"({"result": {"code": 200, "data": [1]}})");

    EXPECT_TRUE(cJSON_IsArray(response.data()));
}

TEST(ApiResponse, HasNoDataWhenTheResourceGaveNone) {
    EXPECT_EQ(Response(R"({"result": {"code": 200}})").data(), nullptr);
}

TEST(ApiResponse, TheErrorTextIsCodeAndMessage) {
    EXPECT_EQ(Response(R"({"error": {"code": 404, "message": "Not Found"}})").errorText(), "404 Not Found");
    EXPECT_EQ(Response(R"({"error": {"code": -32600, "message": "Invalid Request"}})").errorText(),
              "-32600 Invalid Request");
}

TEST(ApiResponse, TheErrorTextEndsWithTheDataOfTheError) {
    EXPECT_EQ(
        Response(R"({"error": {"code": 400, "message": "Bad Request", "data": {"a": "b"}}})").errorText(),
        R"(400 Bad Request: {"a":"b"})");
}

TEST(ApiResponse, TheErrorTextIsSafeToPrint) {
    EXPECT_EQ(Response(R"({"error": {"code": 500, "message": "\u001b[2J"}})").errorText(),
              R"(500 \u001b[2J)");
}

TEST(ApiResponse, KeepsTheWholeMessage) {
    EXPECT_NE(cJSON_GetObjectItem(Response(R"({"result": null, "id": 7})").message(), "id"), nullptr);
    EXPECT_EQ(ApiResponse().message(), nullptr);
}
