// SPDX-License-Identifier: MIT

#pragma once

// HabTimer: what HabDispatcher::serviceTimers() calls. The dispatcher only borrows timers; they outlive their
// registration.
class HabTimer {
  public:
    virtual void onTime() = 0;
    virtual ~HabTimer() = default;
};
