// SPDX-License-Identifier: MIT

#include "config_client/config_client_api.h"

#include "ClientFixture.h"

using namespace std::string_literals;

using ConfigReadInt = ConfigClient;
using ConfigReadString = ConfigClient;
using ConfigReadTyped = ConfigClient;
using ConfigWrite = ConfigClient;
using ConfigRequests = ConfigClient;

TEST_F(ConfigReadInt, GivesTheValue) {
    m_database.setInt("ram.a", -7);
    int32_t value = 0;

    EXPECT_EQ(config_read_int("ram.a", &value), 0);
    EXPECT_EQ(value, -7);
}

TEST_F(ConfigReadInt, AsksForAnIntegerOfFourBytes) {
    int32_t value = 0;

    config_read_int("ram.a", &value);

    EXPECT_EQ(SentUnder("config.read.ram.a"), Words({-1, 3, 4}));
}

TEST_F(ConfigReadInt, GivesTypeMismatchForAString) {
    m_database.setString("ram.a", "text");
    int32_t value = 5;

    EXPECT_EQ(config_read_int("ram.a", &value), -6);
    EXPECT_EQ(value, 5);
}

TEST_F(ConfigReadInt, GivesNoValueForAKeyThatIsNotThere) {
    int32_t value = 5;

    EXPECT_EQ(config_read_int("ram.none", &value), -5);
    EXPECT_EQ(value, 5);
}

TEST_F(ConfigReadInt, GivesMismatchForAnotherLength) {
    m_database.replyNextWith(Words({0, 3, 2}) + "xy");
    int32_t value = 5;

    EXPECT_EQ(config_read_int("ram.a", &value), -6);
    EXPECT_EQ(value, 5);
}

TEST_F(ConfigReadInt, GivesNoReplyWhenTheDatabaseIsNotThere) {
    m_database.answer(false);
    int32_t value = 5;

    EXPECT_EQ(config_read_int("ram.a", &value), -1);
}

TEST_F(ConfigReadInt, GivesNoReplyWhenTheBusGoes) {
    m_database.closeConnection();
    int32_t value = 5;

    EXPECT_EQ(config_read_int("ram.a", &value), -1);
}

TEST_F(ConfigReadString, GivesTheText) {
    m_database.setString("ram.a", "text");
    char text[10];

    EXPECT_EQ(config_read_string("ram.a", text, sizeof text), 0);
    EXPECT_STREQ(text, "text");
}

TEST_F(ConfigReadString, CutsATextThatDoesNotFit) {
    m_database.setString("ram.a", "0123456789");
    char text[] = "xxxx";

    EXPECT_EQ(config_read_string("ram.a", text, 4), 0);
    EXPECT_STREQ(text, "012");
}

TEST_F(ConfigReadString, CutsATextThatTheDatabaseDeliversWhole) {
    m_database.replyNextWith(Words({0, 2, 11}) + "0123456789\0"s);
    char text[] = "xxxx";

    EXPECT_EQ(config_read_string("ram.a", text, 4), 0);
    EXPECT_STREQ(text, "012");
}

TEST_F(ConfigReadString, TerminatesATextWithoutNul) {
    m_database.replyNextWith(Words({0, 2, 2}) + "ab");
    char text[] = "xxxx";

    EXPECT_EQ(config_read_string("ram.a", text, sizeof text), 0);
    EXPECT_STREQ(text, "ab");
}

TEST_F(ConfigReadString, NeedsABuffer) {
    char text[1];

    EXPECT_EQ(config_read_string("ram.a", nullptr, 4), -7);
    EXPECT_EQ(config_read_string("ram.a", text, 0), -7);
}

TEST_F(ConfigReadString, GivesTypeMismatchForAnInteger) {
    m_database.setInt("ram.a", 1);
    char text[] = "xxxx";

    EXPECT_EQ(config_read_string("ram.a", text, sizeof text), -6);
    EXPECT_STREQ(text, "xxxx");
}

TEST_F(ConfigReadTyped, GivesTypeAndLengthOfWhatIsThere) {
    m_database.setBinary("ram.a", "abc");
    char buffer[10];
    uint32_t length = 0;
    uint32_t type = 0;

    EXPECT_EQ(config_read_typed("ram.a", buffer, sizeof buffer, &length, &type), 0);
    EXPECT_EQ(std::string(buffer, length), "abc");
    EXPECT_EQ(type, 16U);
}

TEST_F(ConfigReadTyped, DeliversWhatFits) {
    m_database.setBinary("ram.a", "abcdef");
    char buffer[] = "xxxxx";
    uint32_t length = 0;
    uint32_t type = 0;

    EXPECT_EQ(config_read_typed("ram.a", buffer, 4, &length, &type), -7);
    EXPECT_EQ(length, 4U);
    EXPECT_STREQ(buffer, "abcdx");
}

