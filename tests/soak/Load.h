// SPDX-License-Identifier: MIT

#pragma once

// Load: one client of the unit, or several that belong together, on a thread of its own.
class Load {
  public:
    Load() = default;
    Load(const Load&) = delete;
    Load& operator=(const Load&) = delete;
    virtual ~Load() = default;

    // One round of what it does, every answer checked. Takes a second or two at most while the unit answers, so that
    // a run ends when it should.
    virtual void step() = 0;
    // Behind the last round: what it has made is taken away, its connections are closed.
    virtual void finish() {}
    // Whether others wait for what it does: it goes on until they have finished.
    [[nodiscard]] virtual bool isSource() const { return false; }
};
