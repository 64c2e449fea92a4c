// SPDX-License-Identifier: MIT

#pragma once

#include "src/base/owners.h"
#include "src/rest/BasePathHandler.h"
#include "src/rest/ConfigWriter.h"

// TestObject: an object with a fixed set of attributes, "/example/test".
// Shows "a", "b" and "c" as the keys of these names below "ram.system.test" are, null for one without a value, and
// follows them from the first request on.
// Threads: loop thread only.
// Errors:  an update answers 400 for a bad body and writes nothing then, 500 when the bus is out of reach.
class TestObject : public BasePathHandler, private WriteCallback {
  public:
    ~TestObject() override;

    void readOperation(HabRequest* request) override;
    void updateOperation(HabRequest* request) override;
    void initSubPathHandlers(ApiControllerInterface* controller) override;
    void onConfigChange(unsigned int count, const config_data_t* data) override;

  private:
    void onConfigWritten(unsigned int count, const config_data_t* data) override;

    void init();
    void initOnce();
    // Takes the entries over and tells the subscribers what changed, unless this is the initial state.
    void updateFromConfig(unsigned int count, const config_data_t* data, bool initial);
    // Whether the attribute has another value than before.
    bool replaceAttribute(const char* attribute, const config_data_t& entry);
    // The status of the answer.
    [[nodiscard]] StatusCode::Value writeAttributes(const cJSON* body);

    JsonPtr m_json;  // null until the first request
};
