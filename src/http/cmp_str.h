// SPDX-License-Identifier: MIT

#pragma once

#include <cstring>

#include "runtime/c_owner.h"

// cmp_str: the order of every table whose keys are C strings, that of strcmp. Several outputs are lists in
// table order, so the order is a promise to clients. Keys may be bare pointers or owned texts; tables of
// owned texts are searched with a bare pointer, without a copy. Neither side may be null.
struct cmp_str {
    using is_transparent = void;

    bool operator()(const auto& left, const auto& right) const {
        return std::strcmp(text(left), text(right)) < 0;
    }

  private:
    static const char* text(const char* key) { return key; }
    static const char* text(const MallocedText& key) { return key.get(); }
};
