// SPDX-License-Identifier: MIT

#include "src/system/SystemPostCollection.h"

#include "runtime/logging.h"

namespace {

constexpr const char* kModule = "src/SystemPostCollection";

}  // namespace

SystemPostCollection::SystemPostCollection() {
    logger_function(6, kModule, "SystemPostCollection() Constructor");
}

SystemPostCollection::~SystemPostCollection() {
    logger_function(6, kModule, "SystemPostCollection() destructor.");
}
