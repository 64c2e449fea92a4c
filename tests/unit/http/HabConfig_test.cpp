// SPDX-License-Identifier: MIT

#include "src/http/HabConfig.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "src/base/json_helpers.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/WebConfiguration.h"

namespace {

// A configuration directory, whose "configuration.json" the test writes.
class HabConfigFile : public testing::Test {
  protected:
    HabConfigFile() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    const HabConfig& Read(std::string_view json) {
        m_directory.write("configuration.json", json);
        return m_config.emplace(m_directory.path());
    }

    TempDirectory m_directory;
    std::optional<HabConfig> m_config;
};

using HabConfigDeathTest = HabConfigFile;

constexpr const char* kEverySetting = R"({
    "hab.path": "/srv/hab", "hab.core.path": "/srv/core", "hab.http.port": 8080,
    "hab.login.hook": "/in", "hab.logout.hook": "/out", "hab.push.location": "push",
    "hab.push.channel.id": "abc", "hab.http.defaultllocation": "/start.html",
    "hab.http.push.maxchannels": 5, "hab.log.level": 4, "hab.session.timeout": 60})";

}  // namespace

TEST_F(HabConfigFile, GivesEverySetting) {
    const HabConfig& config = Read(kEverySetting);

    EXPECT_STREQ(config.getConfigBase(), m_directory.path());
    EXPECT_STREQ(config.getWebAppPath(), "/srv/hab");
    EXPECT_STREQ(config.getWebAppCorePath(), "/srv/core");
    EXPECT_EQ(config.getHttpPort(), 8080);
    EXPECT_STREQ(config.getLoginHook(), "/in");
    EXPECT_STREQ(config.getLogoutHook(), "/out");
    EXPECT_STREQ(config.getPushLocation(), "push");
    EXPECT_STREQ(config.getPushChannelId(), "abc");
    EXPECT_STREQ(config.getDefaultLocation(), "/start.html");
    EXPECT_EQ(config.getHttpPushMaxChannels(), 5);
    EXPECT_EQ(config.getLogLevel(), 4);
    EXPECT_EQ(config.getSessionTimeout(), 60);
}

TEST_F(HabConfigFile, GivesTheDefaultsOfAnEmptyObject) {
    const HabConfig& config = Read("{}");

    EXPECT_STREQ(config.getWebAppPath(), "/var/www/hab");
    EXPECT_STREQ(config.getWebAppCorePath(), "/var/www/habcore");
    EXPECT_EQ(config.getHttpPort(), 80);
    EXPECT_STREQ(config.getLoginHook(), "");
    EXPECT_STREQ(config.getLogoutHook(), "");
    EXPECT_STREQ(config.getPushLocation(), "publish");
    EXPECT_STREQ(config.getPushChannelId(), "fedefe");
    EXPECT_STREQ(config.getDefaultLocation(), "/index.html");
    EXPECT_EQ(config.getHttpPushMaxChannels(), 80);
    EXPECT_EQ(config.getLogLevel(), 0);
    EXPECT_EQ(config.getSessionTimeout(), 300);
}

TEST_F(HabConfigFile, SkipsAByteOrderMark) {
    const CapturedLog log;

    EXPECT_EQ(Read("\xEF\xBB\xBF{\"hab.http.port\":8080}").getHttpPort(), 8080);
    EXPECT_TRUE(log.has("7 src/HabConfig: UTF-8 BOM present, skipping"));
}

TEST_F(HabConfigFile, ClampsTheLogLevel) {
    EXPECT_EQ(Read(R"({"hab.log.level":-3})").getLogLevel(), 0);
    EXPECT_EQ(Read(R"({"hab.log.level":12})").getLogLevel(), 7);
}

TEST_F(HabConfigFile, GivesTheDefaultForAMemberOfTheWrongType) {
    const HabConfig& config = Read(R"({"hab.http.port":"8080","hab.path":5})");

    EXPECT_EQ(config.getHttpPort(), 80);
    EXPECT_STREQ(config.getWebAppPath(), "/var/www/hab");
}

TEST_F(HabConfigFile, IgnoresTheDefaultLocationWithASingleL) {
    EXPECT_STREQ(Read(R"({"hab.http.defaultlocation":"/a.html"})").getDefaultLocation(), "/index.html");
}

