// SPDX-License-Identifier: MIT

#pragma once

#include <string>

#include "ExampleFixture.h"

// DynamicFixture: the dynamic collection and its keys.
class DynamicFixture : public ExampleFixture {
  protected:
    static constexpr const char* kUri = "/example/test/dynamic";

    // "5.abc" is "ram.system.test.dynamic.5.abc".
    static std::string key(const std::string& end) { return "ram.system.test.dynamic." + end; }

    std::string list() { return get(kUri).json; }
    int create(const std::string& payload) { return post(kUri, payload); }
    Answer entry(const std::string& id) { return get(std::string(kUri) + "/" + id); }
    int putEntry(const std::string& id, const std::string& payload) {
        return put(std::string(kUri) + "/" + id, payload);
    }
    int removeEntry(const std::string& id) { return remove(std::string(kUri) + "/" + id); }
};
