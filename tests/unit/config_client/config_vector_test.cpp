// SPDX-License-Identifier: MIT

#include "ClientFixture.h"

using namespace std::string_literals;

namespace {

config_data_t Element(uint32_t type, const char* key, void* value, uint32_t size) {
    return {type, key, value, size, 99, 99};
}

char* Buffer(const char* text) {
    return const_cast<char*>(text);
}

}  // namespace

using ConfigReadv = ConfigClient;
using ConfigWritev = ConfigClient;
using ConfigModifyv = ConfigClient;
using ConfigReadm = ConfigClient;

TEST_F(ConfigReadv, FillsEachElement) {
    m_database.setInt("ram.i", 7);
    m_database.setString("ram.s", "text");
    int32_t number = 0;
    char text[10] = "";
    config_data_t elements[] = {Element(3, "ram.i", &number, 4), Element(2, "ram.s", text, sizeof text)};

    EXPECT_EQ(config_readv(nullptr, 2, elements), 0);

    EXPECT_EQ(number, 7);
    EXPECT_STREQ(text, "text");
    EXPECT_EQ(elements[0].status, 0);
    EXPECT_EQ(elements[1].length, 5U);
}

TEST_F(ConfigReadv, AsksForTypesAndKeysUnderThePrefix) {
    int32_t number = 0;
    config_data_t elements[] = {Element(3, "a", &number, 4)};

    config_readv("ram.sub", 1, elements);

    EXPECT_EQ(SentUnder("config.readv.ram.sub"), Vbuf({{"a", 3, ""}}));
}

TEST_F(ConfigReadv, AKeyWithoutValueLeavesItsBuffer) {
    int32_t number = 5;
    config_data_t elements[] = {Element(3, "ram.none", &number, 4)};

    EXPECT_EQ(config_readv(nullptr, 1, elements), 0);

    EXPECT_EQ(elements[0].status, -5);
    EXPECT_EQ(elements[0].length, 0U);
    EXPECT_EQ(number, 5);
}

TEST_F(ConfigReadv, AnotherTypeIsAMismatch) {
    m_database.setString("ram.a", "text");
    int32_t number = 5;
    config_data_t elements[] = {Element(3, "ram.a", &number, 4)};

    config_readv(nullptr, 1, elements);

    EXPECT_EQ(elements[0].status, -6);
    EXPECT_EQ(elements[0].length, 0U);
    EXPECT_EQ(number, 5);
}

TEST_F(ConfigReadv, AStringIsCutAndTerminated) {
    m_database.setString("ram.a", "0123456789");
    char text[] = "xxxx";
    config_data_t elements[] = {Element(2, "ram.a", text, 4)};

    config_readv(nullptr, 1, elements);

    EXPECT_STREQ(text, "012");
    EXPECT_EQ(elements[0].length, 11U);
}

TEST_F(ConfigReadv, AnIntegerOfAnotherLengthIsAMismatch) {
    m_database.replyNextWith(Vbuf({{"ram.a", 3, "12345678"}, {"ram.b", 3, "12"}}));
    int32_t numbers[2] = {5, 5};
    config_data_t elements[] = {Element(3, "ram.a", &numbers[0], 8), Element(3, "ram.b", &numbers[1], 4)};

    config_readv(nullptr, 2, elements);

    EXPECT_EQ(elements[0].status, -6);
    EXPECT_EQ(elements[1].status, -6);
    EXPECT_EQ(numbers[0], 5);
    EXPECT_EQ(numbers[1], 5);
}

TEST_F(ConfigReadv, AnElementWithoutBufferGetsItsLength) {
    m_database.setBinary("ram.a", "abc");
    config_data_t elements[] = {Element(16, "ram.a", nullptr, 100)};

    config_readv(nullptr, 1, elements);

    EXPECT_EQ(elements[0].length, 3U);
    EXPECT_EQ(elements[0].status, 0);
}

TEST_F(ConfigReadv, MoreEntriesThanElementsAreIgnored) {
    m_database.replyNextWith(Vbuf({{"ram.a", 3, "1234"}, {"ram.b", 3, "5678"}}));
    char bytes[9] = "xxxxxxxx";
    config_data_t elements[] = {Element(3, "ram.a", bytes, 4)};

    EXPECT_EQ(config_readv(nullptr, 1, elements), 0);

    EXPECT_STREQ(bytes, "1234xxxx");
}

TEST_F(ConfigReadv, GivesNoReplyWhenTheDatabaseIsNotThere) {
    m_database.answer(false);
    int32_t number = 0;
    config_data_t elements[] = {Element(3, "ram.a", &number, 4)};

    EXPECT_EQ(config_readv(nullptr, 1, elements), -1);
}

TEST_F(ConfigWritev, SendsEachValueWithTheLengthOfItsType) {
    int32_t number = 0x34333231;
    const config_data_t elements[] = {Element(2, "s", Buffer("text"), 0), Element(2, "n", nullptr, 9),
                                      Element(3, "i", &number, 0), Element(3, "z", nullptr, 9),
                                      Element(16, "b", Buffer("abcdef"), 3)};

    EXPECT_EQ(config_writev("ram.sub", 5, elements), 0);

    EXPECT_EQ(SentUnder("config.writev.ram.sub"),
              Vbuf({{"s", 2, "text\0"s}, {"n", 2, ""}, {"i", 3, "1234"}, {"z", 3, ""}, {"b", 16, "abc"}}));
}

