#include "device/configd/vbuf_codec.h"

#include <gtest/gtest.h>

#include "Values.h"
#include "config_client/config_vbuf.h"
#include "runtime/c_owner.h"

using namespace std::string_literals;

namespace {

// Type, status, name field length and data length of an entry, then its body.
std::string Entry(char type, char name_bytes, char data_bytes, const std::string& body) {
    return std::string{type, 0, 0, 0, name_bytes, 0, 0, 0, data_bytes, 0, 0, 0} + body;
}

const std::string kThreeBytes = "\x02\0\0\0\x04\0\0\0\x03\0\0\0a.b\0xy\0\0"s;

}  // namespace

TEST(VbufAppend, PadsNameAndDataToFour) {
    std::string payload;

    vbuf_append(payload, "a.b", {2, "xy\0"s}, 0);

    EXPECT_EQ(payload, kThreeBytes);
}

TEST(VbufAppend, WritesTheSameBytesAsTheClientsLibrary) {
    void* buffer = nullptr;
    const size_t used = config_vbuf_add(&buffer, 0, nullptr, 16, "cfg.key", "12345", 5, -6);
    const Malloced<char> expected(static_cast<char*>(buffer));
    std::string payload;

    vbuf_append(payload, "cfg.key", {16, "12345"}, -6);

    EXPECT_EQ(payload, std::string(expected.get(), used));
}

TEST(VbufEntryBytes, IsWhatAppendWrites) {
    std::string payload;
    vbuf_append(payload, "cfg.key", {16, "12345"}, 0);

    EXPECT_EQ(vbuf_entry_bytes(7, 5), payload.size());
}

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
    EXPECT_FALSE(vbuf_decode(kThreeBytes + "x").has_value());
    EXPECT_FALSE(vbuf_decode(kThreeBytes + std::string(11, '\0')).has_value());
}

TEST(VbufDecode, RefusesANameFieldBeyondTheEnd) {
    EXPECT_FALSE(vbuf_decode(Entry(2, 8, 0, "a.b\0"s)).has_value());
}

TEST(VbufDecode, RefusesDataBeyondTheEnd) {
    EXPECT_FALSE(vbuf_decode(Entry(2, 4, 5, "a.b\0wxyz"s)).has_value());
    EXPECT_FALSE(vbuf_decode(Entry(2, 4, 3, "a.b\0xyz"s)).has_value());
}

TEST(VbufDecode, RefusesLengthsThatOverflow) {
    EXPECT_FALSE(vbuf_decode("\x02\0\0\0\x04\0\0\0\xff\xff\xff\xff"s
                             "a.b\0"s)
                     .has_value());
    EXPECT_FALSE(vbuf_decode("\x02\0\0\0\xff\xff\xff\xff\x04\0\0\0"s
                             "a.b\0"s)
                     .has_value());
}

TEST(VbufDecode, RefusesANameWithoutItsNul) {
    EXPECT_FALSE(vbuf_decode(Entry(2, 4, 0, "abcd")).has_value());
    EXPECT_FALSE(vbuf_decode(Entry(2, 0, 0, "")).has_value());
}
