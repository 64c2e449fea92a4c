// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

#include "src/base/owners.h"
#include "src/rest/BasePathHandler.h"

// OemWarning: the one event that an integrator raises and clears, with a number of its choice,
// "/system/user-events/oem-warning". It is the state as clients have asked for it, kept in memory: after a restart it
// is OFF.
// Threads: loop thread only.
// Errors:  an update answers 400 for a bad body, and 400 or 409 when it changes nothing. One that changes something
//          stops the process without a bus connection (setEventConnection).
class OemWarning : public BasePathHandler {
  public:
    ~OemWarning() override;

    void readOperation(HabRequest* request) override;
    void updateOperation(HabRequest* request) override;

    // Makes the object unless there is one.
    void init();

  private:
    // What one part of an update did, and the answer if nothing else did anything.
    struct Step {
        bool is_changed;
        StatusCode::Value status;
    };
    [[nodiscard]] Step updateInfo(uint32_t info);
    [[nodiscard]] Step updateState(const cJSON* body, StatusCode::Value otherwise);
    void replaceNumber(const char* attribute, int64_t number);
    [[nodiscard]] bool isOn() const;
    [[nodiscard]] uint32_t storedInfo() const;
    void report() const;

    JsonPtr m_json;  // null until the first request
};
