// SPDX-License-Identifier: MIT

#include "src/http/AccessMap.h"

#include <strings.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <utility>

#include <cjson/cJSON.h>

#include "runtime/logging.h"
#include "src/base/owners.h"
#include "src/base/printable_text.h"
#include "src/http/HabConfig.h"
#include "src/http/HabSession.h"
#include "src/http/habhelper.h"

namespace {

constexpr const char* kModule = "src/AccessMap";
constexpr size_t kFileNameSize = 200;
constexpr int kClosed = INT_MAX;  // no session reaches it

struct Method {
    const char* upper;
    const char* lower;
};
constexpr std::array<Method, 4> kMethods = {
    {{"GET", "get"}, {"PUT", "put"}, {"POST", "post"}, {"DELETE", "delete"}}};

const char* rules_directory() {
    const char* path = HabConfig::getInstance()->getWebAppPath();
    if (path == nullptr || path[0] == '\0') {
        path = HabConfig::getInstance()->getConfigBase();
        logger_function(7, kModule, "path set to %s", path);
    }
    return path;
}

// The characters that every match of the name begins with: a cheap test that spares the expression for most
// rules of a large file. Nothing can be said in advance of a name with alternatives.
std::string literal_prefix(std::string_view name) {
    if (name.find('|') != std::string_view::npos) {
        return {};
    }
    name.remove_prefix(name.starts_with('^') ? 1 : 0);
    const size_t end = std::min(name.find_first_of("^$.[]()*+?{}\\"), name.size());
    const bool isRepeated = end < name.size() && std::strchr("*+?{", name[end]) != nullptr;
    return std::string(name.substr(0, isRepeated && end > 0 ? end - 1 : end));
}

}  // namespace

AccessMap* AccessMap::m_map = nullptr;

struct AccessMap::Expression {
    explicit Expression(const char* name)
        : prefix(literal_prefix(name)),
          isValid(regcomp(&regex, ("^" + std::string(name)).c_str(), REG_EXTENDED) == 0) {}
    Expression(const Expression&) = delete;
    Expression& operator=(const Expression&) = delete;
    ~Expression() {
        if (isValid) {
            regfree(&regex);
        }
    }

    // A match that fails for want of memory counts as one: in doubt the URI keeps its level.
    [[nodiscard]] bool matches(const char* uri) const {
        return std::strncmp(uri, prefix.c_str(), prefix.size()) == 0 &&
               regexec(&regex, uri, 0, nullptr, 0) != REG_NOMATCH;
    }

    std::string prefix;
    regex_t regex{};
    bool isValid;
};

AccessMap* AccessMap::getInstance() {
    if (m_map == nullptr) {
        m_map = new AccessMap();
    }
    return m_map;
}

AccessMap::AccessMap() {
    logger_function(7, kModule, "AccessMap::AccessMap()");
    load(rules_directory());
}

AccessMap::AccessMap(const char* directory) {
    logger_function(7, kModule, "AccessMap::AccessMap()");
    load(directory);
}

AccessMap::~AccessMap() = default;

void AccessMap::load(const char* directory) {
    char fileName[kFileNameSize];
    std::snprintf(fileName, sizeof(fileName), "%s/accessmap.json", directory);
    const JsonPtr document(loadJsonFile(fileName, false));
    if (!cJSON_IsObject(document.get())) {
        logger_function(3, kModule, "AccessMap::AccessMap() - could not open accessmap file!");
        return;
    }
    for (const cJSON* member = document->child; member != nullptr; member = member->next) {
        addRules(member);
    }
    // The most demanding rule decides, so that the first match of a table is its answer.
    for (Table& table : m_tables) {
        std::ranges::stable_sort(table, std::ranges::greater(), &Rule::level);
    }
}

void AccessMap::addRules(const cJSON* member) {
    auto expression = std::make_unique<Expression>(member->string);
    if (!expression->isValid) {
        return;
    }
    for (size_t i = 0; i < kMethods.size(); ++i) {
        const cJSON* level = cJSON_GetObjectItemCaseSensitive(member, kMethods[i].upper);
        if (level == nullptr) {
            level = cJSON_GetObjectItemCaseSensitive(member, kMethods[i].lower);
        }
        if (level != nullptr) {
            // A level that is no number opens nothing.
            m_tables[i].push_back({expression.get(), cJSON_IsNumber(level) ? level->valueint : kClosed});
        }
    }
    m_expressions.push_back(std::move(expression));
}

int AccessMap::getAccessLevel(const char* uri, const char* method) const {
    const auto isMethod = [method](const Method& m) { return strcasecmp(method, m.upper) == 0; };
    const auto found = std::ranges::find_if(kMethods, isMethod);
    if (found == kMethods.end()) {
        return kClosed;
    }
    const Table& table = m_tables[static_cast<size_t>(found - kMethods.begin())];
    const auto rule =
        std::ranges::find_if(table, [uri](const Rule& r) { return r.expression->matches(uri); });
    // A level below zero is no level: such a rule alone leaves the URI closed.
    const int required = rule == table.end() || rule->level < 0 ? kClosed : rule->level;
    logger_function(7, kModule, "getAccessLevel(%s) method=%s, requiredAccessLevel=%d",
                    text_for_log(uri).c_str(), method, required);
    return required;
}

bool AccessMap::mayRead(const char* uri, const HabSession* session) const {
    const int level = getAccessLevel(uri, "get");
    if (level < 0) {
        logger_function(7, kModule, "mayRead(%s) Access denied, no access level defined.",
                        text_for_log(uri).c_str());
        return false;
    }
    if (level == 0) {
        logger_function(7, kModule, "mayRead(%s) Access granted, access level is 0.",
                        text_for_log(uri).c_str());
        return true;
    }
    if (session == nullptr) {
        return false;
    }
    const char* id = session->sessionId();
    const bool granted = level <= session->getAccessLevel();
    logger_function(7, kModule, "mayRead(%s) Access %s, for session id=%s with accessLevel=%d.",
                    text_for_log(uri).c_str(), granted ? "granted" : "denied", id == nullptr ? "(null)" : id,
                    session->getAccessLevel());
    return granted;
}
