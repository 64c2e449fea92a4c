// SPDX-License-Identifier: MIT

#include "src/base/options.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace common {

namespace {

// One part more than there are separators, so an empty text is one empty part.
std::vector<std::string> split_at(const std::string& text, char separator) {
    std::vector<std::string> parts(1);
    for (const char c : text) {
        if (c == separator) {
            parts.emplace_back();
        } else {
            parts.back() += c;
        }
    }
    return parts;
}

}  // namespace

Options::Grammar Options::parse(const std::string& grammar) {
    Grammar result;
    for (const std::string& item : split_at(grammar, ',')) {
        const std::size_t colon = item.find(':');
        if (colon == std::string::npos || colon + 1 == item.size()) {
            result[item.substr(0, colon)] = colon != std::string::npos;
        }
    }
    return result;
}

Options Options::extract(const std::string& grammar, int& argc, char** argv) {
    const Grammar known = parse(grammar);
    Options result;
    int i = 0;
    while (i < argc && argv[i] != nullptr) {
        const int taken = result.take(known, argc - i, argv + i);
        if (taken == 0) {
            ++i;
            continue;
        }
        std::copy(argv + i + taken, argv + argc, argv + i);
        argc -= taken;
        argv[argc] = nullptr;
    }
    return result;
}

// Records the option that arguments[0] names; answers how many of the `left` arguments it consists of, 0 for none.
int Options::take(const Grammar& grammar, int left, char* const* arguments) {
    const char* argument = arguments[0];
    if (std::strlen(argument) < 2 || argument[0] != '-') {
        return 0;
    }
    const std::vector<std::string> parts = split_at(argument + (argument[1] == '-' ? 2 : 1), '=');
    const auto option = grammar.find(parts[0]);
    if (option == grammar.end()) {
        return 0;
    }
    const bool takes_value = option->second;
    if (parts.size() == (takes_value ? 2U : 1U)) {
        put(parts[0], takes_value ? parts[1] : "");
        return 1;
    }
    const bool value_follows = left > 1 && arguments[1] != nullptr && arguments[1][0] != '-';
    if (takes_value && parts.size() == 1 && value_follows) {
        put(parts[0], arguments[1]);
        return 2;
    }
    return 0;
}

void Options::put(const std::string& name, const std::string& value) {
    m_values[name] = value;
}

std::string Options::get(const std::string& name) const {
    const auto found = m_values.find(name);
    return found == m_values.end() ? std::string() : found->second;
}

bool Options::contains(const std::string& name) const {
    return m_values.count(name) != 0;
}

void Options::clear() {
    m_values.clear();
}

std::string Options::toString() const {
    std::string text = "{ ";
    const char* separator = "";
    for (const auto& [name, value] : m_values) {
        text += separator + name + " => \"" + value + "\"";
        separator = ", ";
    }
    return text + " }";
}

}  // namespace common