TEST_F(ConfigReadTyped, PassesOtherStatusesOn) {
    m_database.replyNextWith(Words({-42, 0, 0}));
    char buffer[4];
    uint32_t length = 0;
    uint32_t type = 0;

    EXPECT_EQ(config_read_typed("ram.a", buffer, sizeof buffer, &length, &type), -42);
}

TEST_F(ConfigReadTyped, AReplyOfAnotherSizeThanItSaysStopsTheProcess) {
    char buffer[4];
    uint32_t length = 0;
    uint32_t type = 0;
    m_database.replyNextWith(Words({0, 2, 100}));
    EXPECT_EXIT(config_read_typed("ram.a", buffer, 4, &length, &type), testing::KilledBySignal(SIGABRT), "");

    m_database.replyNextWith("short");
    EXPECT_EXIT(config_read_typed("ram.a", buffer, 4, &length, &type), testing::KilledBySignal(SIGABRT), "");
}

TEST_F(ConfigWrite, SendsContextTypeLengthAndValue) {
    EXPECT_EQ(config_write_int("cfg.a", 258), 0);

    EXPECT_EQ(SentUnder("config.write.cfg.a"), Words({-1, 3, 4, 258}));
}

TEST_F(ConfigWrite, AStringIncludesItsNul) {
    EXPECT_EQ(config_write_string("cfg.a", "abc"), 0);

    EXPECT_EQ(SentUnder("config.write.cfg.a"), Words({-1, 2, 4}) + "abc\0"s);
}

TEST_F(ConfigWrite, ANullTextHasNoBytes) {
    EXPECT_EQ(config_write_string("cfg.a", nullptr), 0);

    EXPECT_EQ(SentUnder("config.write.cfg.a"), Words({-1, 2, 0}));
}

TEST_F(ConfigWrite, ADeleteIsAWriteOfNoValue) {
    EXPECT_EQ(config_delete("cfg.a"), 0);

    EXPECT_EQ(SentUnder("config.write.cfg.a"), Words({-1, 0, 0}));
}

TEST_F(ConfigWrite, TwoHundredBytesTravelAsWell) {
    const std::string value(200, 'v');

    EXPECT_EQ(config_write_typed("cfg.a", value.data(), 200, 16), 0);

    EXPECT_EQ(SentUnder("config.write.cfg.a"), Words({-1, 16, 200}) + value);
}

TEST_F(ConfigWrite, ABusThatIsGoneIsNotReported) {
    const std::string value(200, 'v');
    m_connection->client->close(m_connection.get());

    EXPECT_EQ(config_write_typed("cfg.a", value.data(), 200, 16), 0);
    EXPECT_EQ(config_write_int("cfg.a", 1), 0);
}

TEST_F(ConfigWrite, DeletemSendsThePatternInTheName) {
    EXPECT_EQ(config_deletem("cfg.api.*.(a|b)"), 0);

    EXPECT_EQ(SentUnder("config.delm.cfg.api.*.(a|b)"), "");
}

TEST_F(ConfigWrite, DeletemTellsThatTheBusIsGone) {
    m_connection->client->close(m_connection.get());

    EXPECT_NE(config_deletem("cfg.*"), 0);
}

TEST_F(ConfigRequests, StatusStoresTheInformation) {
    m_database.replyNextWith(Words({0, 0x102}));
    uint32_t information = 0;

    EXPECT_EQ(config_status("cfg.a", &information), 0);
    EXPECT_EQ(information, 0x102U);
    EXPECT_EQ(SentUnder("config.stat.cfg.a"), Words({-1}));
}

TEST_F(ConfigRequests, StatusDoesWithoutAPlaceForTheInformation) {
    EXPECT_EQ(config_status("cfg.none", nullptr), -5);
}

TEST_F(ConfigRequests, FactoryResetGivesTheResult) {
    m_database.replyNextWith(Words({-3}));

    EXPECT_EQ(config_factory_reset(), -3);
    EXPECT_EQ(SentUnder("config.factory_reset"), Words({-1}));
}

TEST_F(ConfigRequests, StatusAndFactoryResetGiveMinusOneWithoutReply) {
    m_database.answer(false);

    EXPECT_EQ(config_status("cfg.a", nullptr), -1);
    EXPECT_EQ(config_factory_reset(), -1);
}

TEST_F(ConfigRequests, SyncIsNamedWithItsArgumentWhenThereIsOne) {
    EXPECT_EQ(config_sync("now"), 0);
    EXPECT_EQ(config_sync(""), 0);

    EXPECT_EQ(SentUnder("config.sync.now"), "");
    EXPECT_EQ(SentUnder("config.sync"), "");
}

TEST_F(ConfigRequests, ANameIsCutAt511Characters) {
    config_sync(std::string(600, 'n').c_str());

    EXPECT_EQ(SentUnder("config.sync." + std::string(511 - 12, 'n')), "");
}

TEST(ConfigInitCbusDeathTest, StopsTheProcessWithoutAConnection) {
    EXPECT_EXIT(config_init_cbus(nullptr, nullptr), testing::KilledBySignal(SIGABRT), "");
}
