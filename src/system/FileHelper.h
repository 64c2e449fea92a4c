// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// FileHelper: a syslog configuration file in two parts. The lines in front of "# APISYSLOG-TAG" are fixed, those behind
// it are the rules of the API, and every rule keeps private authentication messages out.
// Owns:   copies of all lines. Arguments are never null.
// Blocks: as long as the disk does.
// Units:  a line read is cut to 255 characters, each word of a rule that is rewritten to 127.
class FileHelper {
  public:
    FileHelper();
    ~FileHelper();
    FileHelper(const FileHelper&) = delete;
    FileHelper& operator=(const FileHelper&) = delete;

    // Adds the lines of the file under their numbers, the rules under numbers of their own; both begin at "1". A line
    // that is there under the same number is replaced. False when the file cannot be opened.
    [[nodiscard]] bool readFile(const char* path);
    // Writes the fixed lines in the order in which they came, and the rules in the order of their ids as text.
    // False, with a line in the log, when not all could be written; the file is then incomplete.
    [[nodiscard]] bool writeFile(const char* path) const;

    // Both replace the line that is there under the same key.
    void addFileEntry(std::string key, std::string line);
    void addRuleEntry(std::string id, std::string line);
    // Both answer 1, or 0 when there is no such rule.
    [[nodiscard]] int replaceRuleEntry(const char* id, const char* line);
    // Fills at most `size` bytes with the line, cut and terminated; not touched when there is no such rule.
    [[nodiscard]] int getRuleById(const char* id, char* out, int size) const;
    void deleteRuleEntry(const char* id);
    [[nodiscard]] std::size_t ruleMapSize() const { return m_rules.size(); }
    // Writes all lines to the log.
    void dumpFileMap() const;

  private:
    // A file may have many lines: the index keeps adding them cheap.
    std::vector<std::pair<std::string, std::string>> m_file_lines;
    std::map<std::string, std::size_t, std::less<>> m_file_index;
    std::map<std::string, std::string, std::less<>> m_rules;
};
