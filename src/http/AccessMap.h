// SPDX-License-Identifier: MIT

#pragma once

#include <regex.h>

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "runtime/c_owner.h"

class HabSession;
struct cJSON;

// AccessMap: the access level that a session needs for a URI and a method, read once from accessmap.json.
// Owns:      the compiled expressions.
// Threads:   loop thread only.
// Errors:    a file that cannot be read is logged and leaves every URI closed.
class AccessMap {
  public:
    // The one instance, read on the first call from the directory of the web application, or from the
    // configuration directory when the web application has none. It lives as long as the process.
    static AccessMap* getInstance();

    AccessMap();
    // Reads <directory>/accessmap.json.
    explicit AccessMap(const char* directory);
    AccessMap(const AccessMap&) = delete;
    AccessMap& operator=(const AccessMap&) = delete;
    ~AccessMap();

    // The highest level of all rules that match, the largest int (closed to everyone) when there is none.
    // The method may be in either case; neither argument may be null.
    [[nodiscard]] int getAccessLevel(const char* uri, const char* method) const;
    // A null session may read what needs level 0.
    [[nodiscard]] bool mayRead(const char* uri, const HabSession* session) const;

  private:
    struct Expression;
    struct Rule {
        const Expression* expression;
        int level;
    };
    using Table = std::vector<Rule>;  // highest level first

    void load(const char* directory);
    void addRules(const cJSON* member);

    static AccessMap* m_map;

    std::vector<std::unique_ptr<Expression>> m_expressions;  // each shared by the tables of its file entry
    std::array<Table, 4> m_tables;                           // GET, PUT, POST, DELETE
};
