// SPDX-License-Identifier: MIT

#pragma once

#include <optional>
#include <string_view>

#include "src/http/HabConfig.h"
#include "tests/support/TempDirectory.h"

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
