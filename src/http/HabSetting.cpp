// SPDX-License-Identifier: MIT

#include "src/http/HabSetting.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "src/http/HabValidator.h"

namespace {

using Number = unsigned long long;

constexpr const char* kDigits = "0123456789";

std::vector<std::string> splitAt(const std::string& text, char separator) {
    std::vector<std::string> pieces;
    std::size_t from = 0;
    for (std::size_t to; (to = text.find(separator, from)) != std::string::npos; from = to + 1) {
        pieces.push_back(text.substr(from, to - from));
    }
    pieces.push_back(text.substr(from));
    return pieces;
}

// A number too large for the type stays at its end, above every limit that can be written.
Number toNumber(const std::string& digits, Number whenEmpty) {
    return digits.empty() ? whenEmpty : std::strtoull(digits.c_str(), nullptr, 10);
}

// An item without "-" is that number alone.
bool isInItem(Number value, const std::string& item) {
    const std::size_t dash = item.find('-');
    const std::string upper = dash == std::string::npos ? item : item.substr(dash + 1);
    if (item.empty() || upper.find('-') != std::string::npos) {
        return false;
    }
    return value >= toNumber(item.substr(0, dash), 0) &&
           value <= toNumber(upper, std::numeric_limits<Number>::max());
}

bool isInList(const std::string& segment, const std::string& list) {
    if (segment.empty() || segment.find_first_not_of(kDigits) != std::string::npos) {
        return false;
    }
    const Number value = toNumber(segment, 0);
    const std::vector<std::string> items = splitAt(list, ',');
    return std::any_of(items.begin(), items.end(),
                       [value](const std::string& item) { return isInItem(value, item); });
}

bool matchSegment(const std::string& pattern, const std::string& segment) {
    if (pattern == "*") {
        return true;
    }
    const bool isList = !pattern.empty() && pattern.find_first_not_of("0123456789-,") == std::string::npos;
    return isList ? isInList(segment, pattern) : pattern == segment;
}

}  // namespace

int HabHandler::Setting::addnotif(const cJSON* /*item*/) {
    return 0;
}

int HabHandler::Setting::delnotif(const cJSON* /*item*/) {
    return 0;
}

bool HabHandler::Setting::match(const char* key) const {
    const std::vector<std::string> patterns = splitAt(m_pattern, '.');
    const std::vector<std::string> segments = splitAt(key, '.');
    return std::equal(patterns.begin(), patterns.end(), segments.begin(), segments.end(), matchSegment);
}

int HabHandler::Setting::validate(const cJSON* item, char* message) const {
    for (Validator* validator : m_validators) {
        if (!validator->validate(item)) {
            return validator->getError(message);
        }
    }
    return -1;
}

std::string HabHandler::Setting::subKey(const std::string& key, int index) {
    const std::vector<std::string> segments = splitAt(key, '.');
    const auto at = static_cast<std::size_t>(index);
    return index >= 0 && at < segments.size() ? segments[at] : std::string();
}
