// SPDX-License-Identifier: MIT

#include "config_client/config_vbuf.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/c_owner.h"

using namespace std::string_literals;

namespace {

std::string Add(const char* prefix, uint32_t type, const char* key, const void* data, uint32_t length,
                int status) {
    void* buffer = nullptr;
    const size_t used = config_vbuf_add(&buffer, 0, prefix, type, key, data, length, status);
    const Malloced<char> owner(static_cast<char*>(buffer));
    return {owner.get(), used};
}

struct Parsed {
    std::vector<std::string> names;
    std::vector<std::string> data;
    std::vector<uint32_t> types;
    std::vector<int> statuses;
    int result = 0;  // of the next callback
};

int Collect(void* context, uint32_t type, const char* name, const void* data, uint32_t length, int status) {
    auto* parsed = static_cast<Parsed*>(context);
    parsed->names.emplace_back(name);
    parsed->data.emplace_back(data != nullptr ? std::string(static_cast<const char*>(data), length)
                                              : "(null)");
    parsed->types.push_back(type);
    parsed->statuses.push_back(status);
    return parsed->result++;
}

Parsed Parse(const std::string& payload) {
    Parsed parsed;
    config_vbuf_parse(payload.data(), payload.size(), Collect, &parsed);
    return parsed;
}

// What is left of the payload afterwards; "(no entry)" when none can be taken.
std::string LeftAfterTake(const std::string& payload) {
    std::string_view left = payload;
    const auto entry = config_vbuf_take(left);
    EXPECT_TRUE(entry || left == payload);
    return entry ? std::string(left) : "(no entry)";
}

// Type, status, name field length and data length of an entry, then its body.
std::string Entry(char type, char name_bytes, char data_bytes, const std::string& body) {
    return std::string{type, 0, 0, 0, name_bytes, 0, 0, 0, data_bytes, 0, 0, 0} + body;
}

const std::string kEntry = "\x02\xfb\0\0\x04\0\0\0\x05\0\0\0a.b\0value\0\0\0"s;

}  // namespace

TEST(ConfigVbufAdd, PadsNameAndValueToFour) {
    EXPECT_EQ(Add(nullptr, 2, "a.b", "value", 5, -5), kEntry);
    EXPECT_EQ(kEntry.size(), 24U);
}

TEST(ConfigVbufAdd, PutsThePrefixAndADotInFrontOfTheKey) {
    EXPECT_EQ(Parse(Add("cfg.api", 3, "x", "1234", 4, 0)).names, std::vector<std::string>{"cfg.api.x"});
}

TEST(ConfigVbufAdd, GivesANameOfFourCharactersRoomForItsNul) {
    EXPECT_EQ(Add(nullptr, 0, "abcd", nullptr, 0, 0), "\0\0\0\0\x08\0\0\0\0\0\0\0abcd\0\0\0\0"s);
}

TEST(ConfigVbufAdd, TakesNullDataForNoneWhateverTheLengthSays) {
    EXPECT_EQ(Add(nullptr, 2, "a.b", nullptr, 100, 0).size(), 16U);
}

TEST(ConfigVbufAdd, AppendsToWhatIsThere) {
    void* buffer = nullptr;
    size_t used = config_vbuf_add(&buffer, 0, nullptr, 2, "a.b", "value", 5, -5);

    used = config_vbuf_add(&buffer, used, nullptr, 2, "a.b", "value", 5, -5);

    const Malloced<char> owner(static_cast<char*>(buffer));
    EXPECT_EQ(std::string(owner.get(), used), kEntry + kEntry);
}

TEST(ConfigVbufParse, GivesTypeNameDataAndStatus) {
    const Parsed parsed = Parse(kEntry);

    EXPECT_EQ(parsed.names, std::vector<std::string>{"a.b"});
    EXPECT_EQ(parsed.types, std::vector<uint32_t>{2});
    EXPECT_EQ(parsed.data, std::vector<std::string>{"value"});
    EXPECT_EQ(parsed.statuses, std::vector<int>{-5});
}

TEST(ConfigVbufParse, GivesNullForNoData) {
    EXPECT_EQ(Parse(Add(nullptr, 2, "a", nullptr, 0, 0)).data, std::vector<std::string>{"(null)"});
}

TEST(ConfigVbufParse, OrsTheResultsOfTheCallback) {
    const std::string payload = kEntry + kEntry + kEntry;
    Parsed parsed;
    parsed.result = 4;

    EXPECT_EQ(config_vbuf_parse(payload.data(), payload.size(), Collect, &parsed), 4 | 5 | 6);
}

