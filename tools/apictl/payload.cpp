// SPDX-License-Identifier: MIT

#include "tools/apictl/payload.h"

#include <utility>

#include "tools/apictl/ApiClient.h"

std::variant<JsonPtr, InputError> payload_read(const std::string& argument) {
    const bool is_file = argument.starts_with('@');
    // A file that is called "-" is no standard input.
    const std::string file = argument == "@-" ? "./-" : argument.substr(is_file ? 1 : 0);
    if (!is_file && argument != "-") {
        return input_parse(argument);
    }
    std::variant<std::string, InputError> text = input_read(file, ApiClient::kMaxMessageBytes);
    if (auto* error = std::get_if<InputError>(&text)) {
        return std::move(*error);
    }
    return input_parse(std::get<std::string>(text));
}
