// SPDX-License-Identifier: MIT

#pragma once

#include "src/rest/BaseCollectionPathHandler.h"

// CjsonCollectionPathHandler: a collection whose entries are JSON objects, read as they are stored.
class CjsonCollectionPathHandler : public BaseCollectionPathHandler<cJSON> {
  public:
    CjsonCollectionPathHandler() : BaseCollectionPathHandler<cJSON>(EntryMemory::kCjson) {}

    // A deep copy.
    [[nodiscard]] JsonPtr createCJsonFromEntry(cJSON* entry) override;
};
