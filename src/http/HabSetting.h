// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <utility>
#include <vector>

#include "src/http/HabHandler.h"

// HabHandler::Setting: the values behind one pattern of dotted keys.
// Borrows: its validators; they outlive it.
// Threads: loop thread only.
//
// A pattern matches a key segment by segment, and both end together. A segment "*" takes any segment; one of
// digits, "-" and "," is a list of numbers and ranges ("1-3,7-"); any other must be equal.
class HabHandler::Setting {
  public:
    explicit Setting(std::string pattern) : m_pattern(std::move(pattern)) {}
    Setting(const Setting&) = delete;
    Setting& operator=(const Setting&) = delete;

    // 0 on success. read() adds the key's value to result; write() applies an item named by its key.
    virtual int read(const std::string& key, cJSON* result) = 0;
    virtual int write(const cJSON* item) = 0;
    virtual int addnotif(const cJSON* item);
    virtual int delnotif(const cJSON* item);
    virtual ~Setting() = default;

    void addValidator(Validator* validator) { m_validators.push_back(validator); }
    [[nodiscard]] bool match(const char* key) const;
    // -1 when every validator passes, otherwise the length of the first failing one's message, which is written
    // into `message` (Validator::kMessageSize bytes).
    int validate(const cJSON* item, char* message) const;

    // The index-th segment of the key, empty when there is none.
    static std::string subKey(const std::string& key, int index);

  private:
    std::string m_pattern;
    std::vector<Validator*> m_validators;
};
