// SPDX-License-Identifier: MIT

#pragma once

// FailingAllocation: an allocation that throws std::bad_alloc. For the child of a death test: it is the next one of any
// thread.
namespace failing_allocation {

// Of the allocations of single objects from now on, the first `granted` succeed, and the one after them does not.
void throw_after(int granted);

}  // namespace failing_allocation
