// SPDX-License-Identifier: MIT

#include "device/configd/vbuf_codec.h"

#include <gtest/gtest.h>

#include "Values.h"

TEST(VbufDecode, ReadsBackWhatWasAppended) {
    std::string payload;
    vbuf_append(payload, "cfg.one", Text("first"), 0);
    vbuf_append(payload, "cfg.two", Deleted(), -5);

    const auto elements = vbuf_decode(payload);

    ASSERT_TRUE(elements.has_value());
    EXPECT_EQ(*elements, (Elements{{"cfg.one", Text("first"), 0}, {"cfg.two", Deleted(), -5}}));
}

TEST(VbufDecode, NothingIsNoElement) {
    const auto elements = vbuf_decode("");

    ASSERT_TRUE(elements.has_value());
    EXPECT_TRUE(elements->empty());
}

TEST(VbufDecode, RefusesATail) {
    const std::string payload = Vbuf({{"cfg.one", Text("first"), 0}});

    EXPECT_FALSE(vbuf_decode(payload + "x").has_value());
    EXPECT_FALSE(vbuf_decode(payload + std::string(11, '\0')).has_value());
}
