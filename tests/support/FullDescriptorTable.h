// SPDX-License-Identifier: MIT

#pragma once

#include <fcntl.h>
#include <sys/resource.h>

#include "runtime/c_owner.h"

// FullDescriptorTable: as long as it lives, the process cannot open another descriptor.
class FullDescriptorTable {
  public:
    FullDescriptorTable() {
        getrlimit(RLIMIT_NOFILE, &m_before);
        const UniqueFd next(open("/dev/null", O_RDONLY | O_CLOEXEC));
        const rlimit full{static_cast<rlim_t>(next.get()), m_before.rlim_max};
        setrlimit(RLIMIT_NOFILE, &full);
    }
    FullDescriptorTable(const FullDescriptorTable&) = delete;
    FullDescriptorTable& operator=(const FullDescriptorTable&) = delete;
    ~FullDescriptorTable() { setrlimit(RLIMIT_NOFILE, &m_before); }

  private:
    rlimit m_before{};
};
