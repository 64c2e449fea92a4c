// SPDX-License-Identifier: MIT

#include "src/http/HabValidator.h"

#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstring>

#include <cjson/cJSON.h>

HabHandler::ValidChars& HabHandler::decimalString = *new ValidChars("0123456789", "Must be a decimal number");
HabHandler::ValidChars& HabHandler::hexString =
    *new ValidChars("0123456789ABCDEFabcdef", "Must be a hexi-decimal number");
HabHandler::ValidChars& HabHandler::octalString = *new ValidChars("01234567", "Must be an octal number");
HabHandler::ValidChars& HabHandler::binaryString = *new ValidChars("01", "Must be a binary number");
HabHandler::ValidType& HabHandler::validString =
    *new ValidType(ValidType::Type::kString, "Value must be a valid string");
HabHandler::ValidType& HabHandler::validBoolean =
    *new ValidType(ValidType::Type::kBoolean, "Value must be a valid boolean");
HabHandler::ValidType& HabHandler::validInteger =
    *new ValidType(ValidType::Type::kInteger, "Value must be a valid Integer");
HabHandler::ValidType& HabHandler::validFloat =
    *new ValidType(ValidType::Type::kFloat, "Value must be a valid floating point number");
HabHandler::MinLength& HabHandler::ignoreEmpty = *new MinLength(1, "");

bool HabHandler::MinLength::validate(const cJSON* item) {
    const char* text = cJSON_GetStringValue(item);
    return static_cast<int>(text != nullptr ? std::strlen(text) : 0) >= m_minimum;
}

int HabHandler::MinLength::getError(char* buffer) {
    return std::snprintf(buffer, kMessageSize, m_format.c_str(), m_minimum);
}

bool HabHandler::ValidChars::validate(const cJSON* item) {
    const char* text = cJSON_GetStringValue(item);
    m_accepted = text != nullptr ? static_cast<int>(std::strspn(text, m_characters.c_str())) : 0;
    return text != nullptr && text[m_accepted] == '\0';
}

int HabHandler::ValidChars::getError(char* buffer) {
    return std::snprintf(buffer, kMessageSize, m_format.c_str(), m_accepted);
}

bool HabHandler::ValidType::validate(const cJSON* item) {
    switch (m_type) {
        case Type::kString:
            return cJSON_IsString(item) != 0;
        case Type::kBoolean:
            return cJSON_IsBool(item) != 0;
        case Type::kInteger:
            // valueint stays within an int, so a number outside that range differs from it.
            return cJSON_IsNumber(item) != 0 && std::fabs(item->valueint - item->valuedouble) <= DBL_EPSILON;
        case Type::kFloat:
            return cJSON_IsNumber(item) != 0;
    }
    return false;
}

int HabHandler::ValidType::getError(char* buffer) {
    return std::snprintf(buffer, kMessageSize, "%s", m_message.c_str());
}
