// SPDX-License-Identifier: MIT

#include "src/http/HabHandler.h"

#include "FrontEnd.h"
#include "src/http/HabSetting.h"
#include "src/http/HabValidator.h"

namespace {

// A setting over a table of values.
class TableSetting : public HabHandler::Setting {
  public:
    using Setting::Setting;
    int read(const std::string& key, cJSON* result) override {
        cJSON_AddStringToObject(result, key.c_str(), values[key].c_str());
        return outcome;
    }
    int write(const cJSON* item) override {
        written.emplace_back(item->string);
        return outcome;
    }
    int addnotif(const cJSON* item) override {
        added.emplace_back(item->string);
        return outcome;
    }
    int delnotif(const cJSON* item) override {
        removed.emplace_back(item->string);
        return outcome;
    }

    std::map<std::string, std::string> values;
    std::vector<std::string> written;
    std::vector<std::string> added;
    std::vector<std::string> removed;
    int outcome = 0;
};

using Names = std::vector<std::string>;

class HabHandlerSettings : public ::testing::Test {
  protected:
    HabHandlerSettings() {
        m_handler.addSetting(&m_setting, &HabHandler::ignoreEmpty, &HabHandler::decimalString, nullptr);
    }

    // The answer: its status and its body, without the layout.
    std::string Handle(LocalRequest& request) {
        EXPECT_EQ(m_handler.handleRequest(&request), -1);
        cJSON_Minify(request.body.data());
        return request.answers.empty() ? "no answer"
                                       : std::to_string(request.answers.front()) + " " + request.body.c_str();
    }
    std::string Get(const char* query) {
        LocalRequest request("GET", "/settings", query);
        return Handle(request);
    }
    std::string Put(const char* body) {
        LocalRequest request("PUT", "/settings");
        request.requestBody = body;
        return Handle(request);
    }
    std::string Notify(const char* method, const char* body) {
        LocalRequest request(method, "/settings");
        request.requestHeaders["HTTP_HAB_NOTIFICATION"] = "1";
        request.requestBody = body;
        return Handle(request);
    }

    TableSetting m_setting{"net.*"};
    HabHandler m_handler;
};

}  // namespace

TEST_F(HabHandlerSettings, ReadsTheKeysOfTheQuery) {
    m_setting.values["net.a"] = "1";

    EXPECT_EQ(Get("[\"net.a\"]"), R"(200 {"net.a":"1"})");
}

TEST_F(HabHandlerSettings, DecodesTheQuery) {
    m_setting.values["net.a"] = "1";

    EXPECT_EQ(Get("%5B%22net.a%22%5D"), R"(200 {"net.a":"1"})");
}

TEST_F(HabHandlerSettings, AnswersAsJson) {
    LocalRequest request("GET", "/settings", "[]");

    Handle(request);

    EXPECT_EQ(request.headers["Content-type"], "application/json");
}

TEST_F(HabHandlerSettings, RefusesAReadWithoutAQuery) {
    EXPECT_EQ(Get(nullptr), R"(400 {"error":"No payload!!"})");
}

