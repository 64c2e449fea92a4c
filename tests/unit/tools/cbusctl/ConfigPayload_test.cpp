// SPDX-License-Identifier: MIT

#include "tools/cbusctl/ConfigPayload.h"

#include <gtest/gtest.h>

#include "MonitorBytes.h"
#include "tools/common/json_text.h"

namespace {

using namespace std::string_literals;
using Kind = ConfigMessageKind;

std::string Text(Kind kind, const char* name, const std::string& data) {
    const auto payload = config_payload_parse(kind, name, data);
    return payload ? config_payload_text(*payload) : "none";
}

std::string Word(int32_t word) {
    return NumberBytes(word);
}

}  // namespace

TEST(ConfigPayload, OfChangesIsKeysAndValues) {
    const std::string data = EntryBytes(2, 0, "cfg.a", "x\0"s) + EntryBytes(3, 0, "cfg.b", Word(-7)) +
                             EntryBytes(16, 0, "cfg.c", "\xff") + EntryBytes(0, 0, "cfg.d", "");

    EXPECT_EQ(Text(Kind::kSignal, "config.change.cfg", data), "cfg.a = x, cfg.b = -7, cfg.c = ff, cfg.d");
}

TEST(ConfigPayload, OfAReadIsTheStatusOrTheValue) {
    const char* name = "config.read.cfg.a";
    EXPECT_EQ(Text(Kind::kReply, name, Word(0) + Word(2) + Word(4) + "abc\0"s), "cfg.a = abc");
    EXPECT_EQ(Text(Kind::kReply, name, Word(-5) + Word(0) + Word(0)), "[no value]");
    EXPECT_EQ(Text(Kind::kRequest, name, Word(-1) + Word(2) + Word(100)), "none");
}

TEST(ConfigPayload, OfAWriteIsTheValue) {
    EXPECT_EQ(Text(Kind::kSignal, "config.write.cfg.a", Word(-1) + Word(3) + Word(4) + Word(9)), "cfg.a = 9");
    EXPECT_EQ(Text(Kind::kSignal, "config.write.cfg.a", Word(-1) + Word(0) + Word(0)), "cfg.a");
}

TEST(ConfigPayload, OfVectorsTellsStatusesAndTypes) {
    const std::string data = EntryBytes(2, -1, "cfg.a", "") + EntryBytes(3, 0, "cfg.b", "");

    EXPECT_EQ(Text(Kind::kReply, "config.modifyv", data), "cfg.a (string) [refused], cfg.b (int)");
}

TEST(ConfigPayload, OfAPatternReadIsItsMatches) {
    EXPECT_EQ(Text(Kind::kReply, "config.readm.cfg.*", Word(0) + Word(1) + EntryBytes(2, 0, "cfg.a", "x\0"s)),
              "cfg.a = x");
    EXPECT_EQ(Text(Kind::kReply, "config.readm.cfg.*", ""), "none");
}

TEST(ConfigPayload, OfStatResetAndValidatorIsWhatTheySay) {
    EXPECT_EQ(Text(Kind::kReply, "config.stat.cfg.a", Word(0) + Word(258)), "information 258");
    EXPECT_EQ(Text(Kind::kReply, "config.factory_reset", Word(-1)), "[refused]");
    EXPECT_EQ(Text(Kind::kSignal, "config.validate.register", "cfg.x\0"s), "cfg.x");
}

TEST(ConfigPayload, OfAnotherNameIsNone) {
    EXPECT_EQ(Text(Kind::kSignal, "event.a", EntryBytes(2, 0, "cfg.a", "x\0"s)), "none");
    EXPECT_EQ(Text(Kind::kSignal, "config.sync", "abc"), "none");
    EXPECT_EQ(Text(Kind::kRequest, "config.", "abc"), "none");
}

TEST(ConfigPayload, TellsWhatIsMalformedAndWhatCouldBeRead) {
    const std::string good = EntryBytes(2, 0, "cfg.a", "x\0"s);
    EXPECT_EQ(Text(Kind::kSignal, "config.change.cfg", good + "abc"), "cfg.a = x, malformed");
    EXPECT_EQ(Text(Kind::kSignal, "config.write.cfg.a", "abc"), "malformed");
    EXPECT_EQ(Text(Kind::kReply, "config.read.cfg.a", Word(0) + Word(3) + Word(400) + Word(1)),
              "cfg.a = 1, malformed");
    EXPECT_EQ(Text(Kind::kReply, "config.stat.cfg.a", Word(0)), "malformed");
}

TEST(ConfigPayload, SurvivesEveryCutOfAnEntry) {
    const std::string good = EntryBytes(2, 0, "cfg.a", "hello\0"s);
    for (size_t length = 1; length < good.size(); ++length) {
        EXPECT_EQ(Text(Kind::kSignal, "config.change.cfg", good.substr(0, length)), "malformed") << length;
    }
}

TEST(ConfigPayload, SurvivesLengthsBeyondTheEnd) {
    for (const uint32_t length : {5U, 0x7FFFFFFFU, 0xFFFFFFFDU, 0xFFFFFFFFU}) {
        const std::string head(4, '\0');
        EXPECT_EQ(
            Text(Kind::kSignal, "config.change.cfg", head + NumberBytes(length) + NumberBytes(0U) + "key"s),
            "malformed");
        EXPECT_EQ(
            Text(Kind::kSignal, "config.change.cfg", head + NumberBytes(4U) + NumberBytes(length) + "key\0"s),
            "malformed");
    }
}

TEST(ConfigPayload, ShowsNoEscapeOfATerminal) {
    EXPECT_EQ(Text(Kind::kSignal, "config.change.cfg", EntryBytes(2, 0, "\x1b[2J", "\x1b\0"s)),
              "\\u001b[2J = \\u001b");
}

TEST(ConfigPayload, IsAnObjectAsJson) {
    const auto payload =
        config_payload_parse(Kind::kSignal, "config.change.cfg", EntryBytes(3, 0, "cfg.b", Word(7)) + "abc");

    EXPECT_EQ(json_printable(*config_payload_json(payload.value()), JsonLayout::kOneLine),
              R"({"entries":[{"key":"cfg.b","type":"int","status":0,"value":7}],"malformed":true})");
}
