// SPDX-License-Identifier: MIT

#pragma once

#include <sys/types.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

// Program: one real program of the unit as a child process, its output in a file. The destructor kills it.
class Program {
  public:
    // Starts `path` with the arguments and, besides our own environment, `environment`.
    Program(const std::string& path, const std::vector<std::string>& arguments,
            const std::map<std::string, std::string>& environment, const std::string& output_path);
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;
    ~Program();

    [[nodiscard]] pid_t pid() const { return m_pid; }
    [[nodiscard]] bool isRunning();
    // What it has written to standard output and standard error so far.
    [[nodiscard]] std::string output() const;
    // Waits until the output contains `text`; false after ten seconds or at the program's end.
    [[nodiscard]] bool awaitOutput(const std::string& text);

    [[nodiscard]] long openDescriptors() const;
    // The same once it has noticed the end of earlier connections: when the number stays for 200 ms.
    [[nodiscard]] long settledDescriptors() const;
    // The processor time that it has used.
    [[nodiscard]] long usedMs() const;

    void signal(int number) const;
    // Waits for its end, at most ten seconds; the status as waitpid() gives it, nothing when it still runs.
    [[nodiscard]] std::optional<int> awaitEnd();

  private:
    bool reap(int options);

    pid_t m_pid = -1;
    std::optional<int> m_status;
    std::string m_output_path;
};
