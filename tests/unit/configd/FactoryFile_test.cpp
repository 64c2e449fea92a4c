// SPDX-License-Identifier: MIT

#include "device/configd/FactoryFile.h"

#include <gmock/gmock.h>

#include "Values.h"
#include "tests/support/TempDirectory.h"

using namespace std::string_literals;
using testing::HasSubstr;

namespace {

class FactoryFile : public testing::Test {
  protected:
    std::optional<ConfigValues> Read(const std::string& text) {
        return factory_file_read(m_directory.write("factory.json", text).c_str());
    }
    // The line that explains why there are no values.
    std::string Refusal(const std::string& text) {
        testing::internal::CaptureStderr();
        EXPECT_FALSE(Read(text).has_value());
        return testing::internal::GetCapturedStderr();
    }

    TempDirectory m_directory;
};

}  // namespace

TEST_F(FactoryFile, ATextBecomesAStringWithItsNul) {
    EXPECT_EQ(Read(R"({"cfg.a": "text"})"), (ConfigValues{{"cfg.a", {2, "text\0"s}}}));
}

TEST_F(FactoryFile, ANumberBecomesAnInteger) {
    EXPECT_EQ(Read(R"({"ram.a": -2147483648})"), (ConfigValues{{"ram.a", Number(-2147483647 - 1)}}));
}

TEST_F(FactoryFile, AHexTextBecomesABinaryValue) {
    EXPECT_EQ(Read(R"({"dyn.a": {"hex": "00fFa1"}})"), (ConfigValues{{"dyn.a", {16, "\x00\xff\xa1"s}}}));
}

TEST_F(FactoryFile, TheOneThatIsShippedIsValid) {
    const auto values = factory_file_read(SHIPPED_FACTORY_FILE);

    ASSERT_TRUE(values.has_value());
    EXPECT_EQ(values->at("ram.status.system"), Number(6));
}

TEST_F(FactoryFile, RefusesAFileThatIsNotThere) {
    testing::internal::CaptureStderr();

    EXPECT_FALSE(factory_file_read("/nowhere/factory.json").has_value());

    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "configd: cannot read the factory values in '/nowhere/factory.json'\n");
}

TEST_F(FactoryFile, RefusesWhatIsNoJsonObject) {
    EXPECT_THAT(Refusal("[1]"), HasSubstr("no JSON object"));
    EXPECT_THAT(Refusal("{\"cfg.a\": 1"), HasSubstr("no JSON object"));
}

TEST_F(FactoryFile, NamesTheKeyWhoseValueIsNone) {
    EXPECT_EQ(Refusal(R"({"cfg.half": 0.5})"), "configd: factory value 'cfg.half' in '" +
                                                   m_directory.file("factory.json") +
                                                   "': neither text nor integer nor {\"hex\": \"...\"}\n");
}

TEST_F(FactoryFile, RefusesAKeyOfNoTree) {
    EXPECT_THAT(Refusal(R"({"a": 1})"), HasSubstr("'a'"));
}
