// SPDX-License-Identifier: MIT

#include "src/http/HabValidator.h"

#include <gtest/gtest.h>

#include "src/base/owners.h"

namespace {

bool Accepts(HabHandler::Validator& validator, const char* json) {
    const JsonPtr item(cJSON_Parse(json));
    return validator.validate(item.get());
}

std::string ErrorFor(HabHandler::Validator& validator, const char* json) {
    char message[HabHandler::Validator::kMessageSize];
    Accepts(validator, json);
    const int length = validator.getError(message);
    EXPECT_EQ(std::string(message).size(), static_cast<std::size_t>(length));
    return message;
}

}  // namespace

TEST(MinLength, TakesAStringOfTheMinimum) {
    HabHandler::MinLength validator(3, "");

    EXPECT_TRUE(Accepts(validator, "\"abc\""));
}

TEST(MinLength, RefusesAShorterString) {
    HabHandler::MinLength validator(3, "");

    EXPECT_FALSE(Accepts(validator, "\"ab\""));
}

TEST(MinLength, TakesANumberForAnEmptyString) {
    HabHandler::MinLength validator(1, "");

    EXPECT_FALSE(Accepts(validator, "12"));
}

TEST(MinLength, PrintsTheMinimumIntoItsMessage) {
    HabHandler::MinLength validator(3, "At least %d characters");

    EXPECT_EQ(ErrorFor(validator, "\"\""), "At least 3 characters");
}

TEST(ValidChars, TakesAStringOfTheSet) {
    EXPECT_TRUE(Accepts(HabHandler::hexString, "\"09aF\""));
}

TEST(ValidChars, RefusesAnyOtherCharacter) {
    EXPECT_FALSE(Accepts(HabHandler::hexString, "\"09g\""));
}

TEST(ValidChars, RefusesWhatIsNoString) {
    EXPECT_FALSE(Accepts(HabHandler::decimalString, "12"));
}

TEST(ValidChars, PrintsTheLengthOfTheAcceptedPrefix) {
    HabHandler::ValidChars validator("01", "Stopped at %d");

    EXPECT_EQ(ErrorFor(validator, "\"0102\""), "Stopped at 3");
}

TEST(ValidChars, CutsALongMessageToTheBuffer) {
    HabHandler::ValidChars validator("01", std::string(600, 'x').c_str());
    char message[HabHandler::Validator::kMessageSize];
    Accepts(validator, "\"2\"");

    EXPECT_EQ(validator.getError(message), 600);

    EXPECT_EQ(std::string(message), std::string(511, 'x'));
}

TEST(ValidType, TellsStringsFromTheRest) {
    EXPECT_TRUE(Accepts(HabHandler::validString, "\"a\""));
    EXPECT_FALSE(Accepts(HabHandler::validString, "1"));
}

TEST(ValidType, TakesBothBooleans) {
    EXPECT_TRUE(Accepts(HabHandler::validBoolean, "true"));
    EXPECT_TRUE(Accepts(HabHandler::validBoolean, "false"));
    EXPECT_FALSE(Accepts(HabHandler::validBoolean, "null"));
}

TEST(ValidType, TakesIntegersOfThirtyTwoBits) {
    EXPECT_TRUE(Accepts(HabHandler::validInteger, "-2147483648"));
    EXPECT_TRUE(Accepts(HabHandler::validInteger, "2147483647"));
    EXPECT_FALSE(Accepts(HabHandler::validInteger, "2147483648"));
}

TEST(ValidType, RefusesAFractionAsAnInteger) {
    EXPECT_FALSE(Accepts(HabHandler::validInteger, "1.5"));
}

TEST(ValidType, RefusesAnEndlessNumberAsAnInteger) {
    EXPECT_FALSE(Accepts(HabHandler::validInteger, "1e999"));
}

TEST(ValidType, TakesEveryNumberAsAFloat) {
    EXPECT_TRUE(Accepts(HabHandler::validFloat, "1.5"));
    EXPECT_TRUE(Accepts(HabHandler::validFloat, "7"));
    EXPECT_FALSE(Accepts(HabHandler::validFloat, "\"7\""));
}

TEST(SharedValidators, HaveTheirMessages) {
    EXPECT_EQ(ErrorFor(HabHandler::decimalString, "\"x\""), "Must be a decimal number");
    EXPECT_EQ(ErrorFor(HabHandler::hexString, "\"x\""), "Must be a hexi-decimal number");
    EXPECT_EQ(ErrorFor(HabHandler::octalString, "\"8\""), "Must be an octal number");
    EXPECT_EQ(ErrorFor(HabHandler::binaryString, "\"2\""), "Must be a binary number");
    EXPECT_EQ(ErrorFor(HabHandler::validString, "1"), "Value must be a valid string");
    EXPECT_EQ(ErrorFor(HabHandler::validBoolean, "1"), "Value must be a valid boolean");
    EXPECT_EQ(ErrorFor(HabHandler::validInteger, "1.5"), "Value must be a valid Integer");
    EXPECT_EQ(ErrorFor(HabHandler::validFloat, "null"), "Value must be a valid floating point number");
}

TEST(SharedValidators, IgnoreAnEmptyStringWithoutAMessage) {
    EXPECT_EQ(ErrorFor(HabHandler::ignoreEmpty, "\"\""), "");
}
