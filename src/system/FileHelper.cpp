// SPDX-License-Identifier: MIT

#include "src/system/FileHelper.h"

#include <algorithm>
#include <fstream>
#include <limits>
#include <sstream>

#include "runtime/logging.h"
#include "runtime/px_console.h"

namespace {

constexpr const char* kModule = "src/FileHelper";

constexpr const char* kMarker = "# APISYSLOG-TAG";
constexpr const char* kExclusion = ";authpriv.none";
constexpr std::size_t kMaxLine = 255;
constexpr std::size_t kMaxWord = 127;
constexpr std::size_t kMinRule = 2;

// False at the end of the file. What a line has beyond the limit is passed over.
bool read_line(std::istream& file, std::string& line) {
    char buffer[kMaxLine + 1];
    file.getline(buffer, sizeof buffer);
    if (file.gcount() == 0) {
        return false;
    }
    line = buffer;
    if (file.fail() && !file.bad() && !file.eof()) {
        file.clear();
        file.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    }
    return true;
}

// The rule with private authentication messages kept out. A line without two words is no rule, and stays.
std::string without_authpriv(const std::string& line) {
    std::string selector;
    std::string action;
    std::istringstream words(line);
    if (!(words >> selector >> action) || selector.find(kExclusion) != std::string::npos) {
        return line;
    }
    return selector.substr(0, kMaxWord) + kExclusion + " \t " + action.substr(0, kMaxWord);
}

}  // namespace

FileHelper::FileHelper() {
    logger_function(7, kModule, "FileHelper() Constructor");
}

FileHelper::~FileHelper() {
    logger_function(7, kModule, "fileMap Destructor, size =%d", static_cast<int>(m_file_lines.size()));
    logger_function(7, kModule, "ruleMap Destructor, size =%d", static_cast<int>(m_rules.size()));
}

bool FileHelper::readFile(const char* path) {
    logger_function(6, kModule, "readfile %s", path);
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        logger_function(4, kModule, "readfile %s failed", path);
        return false;
    }
    std::string line;
    for (int number = 1; read_line(file, line) && line != kMarker; ++number) {
        addFileEntry(std::to_string(number), line);
    }
    int number = 1;
    while (read_line(file, line)) {
        if (line.size() >= kMinRule) {
            addRuleEntry(std::to_string(number++), without_authpriv(line));
        }
    }
    return true;
}

bool FileHelper::writeFile(const char* path) const {
    // Flushed line by line: a process that ends in the middle leaves whole lines behind.
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    for (const auto& [key, line] : m_file_lines) {
        file << line << std::endl;
    }
    file << kMarker << std::endl;
    for (const auto& [id, line] : m_rules) {
        file << line << std::endl;
    }
    file.close();
    if (!file) {
        logger_function(3, kModule, "writefile %s failed", path);
    }
    return static_cast<bool>(file);
}

void FileHelper::addFileEntry(std::string key, std::string line) {
    const auto [place, is_new] = m_file_index.try_emplace(key, m_file_lines.size());
    if (is_new) {
        m_file_lines.emplace_back(std::move(key), std::move(line));
    } else {
        m_file_lines[place->second].second = std::move(line);
    }
}

void FileHelper::addRuleEntry(std::string id, std::string line) {
    m_rules.insert_or_assign(std::move(id), std::move(line));
}

int FileHelper::replaceRuleEntry(const char* id, const char* line) {
    const auto found = m_rules.find(id);
    if (found == m_rules.end()) {
        logger_function(4, kModule, "replaceRuleEntry, id_str=%s, NOT FOUND", id);
        return 0;
    }
    found->second = line;
    return 1;
}

int FileHelper::getRuleById(const char* id, char* out, int size) const {
    // The line ends behind the "=": log readers have never been told what is looked for.
    logger_function(6, kModule, "FileHelper::getRuleById: Search pattern =");
    const auto found = m_rules.find(id);
    if (found == m_rules.end()) {
        return 0;
    }
    px_snprintf(out, static_cast<std::size_t>(std::max(size, 0)), "%s", found->second.c_str());
    return 1;
}

void FileHelper::deleteRuleEntry(const char* id) {
    if (const auto found = m_rules.find(id); found != m_rules.end()) {
        m_rules.erase(found);
    }
}

// The bracket behind "Content" has no partner; log readers split the line there.
void FileHelper::dumpFileMap() const {
    logger_function(7, kModule, "FileMap: size = %d", static_cast<int>(m_file_lines.size()));
    for (const auto& [key, line] : m_file_lines) {
        logger_function(7, kModule, "dumpFileMap [%s] Content) [%s]", key.c_str(), line.c_str());
    }
    logger_function(7, kModule, "RuleMap: size = %d", static_cast<int>(m_rules.size()));
    for (const auto& [id, line] : m_rules) {
        logger_function(7, kModule, "dumpRuleMap [%s] Content) [%s]", id.c_str(), line.c_str());
    }
}