TEST(ConfigVbufParse, AnswersZeroForAnEmptyBuffer) {
    Parsed parsed;
    parsed.result = 1;

    EXPECT_EQ(config_vbuf_parse(nullptr, 0, Collect, &parsed), 0);
}

TEST(ConfigVbufParse, EndsAtANameThatPassesTheBuffer) {
    EXPECT_EQ(Parse(kEntry + "\x02\0\0\0\x08\0\0\0\0\0\0\0a.b\0"s).names.size(), 1U);
}

TEST(ConfigVbufParse, EndsAtDataThatPassesTheBuffer) {
    EXPECT_EQ(Parse(kEntry + "\x02\0\0\0\x04\0\0\0\xff\xff\xff\xff"s + "a.b\0"s).names.size(), 1U);
}

TEST(ConfigVbufParse, EndsAtANameWithoutNul) {
    EXPECT_EQ(Parse(kEntry + "\x02\0\0\0\x04\0\0\0\0\0\0\0abcd"s).names.size(), 1U);
}

TEST(ConfigVbufParseDeathTest, StopsTheProcessAtATail) {
    EXPECT_DEATH(Parse(kEntry + "x"), "");
    EXPECT_DEATH(Parse(std::string(11, '\0')), "");
}

TEST(ConfigVbufAppend, WritesTheSameBytesAsAdd) {
    std::string payload;

    config_vbuf_append(payload, {2, -5, "a.b", "value"});

    EXPECT_EQ(payload, kEntry);
}

TEST(ConfigVbufAppend, AppendsToWhatIsThere) {
    std::string payload = kEntry;

    config_vbuf_append(payload, {0, 0, "abcd", {}});

    EXPECT_EQ(payload, kEntry + Add(nullptr, 0, "abcd", nullptr, 0, 0));
}

TEST(ConfigVbufEntryBytes, IsWhatAppendWrites) {
    EXPECT_EQ(config_vbuf_entry_bytes(3, 5), kEntry.size());
    EXPECT_EQ(config_vbuf_entry_bytes(4, 0), 20U);
}

TEST(ConfigVbufTake, GivesTheFirstEntryAndLeavesTheOthers) {
    const std::string payload = kEntry + "rest";
    std::string_view left = payload;

    const auto entry = config_vbuf_take(left);

    ASSERT_TRUE(entry.has_value());
    EXPECT_EQ(entry->type, 2);
    EXPECT_EQ(entry->status, -5);
    EXPECT_EQ(entry->name, "a.b");
    EXPECT_EQ(entry->data, "value");
    EXPECT_EQ(left, "rest");
}

TEST(ConfigVbufTake, TakesAnEntryThatEndsWithThePayload) {
    EXPECT_EQ(LeftAfterTake(kEntry), "");
    EXPECT_EQ(LeftAfterTake(Entry(0, 4, 0, "a.b\0"s)), "");
}

TEST(ConfigVbufTake, RefusesAHeaderThatIsCut) {
    for (size_t length = 0; length < 12; ++length) {
        EXPECT_EQ(LeftAfterTake(kEntry.substr(0, length)), "(no entry)") << length;
    }
}

TEST(ConfigVbufTake, RefusesANameFieldBeyondTheEnd) {
    EXPECT_EQ(LeftAfterTake(Entry(2, 8, 0, "a.b\0"s)), "(no entry)");
}

TEST(ConfigVbufTake, RefusesDataBeyondTheEnd) {
    EXPECT_EQ(LeftAfterTake(Entry(2, 4, 5, "a.b\0wxyz"s)), "(no entry)");
    EXPECT_EQ(LeftAfterTake(Entry(2, 4, 3, "a.b\0xyz"s)), "(no entry)");
}

TEST(ConfigVbufTake, RefusesLengthsThatOverflow) {
    EXPECT_EQ(LeftAfterTake("\x02\0\0\0\x04\0\0\0\xff\xff\xff\xff"s + "a.b\0"s), "(no entry)");
    EXPECT_EQ(LeftAfterTake("\x02\0\0\0\xff\xff\xff\xff\x04\0\0\0"s + "a.b\0"s), "(no entry)");
}

TEST(ConfigVbufTake, RefusesANameWithoutItsNul) {
    EXPECT_EQ(LeftAfterTake(Entry(2, 4, 0, "abcd")), "(no entry)");
    EXPECT_EQ(LeftAfterTake(Entry(2, 0, 0, "")), "(no entry)");
}