TEST_F(ConfigWritev, TellsThatTheBusIsGone) {
    const config_data_t elements[] = {Element(2, "ram.s", Buffer("text"), 0)};
    m_connection->client->close(m_connection.get());

    EXPECT_NE(config_writev(nullptr, 1, elements), 0);
}

TEST_F(ConfigModifyv, FillsTheStatusesAndGivesTheFirstThatIsNotZero) {
    m_database.replyNextWith(Vbuf({{"ram.a", 2, "", 0}, {"ram.b", 2, "", -6}, {"ram.c", 2, "", -1}}));
    config_data_t elements[] = {Element(2, "ram.a", Buffer("x"), 0), Element(2, "ram.b", Buffer("x"), 0),
                                Element(2, "ram.c", Buffer("x"), 0)};

    EXPECT_EQ(config_modifyv(nullptr, 3, elements), -6);

    EXPECT_EQ(elements[0].status, 0);
    EXPECT_EQ(elements[1].status, -6);
    EXPECT_EQ(elements[2].status, -1);
}

TEST_F(ConfigModifyv, GivesZeroWhenAllIsWritten) {
    config_data_t elements[] = {Element(2, "ram.a", Buffer("x"), 0)};

    EXPECT_EQ(config_modifyv(nullptr, 1, elements), 0);
    EXPECT_EQ(m_database.text("ram.a"), "x");
}

TEST_F(ConfigModifyv, GivesNoReplyWhenTheDatabaseIsNotThere) {
    m_database.answer(false);
    config_data_t elements[] = {Element(2, "ram.a", Buffer("x"), 0)};

    EXPECT_EQ(config_modifyv(nullptr, 1, elements), -1);
}

TEST_F(ConfigReadm, GivesAllEntriesInOneBlock) {
    m_database.setString("ram.x.a", "text");
    m_database.setInt("ram.x.b", 7);
    unsigned int count = 0;
    config_data_t* elements = nullptr;

    EXPECT_EQ(config_readm("ram.x.(a|b)", &count, &elements), 0);

    const Malloced<config_data_t> owner(elements);
    ASSERT_EQ(count, 2U);
    EXPECT_STREQ(elements[0].key, "ram.x.a");
    EXPECT_STREQ(static_cast<const char*>(elements[0].value), "text");
    EXPECT_EQ(elements[0].size, 5U);
    EXPECT_EQ(elements[0].length, 5U);
    EXPECT_EQ(elements[1].type, 3U);
    EXPECT_EQ(elements[1].status, 0);
}

TEST_F(ConfigReadm, GivesNoBlockForNothing) {
    unsigned int count = 5;
    config_data_t dummy{};
    config_data_t* elements = &dummy;

    EXPECT_EQ(config_readm("ram.x.*", &count, &elements), 0);

    EXPECT_EQ(count, 0U);
    EXPECT_EQ(elements, nullptr);
}

TEST_F(ConfigReadm, GivesNoBlockWhenTheReplyCountsNoEntry) {
    m_database.replyNextWith(Words({0, 0}) + Vbuf({{"ram.a", 3, "1234"}}));
    unsigned int count = 5;
    config_data_t* elements = nullptr;

    EXPECT_EQ(config_readm("ram.*", &count, &elements), 0);

    const Malloced<config_data_t> owner(elements);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(elements, nullptr);
}

TEST_F(ConfigReadm, IgnoresEntriesBeyondTheCount) {
    m_database.replyNextWith(Words({0, 1}) + Vbuf({{"ram.a", 3, "1234"}, {"ram.b", 3, "5678"}}));
    unsigned int count = 0;
    config_data_t* elements = nullptr;

    config_readm("ram.*", &count, &elements);

    const Malloced<config_data_t> owner(elements);
    EXPECT_EQ(count, 1U);
}

TEST_F(ConfigReadm, ACountBeyondTheEntriesDeliversTheEntries) {
    m_database.replyNextWith(Words({0, 0xffffffff}) + Vbuf({{"ram.a", 3, "1234"}}));
    unsigned int count = 0;
    config_data_t* elements = nullptr;

    EXPECT_EQ(config_readm("ram.*", &count, &elements), 0);

    const Malloced<config_data_t> owner(elements);
    EXPECT_EQ(count, 1U);
}

TEST_F(ConfigReadm, AReplyShorterThanNineBytesStopsTheProcess) {
    m_database.replyNextWith(Words({0, 0}));
    unsigned int count = 0;
    config_data_t* elements = nullptr;

    EXPECT_EXIT(config_readm("ram.*", &count, &elements), testing::KilledBySignal(SIGABRT), "");
}

TEST_F(ConfigReadm, TellsThatTheBusIsGone) {
    m_database.closeConnection();
    unsigned int count = 5;
    config_data_t* elements = nullptr;

    EXPECT_EQ(config_readm("ram.*", &count, &elements), -1);
    EXPECT_EQ(count, 0U);
}
