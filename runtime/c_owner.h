// SPDX-License-Identifier: MIT

#pragma once

#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <utility>

// Owners of things that C libraries and the kernel hand out: wrap them on the line that creates them.
// src/base/owners.h adds the types of the libraries that only the upper layers know.

template <auto Free>
struct FreeWith {
    void operator()(auto* p) const noexcept { Free(p); }
};

template <class T, auto Free>
using COwned = std::unique_ptr<T, FreeWith<Free>>;

// Anything from malloc, calloc, realloc or strdup.
template <class T>
using Malloced = COwned<T, std::free>;
using MallocedText = Malloced<char>;

// UniqueFd: a file descriptor that is closed exactly once; -1 means none.
class UniqueFd {
  public:
    UniqueFd() noexcept = default;
    explicit UniqueFd(int fd) noexcept : m_fd(fd) {}
    UniqueFd(UniqueFd&& other) noexcept : m_fd(other.release()) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept {
        reset(other.release());
        return *this;
    }
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;
    ~UniqueFd() { reset(); }

    [[nodiscard]] int get() const noexcept { return m_fd; }
    [[nodiscard]] bool valid() const noexcept { return m_fd >= 0; }
    // Gives the descriptor away: the caller closes it.
    [[nodiscard]] int release() noexcept { return std::exchange(m_fd, -1); }
    void reset(int fd = -1) noexcept {
        const int old = std::exchange(m_fd, fd);
        if (old >= 0 && old != fd) {
            ::close(old);
        }
    }

  private:
    int m_fd = -1;
};
