// SPDX-License-Identifier: MIT

#include "src/http/StatusCode.h"

#include <gtest/gtest.h>

TEST(StatusCodeReasonPhrase, GivesThePhraseOfACode) {
    EXPECT_STREQ(StatusCode::reasonPhrase(StatusCode::kOk), "OK");
    EXPECT_STREQ(StatusCode::reasonPhrase(404), "Not Found");
    EXPECT_STREQ(StatusCode::reasonPhrase(505), "HTTP Version not supported");
}

TEST(StatusCodeReasonPhrase, KeepsTheOldSpellings) {
    EXPECT_STREQ(StatusCode::reasonPhrase(408), "Request Time-out");
    EXPECT_STREQ(StatusCode::reasonPhrase(414), "Request-URI Too Large");
    EXPECT_STREQ(StatusCode::reasonPhrase(416), "Requested range not satisfiable");
    EXPECT_STREQ(StatusCode::reasonPhrase(504), "Gateway Time-out");
}

TEST(StatusCodeReasonPhrase, GivesADashForACodeWithoutOne) {
    EXPECT_STREQ(StatusCode::reasonPhrase(418), "-");
    EXPECT_STREQ(StatusCode::reasonPhrase(306), "-");
    EXPECT_STREQ(StatusCode::reasonPhrase(-1), "-");
}

TEST(StatusCodeReasonPhrase, KnowsFortyCodes) {
    int known = 0;

    for (int code = 0; code < 1000; ++code) {
        known += StatusCode::reasonPhrase(code)[0] != '-' ? 1 : 0;
    }

    EXPECT_EQ(known, 40);
}
