// SPDX-License-Identifier: MIT

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz_check.h"
#include "src/system/FileHelper.h"
#include "tests/support/TempDirectory.h"

namespace {

const TempDirectory& directory() {
    static const TempDirectory files;
    return files;
}

std::string text_of(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// Reads the file and writes it anew.
std::string rewrite(const std::string& path) {
    FileHelper helper;
    fuzz_check(helper.readFile(path.c_str()));
    fuzz_check(helper.writeFile(path.c_str()));
    return text_of(path);
}

constexpr std::string_view kMarker = "# APISYSLOG-TAG\n";

std::vector<std::string_view> lines_of(std::string_view text) {
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        const size_t end = std::min(text.find('\n'), text.size() - 1);
        lines.push_back(text.substr(0, end + 1));
        text.remove_prefix(end + 1);
    }
    return lines;
}

// The fixed lines in their order, the rules sorted: ten and more come in the order of their numbers as text.
std::vector<std::string_view> sorted_rules(std::string_view text) {
    std::vector<std::string_view> lines = lines_of(text);
    const auto marker = std::find(lines.begin(), lines.end(), kMarker);
    fuzz_check(marker != lines.end());
    std::sort(marker, lines.end());
    return lines;
}

}  // namespace

// A syslog configuration of whatever origin: written anew it has its marker and no long fixed line; and once it has
// been read with its rules rewritten and cut, it stays as it is.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string path = directory().write("syslog.conf", {reinterpret_cast<const char*>(data), size});
    rewrite(path);
    const std::string second = rewrite(path);
    const std::string third = rewrite(path);
    fuzz_check(sorted_rules(second) == sorted_rules(third));
    const auto is_long = [](std::string_view line) { return line.size() > 256; };
    fuzz_check(std::ranges::none_of(lines_of(third), is_long));
    return 0;
}
