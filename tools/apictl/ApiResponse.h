// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <utility>

#include "src/base/owners.h"

// ApiResponse: the daemon's answer to one call.
// Owns: the whole message; what the accessors return belongs to it.
class ApiResponse {
  public:
    ApiResponse() = default;
    explicit ApiResponse(JsonPtr message) : m_message(std::move(message)) {}

    // A result with a code from 200 to 299.
    [[nodiscard]] bool isSuccess() const;
    // 0 when there is none.
    [[nodiscard]] int code() const;
    // Null when the resource answered without any.
    [[nodiscard]] const cJSON* data() const;
    // "404 Not Found", with the data behind it when there is some; safe to print.
    [[nodiscard]] std::string errorText() const;
    // The envelope and all; null for an object made without one.
    [[nodiscard]] const cJSON* message() const { return m_message.get(); }

  private:
    [[nodiscard]] const cJSON* body() const;

    JsonPtr m_message;
};
