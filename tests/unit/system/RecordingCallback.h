// SPDX-License-Identifier: MIT

#pragma once

#include <functional>
#include <string>
#include <vector>

#include "src/system/Process.h"

// RecordingCallback: what a process has told, each as "exited 3".
class RecordingCallback : public Process::Callback {
  public:
    void exited(int code) override { note("exited " + std::to_string(code)); }
    void terminated(int signal) override { note("terminated " + std::to_string(signal)); }
    void stopped(int signal) override { note("stopped " + std::to_string(signal)); }
    void continued() override { note("continued"); }

    [[nodiscard]] const std::vector<std::string>& told() const { return m_told; }

    std::function<void(const std::string&)> then = [](const std::string&) {};

  private:
    void note(const std::string& event) {
        m_told.push_back(event);
        then(event);
    }

    std::vector<std::string> m_told;
};
