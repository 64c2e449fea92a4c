// SPDX-License-Identifier: MIT

#include "src/base/ConnectionLimit.h"

#include <algorithm>
#include <map>
#include <string_view>
#include <utility>

#include "runtime/logging.h"

namespace {

constexpr std::size_t kMostNamed = 3;

}  // namespace

void ConnectionLimit::refused(const Peers& peers) {
    if (const unsigned long count = m_line.take(); count > 0) {
        logger_function(4, m_module, "%lu connections refused, as %zu may be open. Most of them: %s\n", count,
                        m_max, busiest_text(peers()).c_str());
    }
}

std::string busiest_text(const std::vector<std::string>& texts) {
    std::map<std::string_view, std::size_t> numbers;
    for (const std::string& text : texts) {
        ++numbers[text];
    }
    std::vector<std::pair<std::string_view, std::size_t>> busiest(numbers.begin(), numbers.end());
    std::ranges::stable_sort(busiest, std::ranges::greater(),
                             &std::pair<std::string_view, std::size_t>::second);
    busiest.resize(std::min(busiest.size(), kMostNamed));
    std::string result;
    for (const auto& [text, number] : busiest) {
        result += (result.empty() ? "" : ", ") + std::string(text) + " (" + std::to_string(number) + ")";
    }
    return result;
}
