// SPDX-License-Identifier: MIT

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <ctime>

// Stands in front of the C library in the programs that MovedClock.h is for.

namespace {

// Null when there is no file: the clock is the kernel's then.
const int64_t* shared_seconds() {
    const char* const path = getenv("MOVED_CLOCK");
    const int file = path != nullptr ? open(path, O_RDONLY | O_CLOEXEC) : -1;
    if (file < 0) {
        return nullptr;
    }
    void* const shared = mmap(nullptr, sizeof(int64_t), PROT_READ, MAP_SHARED, file, 0);
    close(file);
    return shared != MAP_FAILED ? static_cast<const int64_t*>(shared) : nullptr;
}

int64_t moved_seconds() {
    static const int64_t* const seconds = shared_seconds();
    return seconds != nullptr ? __atomic_load_n(seconds, __ATOMIC_SEQ_CST) : 0;
}

}  // namespace

extern "C" int clock_gettime(clockid_t clock, timespec* out) noexcept {
    const auto result = static_cast<int>(syscall(SYS_clock_gettime, clock, out));
    if (result == 0 && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE)) {
        out->tv_sec += moved_seconds();
    }
    return result;
}

extern "C" int gettimeofday(timeval* out, void* zone) noexcept {
    const auto result = static_cast<int>(syscall(SYS_gettimeofday, out, zone));
    if (result == 0) {
        out->tv_sec += moved_seconds();
    }
    return result;
}

extern "C" time_t time(time_t* out) noexcept {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (out != nullptr) {
        *out = now.tv_sec;
    }
    return now.tv_sec;
}
