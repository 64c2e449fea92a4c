// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <string>

#include "src/http/HabHandler.h"

// Validators: the tests that a setting's value passes before it is written.
// Owns:    its message.
// Threads: loop thread only; the shared instances remember the value they saw last.

class HabHandler::Validator {
  public:
    // The room that getError() needs.
    static constexpr std::size_t kMessageSize = 512;

    Validator() = default;
    Validator(const Validator&) = delete;
    Validator& operator=(const Validator&) = delete;

    virtual bool validate(const cJSON* item) = 0;
    // Writes the message for the item validated last, cut to fit, and answers its full length. A message of length
    // 0 asks for the value to be dropped without an error.
    virtual int getError(char* buffer) = 0;
    virtual ~Validator() = default;
};

// A string of at least `minimum` bytes; anything but a string counts as an empty one. The message is a format for
// the minimum (int).
class HabHandler::MinLength : public Validator {
  public:
    MinLength(int minimum, const char* format) : m_minimum(minimum), m_format(format) {}
    bool validate(const cJSON* item) override;
    int getError(char* buffer) override;

  private:
    int m_minimum;
    std::string m_format;
};

// A string of nothing but these characters. The message is a format for the length (int) of the accepted prefix.
class HabHandler::ValidChars : public Validator {
  public:
    ValidChars(const char* characters, const char* format) : m_characters(characters), m_format(format) {}
    bool validate(const cJSON* item) override;
    int getError(char* buffer) override;

  private:
    std::string m_characters;
    std::string m_format;
    int m_accepted = 0;
};

class HabHandler::ValidType : public Validator {
  public:
    enum class Type { kString = 0, kBoolean = 1, kInteger = 2, kFloat = 3 };

    ValidType(Type type, const char* message) : m_type(type), m_message(message) {}
    bool validate(const cJSON* item) override;
    int getError(char* buffer) override;

  private:
    Type m_type;
    std::string m_message;
};
