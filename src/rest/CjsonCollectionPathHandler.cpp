// SPDX-License-Identifier: MIT

#include "src/rest/CjsonCollectionPathHandler.h"

JsonPtr CjsonCollectionPathHandler::createCJsonFromEntry(cJSON* entry) {
    return JsonPtr(cJSON_Duplicate(entry, 1));
}
