// SPDX-License-Identifier: MIT

#pragma once

#include "src/rest/CjsonCollectionPathHandler.h"

// SystemPostCollection: the results of the self-test at start, "/system/debug/post". This unit's test leaves none, so
// clients read an empty list.
// Threads: loop thread only.
class SystemPostCollection : public CjsonCollectionPathHandler {
  public:
    SystemPostCollection();
    ~SystemPostCollection() override;
};