TEST_F(HabHandlerSettings, RefusesAQueryThatIsNoJson) {
    EXPECT_EQ(Get("[\"net.a\""), R"(400 {"error":"Couldn't parse JSON request!"})");
}

TEST_F(HabHandlerSettings, NamesUnknownKeysOfAReadWithAnExclamationMark) {
    EXPECT_EQ(Get("[\"other\"]"), R"(400 {"other":"Unknown configuration key!"})");
}

TEST_F(HabHandlerSettings, RefusesAListElementThatIsNoKey) {
    EXPECT_EQ(Get("[7]"), R"(400 {"error":"Unknown configuration key!"})");
}

TEST_F(HabHandlerSettings, ReportsAReadThatFails) {
    m_setting.outcome = -1;

    EXPECT_EQ(Get("[\"net.a\"]"), R"(400 {"net.a":"Error"})");
}

TEST_F(HabHandlerSettings, WritesValidatedMembersInTheirOrder) {
    EXPECT_EQ(Put(R"({"net.b":"1","net.a":"2"})"), "200 {}");

    EXPECT_EQ(m_setting.written, (Names{"net.b", "net.a"}));
}

TEST_F(HabHandlerSettings, WritesNothingWhenOneMemberIsInvalid) {
    EXPECT_EQ(Put(R"({"net.a":"1","net.b":"x"})"), R"(400 {"net.b":"Must be a decimal number"})");

    EXPECT_TRUE(m_setting.written.empty());
}

TEST_F(HabHandlerSettings, DropsAnIgnoredEmptyStringSilently) {
    EXPECT_EQ(Put(R"({"net.a":""})"), "200 {}");

    EXPECT_TRUE(m_setting.written.empty());
}

TEST_F(HabHandlerSettings, NamesUnknownKeysOfAWriteWithoutAnExclamationMark) {
    EXPECT_EQ(Put(R"({"other":"1"})"), R"(400 {"other":"Unknown configuration key"})");
}

TEST_F(HabHandlerSettings, WritesValidMembersBesideAnUnknownKey) {
    Put(R"({"other":"1","net.a":"1"})");

    EXPECT_EQ(m_setting.written, Names{"net.a"});
}

TEST_F(HabHandlerSettings, ReportsAWriteThatFails) {
    m_setting.outcome = 1;

    EXPECT_EQ(Put(R"({"net.a":"1"})"), R"(400 {"net.a":"Error"})");
}

TEST_F(HabHandlerSettings, RefusesABodyThatIsNoJson) {
    EXPECT_EQ(Put("{"), R"(400 {"error":"Couldn't parse JSON request!"})");
}

TEST_F(HabHandlerSettings, RefusesABodyThatIsAPlainValue) {
    EXPECT_EQ(Put("7"), R"(400 {"error":"Couldn't parse JSON request!"})");
}

TEST_F(HabHandlerSettings, SendsNoAnswerWhenTheBodyCannotBeRead) {
    LocalRequest request("PUT", "/settings");
    request.requestBody = "{}";
    request.bodyIsLost = true;

    EXPECT_EQ(Handle(request), "no answer");
}

TEST_F(HabHandlerSettings, AddsNotificationsForAPost) {
    EXPECT_EQ(Notify("POST", R"({"net.a":1})"), "200 {}");

    EXPECT_EQ(m_setting.added, Names{"net.a"});
}

TEST_F(HabHandlerSettings, RemovesNotificationsForADelete) {
    EXPECT_EQ(Notify("DELETE", R"({"net.a":1})"), "200 {}");

    EXPECT_EQ(m_setting.removed, Names{"net.a"});
}

TEST_F(HabHandlerSettings, RefusesNotificationsForUnknownKeys) {
    EXPECT_EQ(Notify("POST", R"({"other":1})"), R"(400 {"other":"Unknown configuration key"})");
}

TEST_F(HabHandlerSettings, ProcessesNoOtherMethodForNotifications) {
    EXPECT_EQ(Notify("GET", R"({"net.a":1})"), "200 {}");

    EXPECT_TRUE(m_setting.added.empty());
}

TEST_F(HabHandlerSettings, ProcessesNothingForOtherMethods) {
    LocalRequest request("POST", "/settings");
    request.requestBody = R"({"net.a":"1"})";

    EXPECT_EQ(Handle(request), "200 {}");

    EXPECT_TRUE(m_setting.written.empty());
}

TEST_F(HabHandlerSettings, GivesAKeyToTheFirstSettingThatMatches) {
    TableSetting second("net.a");
    m_handler.addSetting(&second, nullptr);

    Put(R"({"net.a":"1"})");

    EXPECT_EQ(m_setting.written, Names{"net.a"});
    EXPECT_TRUE(second.written.empty());
}

TEST_F(HabHandlerSettings, StartsEachRequestWithoutErrors) {
    Get(nullptr);

    EXPECT_EQ(Get("[]"), "200 {}");
}

TEST(HabHandler, DoesNotStreamByItself) {
    HabHandler handler;
    LocalRequest request("POST", "/a");

    EXPECT_FALSE(handler.isStreaming(&request));
    EXPECT_EQ(handler.handleChunk(&request, nullptr), 0);
}

TEST(HabHandler, TakesNoFileUpload) {
    HabHandler handler;
    LocalRequest request("POST", "/a");
    const CapturedLog log;

    EXPECT_EQ(handler.fileUpload(&request, nullptr, nullptr, 5, true, false), 0);

    EXPECT_TRUE(log.has("7 src/HabHandler: fileupload(/a), cnt=5, first:true, last:false"));
    EXPECT_TRUE(log.has("3 src/HabHandler: Empty implementation (HabHandler::fileUpload) called!"));
}

TEST(HabHandlerDump, WritesOneValuePerLine) {
    const JsonPtr tree(cJSON_Parse(R"({"a":[1,true,null,"x"],"b":1.5})"));
    const CapturedLog log;

    HabHandler::dump_json(tree.get(), 0);

    for (const char* line : {"  a:", "1", "true", "null", "\"x\"", "1.500000", "  ]", "}"}) {
        EXPECT_TRUE(log.has(std::string("7 src/HabHandler: ") + line)) << line;
    }
}

TEST(HabHandlerDump, WritesLargeNumbersWithoutAFraction) {
    const JsonPtr number(cJSON_CreateNumber(5e9));
    const CapturedLog log;

    HabHandler::dump_json(number.get(), 0);

    EXPECT_TRUE(log.has("7 src/HabHandler: 5000000000"));
}

TEST(HabHandlerDump, WritesTinyNumbersWithAnExponent) {
    const JsonPtr number(cJSON_CreateNumber(1.5e-9));
    const CapturedLog log;

    HabHandler::dump_json(number.get(), 0);

    EXPECT_TRUE(log.has("7 src/HabHandler: 1.500000e-09"));
}
