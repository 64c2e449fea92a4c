// SPDX-License-Identifier: MIT

#include "tests/support/MovedClock.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>

#include "gtest/gtest.h"
#include "runtime/c_owner.h"

MovedClock::MovedClock(const std::string& directory) {
    const std::string path = directory + "/moved_clock";
    const UniqueFd file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    EXPECT_EQ(ftruncate(file.get(), sizeof *m_seconds), 0);
    void* const shared = mmap(nullptr, sizeof *m_seconds, PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
    EXPECT_NE(shared, MAP_FAILED);
    m_seconds = static_cast<int64_t*>(shared);
    setenv("MOVED_CLOCK", path.c_str(), 1);
    setenv("LD_PRELOAD", MOVED_CLOCK_LIBRARY, 1);
    // The address sanitizer wants to be the first library otherwise; this one does nothing that it looks at.
    setenv("ASAN_OPTIONS", "verify_asan_link_order=0", 1);
}

MovedClock::~MovedClock() {
    for (const char* name : {"MOVED_CLOCK", "LD_PRELOAD", "ASAN_OPTIONS"}) {
        unsetenv(name);
    }
    munmap(m_seconds, sizeof *m_seconds);
}

void MovedClock::set(int64_t seconds) {
    __atomic_store_n(m_seconds, seconds, __ATOMIC_SEQ_CST);
}
