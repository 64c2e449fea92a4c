// SPDX-License-Identifier: MIT

#include "device/diagd/config_trees.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <span>
#include <string>
#include <string_view>

#include "config_client/config_client_api.h"
#include "runtime/c_owner.h"

namespace {

constexpr const char* kTrees[] = {"cfg", "txt", "ram", "dyn"};
constexpr int kMaxComponents = 16;  // of the keys that are asked for
constexpr size_t kMaxValueBytes = 4096;
constexpr size_t kMaxTreeBytes = size_t{1} << 20;

// A "*" stands for one component: each depth has a pattern of its own.
std::string pattern_of(const std::string& tree) {
    std::string depths;
    std::string depth = "*";
    for (int i = 1; i < kMaxComponents; ++i) {
        depths += (i > 1 ? "|" : "") + depth;
        depth += ".*";
    }
    return tree + ".(" + depths + ")";
}

// Each key stays one line, whatever its text holds.
std::string quoted(std::string_view text) {
    std::string line;
    for (const char c : text.substr(0, kMaxValueBytes)) {
        char escape[8];
        if (static_cast<unsigned char>(c) < ' ' || c == '\\') {
            snprintf(escape, sizeof escape, "\\x%02x", static_cast<unsigned char>(c));
            line += escape;
        } else {
            line += c;
        }
    }
    return text.size() > kMaxValueBytes ? line + "..." : line;
}

std::string value_text(const config_data_t& element) {
    const auto* const bytes = static_cast<const char*>(element.value);
    if (element.type == CONFIG_TYPE_INT && element.length == sizeof(int32_t)) {
        int32_t value = 0;
        memcpy(&value, bytes, sizeof value);
        return std::to_string(value);
    }
    if (element.type == CONFIG_TYPE_STRING && element.length > 0) {
        return quoted({bytes, strnlen(bytes, element.length)});
    }
    return "(type " + std::to_string(element.type) + ", " + std::to_string(element.length) + " bytes)";
}

void add_tree(Report& report, const std::string& tree) {
    const std::string name = "config/" + tree + ".txt";
    unsigned int count = 0;
    config_data_t* found = nullptr;
    const int result = config_readm(pattern_of(tree).c_str(), &count, &found);
    const Malloced<config_data_t> elements(found);
    if (result != CONFIG_OK || count == 0) {
        report.note(name,
                    result != CONFIG_OK ? "the database does not answer" : "the database gives no keys");
        return;
    }
    std::string text;
    for (const config_data_t& element : std::span(found, count)) {
        if (text.size() > kMaxTreeBytes) {
            report.note(name, "cut, from " + std::string(element.key) + " on");
            break;
        }
        text.append(element.key).append(" = ").append(value_text(element)).append("\n");
    }
    report.add(name, std::move(text));
}

}  // namespace

void report_add_configuration(Report& report) {
    for (const char* tree : kTrees) {
        add_tree(report, tree);
    }
}
