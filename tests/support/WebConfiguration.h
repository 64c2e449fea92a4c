#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>

#include "src/http/HabConfig.h"

// TempDirectory: an empty directory that goes with this object.
class TempDirectory {
  public:
    TempDirectory() {
        std::string pattern = std::filesystem::temp_directory_path() / "orvaleXXXXXX";
        m_path = mkdtemp(pattern.data()) == nullptr ? "" : pattern;
    }
    ~TempDirectory() { std::filesystem::remove_all(m_path); }
    TempDirectory(const TempDirectory&) = delete;
    TempDirectory& operator=(const TempDirectory&) = delete;

    void write(const std::string& name, std::string_view text) const {
        std::ofstream(m_path + "/" + name, std::ios::binary) << text;
    }
    [[nodiscard]] const char* path() const { return m_path.c_str(); }

  private:
    std::string m_path;
};

// WebConfiguration: the process's configuration while this object lives, read from a directory of its own.
class WebConfiguration {
  public:
    explicit WebConfiguration(std::string_view json) {
        directory.write("configuration.json", json);
        m_config.emplace(directory.path());
        HabConfig::theApplicationConfiguration = &*m_config;
    }
    ~WebConfiguration() { HabConfig::theApplicationConfiguration = m_before; }
    WebConfiguration(const WebConfiguration&) = delete;
    WebConfiguration& operator=(const WebConfiguration&) = delete;

    TempDirectory directory;

  private:
    HabConfig* m_before = HabConfig::theApplicationConfiguration;
    std::optional<HabConfig> m_config;
};
