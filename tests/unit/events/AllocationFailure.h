// SPDX-License-Identifier: MIT

#pragma once

// AllocationFailure: while one lives, array allocations that may fail without an exception do, all but the first
// `granted`. Others are not touched.
class AllocationFailure {
  public:
    explicit AllocationFailure(int granted);
    ~AllocationFailure();
    AllocationFailure(const AllocationFailure&) = delete;
    AllocationFailure& operator=(const AllocationFailure&) = delete;
};
