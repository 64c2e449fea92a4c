// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "src/base/json_helpers.h"
#include "src/http/PushDataHelper.h"

// The words for a helper's queue.

using PushEntryPtr = std::unique_ptr<PushDataHelper::MessageEntry>;

inline PushEntryPtr Message(const std::string& name, const std::string& json = "0") {
    PushEntryPtr entry = std::make_unique<PushDataHelper::MessageEntry>();
    entry->name.reset(strdup(name.c_str()));
    entry->data = json_parse(json);
    return entry;
}

inline bool Enqueue(PushDataHelper& helper, const std::string& name, const std::string& json = "0") {
    PushEntryPtr entry = Message(name, json);
    const bool isAccepted = helper.enqueue(entry.get());
    if (isAccepted) {
        static_cast<void>(entry.release());
    }
    return isAccepted;
}

// The name of the next entry, empty when there is none.
inline std::string Dequeue(PushDataHelper& helper) {
    const PushEntryPtr entry(helper.dequeue());
    return entry != nullptr ? entry->name.get() : "";
}

inline std::vector<std::string> DequeueAll(PushDataHelper& helper) {
    std::vector<std::string> names;
    for (std::string name = Dequeue(helper); !name.empty(); name = Dequeue(helper)) {
        names.push_back(name);
    }
    return names;
}

inline std::string Text(const cJSON* json) {
    const JsonText text(cJSON_PrintUnformatted(json));
    return text ? text.get() : "";
}

// FreedJson: sees what JSON objects are freed while it lives; one thread only.
class FreedJson {
  public:
    FreedJson() {
        freed().clear();
        cJSON_Hooks hooks{Allocate, Free};
        cJSON_InitHooks(&hooks);
    }
    ~FreedJson() { cJSON_InitHooks(nullptr); }
    FreedJson(const FreedJson&) = delete;
    FreedJson& operator=(const FreedJson&) = delete;

    [[nodiscard]] bool has(const void* pointer) const { return freed().count(pointer) == 1; }

  private:
    static std::set<const void*>& freed() {
        static std::set<const void*> pointers;
        return pointers;
    }
    static void* Allocate(std::size_t size) {
        void* pointer = std::malloc(size);
        freed().erase(pointer);
        return pointer;
    }
    static void Free(void* pointer) {
        freed().insert(pointer);
        std::free(pointer);
    }
};