TEST_F(HabConfigFile, TellsUpperFromLowerCaseInKeys) {
    EXPECT_EQ(Read(R"({"HAB.http.port":8080})").getHttpPort(), 80);
}

TEST_F(HabConfigFile, NormalizesItsTexts) {
    EXPECT_STREQ(Read(R"({"hab.push.location":" push"})").getPushLocation(), "pushh");
}

TEST_F(HabConfigFile, LogsWhatItReads) {
    const CapturedLog log;

    Read(kEverySetting);

    EXPECT_TRUE(log.has("7 src/HabConfig: Opening configuration from " + std::string(m_directory.path()) +
                        "/configuration.json"));
    EXPECT_TRUE(log.has("7 src/HabConfig: HttpPort: 8080"));
    EXPECT_TRUE(log.has("7 src/HabConfig: DefaultLocation: /start.html"));
    EXPECT_TRUE(log.has("7 src/HabConfig: SessionTimeout: 60"));
}

TEST_F(HabConfigFile, LogsTheDocumentPrintedBack) {
    const CapturedLog log;

    Read(R"({"a":1})");

    EXPECT_TRUE(log.has("7 src/HabConfig: Read configuration:{\n\t\"a\":\t1\n}"));
}

TEST_F(HabConfigFile, IsRefusedForAnEmptyPath) {
    Read("{}");

    EXPECT_FALSE(m_config->parseConfig(""));
}

TEST_F(HabConfigFile, IsRefusedWhenMissing) {
    Read("{}");
    const CapturedLog log;

    EXPECT_FALSE(m_config->parseConfig("/nowhere"));
    EXPECT_TRUE(log.has("6 src/HabConfig: Configuration not found!"));
}

TEST_F(HabConfigFile, IsNotFoundUnderANameThatIsCut) {
    Read("{}");
    std::string base = m_directory.path();
    base.append(257 - std::string("/configuration.json").size() - base.size(), '/');
    const CapturedLog log;

    EXPECT_FALSE(m_config->parseConfig(base.c_str()));
    EXPECT_TRUE(log.has("7 src/HabConfig: Opening configuration from " + base + "/configuration.js"));
}

TEST_F(HabConfigFile, GivesTheTextsOfMembersAsCopies) {
    Read("{}");
    const JsonPtr json = json_parse(R"({"a":"text"})");

    const MallocedText text(m_config->readJsonString(json.get(), "a", "default"));
    const MallocedText other(m_config->readJsonString(json.get(), "b", "default"));

    EXPECT_STREQ(text.get(), "text");
    EXPECT_STREQ(other.get(), "default");
}

TEST_F(HabConfigDeathTest, StopsTheProcessWithoutAFile) {
    EXPECT_DEATH(HabConfig("/nowhere"),
                 "src/HabConfig:[0-9]+: HabConfig::HabConfig\\(const char\\*\\): "
                 "Assertion `parseConfig\\(cfgPath\\)' failed");
}

TEST_F(HabConfigDeathTest, StopsTheProcessOnAnEmptyFile) {
    EXPECT_DEATH(Read(""), "src/HabConfig:.*Assertion `cfg != __null' failed");
}

TEST_F(HabConfigDeathTest, StopsTheProcessOnAFileThatIsNoJson) {
    EXPECT_DEATH(Read("{\"a\":"), "Assertion `cfg != __null' failed");
    EXPECT_DEATH(Read("{} {}"), "Assertion `cfg != __null' failed");
}

TEST_F(HabConfigDeathTest, StopsTheProcessWhenAskedForAMemberOfNothing) {
    Read("{}");

    EXPECT_DEATH(m_config->readJsonInteger(nullptr, "a", 1), "Assertion `cfg != __null' failed");
    EXPECT_DEATH(m_config->readJsonString(nullptr, "a", ""), "Assertion `cfg != __null' failed");
}

TEST_F(HabConfigFile, IsReadOnceByTheApplication) {
    HabConfig* const before = HabConfig::theApplicationConfiguration;
    HabConfig::theApplicationConfiguration = nullptr;
    m_directory.write("configuration.json", R"({"hab.http.port":8081})");

    HabApplication::initialize(m_directory.path());
    HabApplication::initialize("/nowhere");
    const std::unique_ptr<HabConfig> read(HabConfig::getInstance());
    HabConfig::theApplicationConfiguration = before;

    ASSERT_NE(read, nullptr);
    EXPECT_EQ(read->getHttpPort(), 8081);
}
