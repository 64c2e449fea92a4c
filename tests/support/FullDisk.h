// SPDX-License-Identifier: MIT

#pragma once

#include <sys/resource.h>
#include <sys/types.h>

#include <csignal>

// FullDisk: while it lives, the files of a process (0 is this one) do not grow beyond a size: as on a full disk.
class FullDisk {
  public:
    explicit FullDisk(rlim_t file_bytes = 0, pid_t process = 0) : m_process(process) {
        signal(SIGXFSZ, SIG_IGN);
        prlimit(m_process, RLIMIT_FSIZE, nullptr, &m_before);
        const rlimit limit{file_bytes, m_before.rlim_max};
        prlimit(m_process, RLIMIT_FSIZE, &limit, nullptr);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;
    ~FullDisk() { prlimit(m_process, RLIMIT_FSIZE, &m_before, nullptr); }

  private:
    pid_t m_process;
    rlimit m_before{};
};
