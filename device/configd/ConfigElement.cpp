// SPDX-License-Identifier: MIT

#include "device/configd/ConfigElement.h"

#include <algorithm>
#include <array>

#include "config_client/config_client_api.h"

namespace {

constexpr size_t kTreeBytes = 4;
constexpr uint32_t kMaxType = 255;  // vector messages carry it in one byte

bool is_printable(char c) {
    return c > ' ' && c <= '~';
}

bool value_fits_its_type(const ConfigValue& value) {
    switch (value.type) {
        case CONFIG_TYPE_NONE:
            return true;
        case CONFIG_TYPE_STRING:  // readers rely on the NUL; a null text comes without any byte
            return value.data.empty() || value.data.back() == '\0';
        case CONFIG_TYPE_INT:
            return value.data.size() == sizeof(int32_t);
        default:
            return value.type <= kMaxType;
    }
}

}  // namespace

bool config_text_is_key(std::string_view text) {
    return text.size() <= kMaxKeyBytes && std::ranges::all_of(text, is_printable);
}

KeyTree config_key_tree(std::string_view key) {
    struct Tree {
        std::string_view prefix;
        KeyTree tree;
    };
    static constexpr std::array<Tree, 4> kTrees{{{"cfg.", KeyTree::kPersistent},
                                                 {"txt.", KeyTree::kPersistent},
                                                 {"ram.", KeyTree::kVolatile},
                                                 {"dyn.", KeyTree::kVolatile}}};
    const auto* const found = std::ranges::find(kTrees, key.substr(0, kTreeBytes), &Tree::prefix);
    return found != kTrees.end() && key.size() > kTreeBytes ? found->tree : KeyTree::kUnknown;
}

int32_t config_element_check(const ConfigElement& element) {
    if (!config_text_is_key(element.key) || config_key_tree(element.key) == KeyTree::kUnknown) {
        return CONFIG_REFUSED;
    }
    const bool fits = element.value.data.size() <= kMaxValueBytes && value_fits_its_type(element.value);
    return fits ? CONFIG_OK : CONFIG_MISMATCH;
}
