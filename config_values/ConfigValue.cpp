// SPDX-License-Identifier: MIT

#include "config_values/ConfigValue.h"

#include "config_client/config_client_api.h"

ConfigValue config_value_of_text(const std::string& text) {
    return {CONFIG_TYPE_STRING, std::string(text.c_str(), text.size() + 1)};
}

ConfigValue config_value_of_int(int32_t number) {
    return {CONFIG_TYPE_INT, std::string(reinterpret_cast<const char*>(&number), sizeof number)};
}
