// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <type_traits>
#include <utility>

#include "src/base/json_helpers.h"
#include "src/rest/BaseCollection.h"

// How the entries of a collection are released; kCjson says also that they are JSON already.
enum class EntryMemory : std::uint32_t { kDelete = 0, kFree = 1, kCjson = 2 };

template <class T>
struct EntryRelease {
    EntryMemory memory = EntryMemory::kDelete;

    void operator()(T* value) const noexcept {
        if constexpr (std::is_same_v<T, cJSON>) {
            cJSON_Delete(value);
        } else if (memory == EntryMemory::kFree) {
            std::free(value);
        } else {
            delete value;
        }
    }
};

using cmp_str_lessthan = cmp_str;

// BaseCollectionPathHandler: a collection that holds its entries by name and answers reads of them.
// Owns: the entries and their names.
template <class T>
class BaseCollectionPathHandler : public BaseCollection {
  public:
    explicit BaseCollectionPathHandler(EntryMemory memory) : entryMemory(memory) {}

    void readOperation(HabRequest* request) override;
    void readEntryOperation(const char* entry, HabRequest* request) override;
    bool isEntry(const char* entry) override { return entries.find(entry) != entries.end(); }
    // A new item that describes the entry.
    [[nodiscard]] virtual JsonPtr createCJsonFromEntry(T* entry) = 0;
    // Refreshes the entries from their source; reads call it first.
    virtual void sync() {}

    // The entry, still owned by the collection, or null.
    [[nodiscard]] T* findEntry(const char* name) const {
        const auto found = entries.find(name);
        return found == entries.end() ? nullptr : found->second.get();
    }
    // Adopts the value, which has to fit the collection's EntryMemory; the name is copied. An entry of that
    // name is released.
    void putEntry(const char* name, T* value);
    // False when there is no entry of that name.
    bool removeEntry(const char* name);

  protected:
    using EntryPtr = std::unique_ptr<T, EntryRelease<T>>;

    std::map<MallocedText, EntryPtr, cmp_str_lessthan> entries;
    const EntryMemory entryMemory;

  private:
    static void replyJson(HabRequest* request, const cJSON* json);
};

template <class T>
void BaseCollectionPathHandler<T>::readOperation(HabRequest* request) {
    sync();
    const JsonPtr array(cJSON_CreateArray());
    for (const auto& [name, value] : entries) {
        if (value == nullptr) {
            continue;
        }
        if constexpr (std::is_same_v<T, cJSON>) {
            cJSON_AddItemReferenceToArray(array.get(), value.get());  // lent: the stored entry survives
        } else {
            json_append(array.get(), createCJsonFromEntry(value.get()));
        }
    }
    replyJson(request, array.get());
}

template <class T>
void BaseCollectionPathHandler<T>::readEntryOperation(const char* entry, HabRequest* request) {
    sync();
    T* const value = findEntry(entry);
    if (value == nullptr) {
        request->replyFinish(StatusCode::kNotFound);
        return;
    }
    if constexpr (std::is_same_v<T, cJSON>) {
        replyJson(request, value);
    } else {
        replyJson(request, createCJsonFromEntry(value).get());
    }
}

template <class T>
void BaseCollectionPathHandler<T>::putEntry(const char* name, T* value) {
    EntryPtr owned(value, EntryRelease<T>{entryMemory});
    if (const auto found = entries.find(name); found != entries.end()) {
        found->second = std::move(owned);
        return;
    }
    entries.emplace(MallocedText(strdup(name)), std::move(owned));
}

template <class T>
bool BaseCollectionPathHandler<T>::removeEntry(const char* name) {
    const auto found = entries.find(name);
    if (found == entries.end()) {
        return false;
    }
    entries.erase(found);
    return true;
}

template <class T>
void BaseCollectionPathHandler<T>::replyJson(HabRequest* request, const cJSON* json) {
    const JsonText text(cJSON_Print(json));
    request->reply(200, text.get(), nullptr);
}
