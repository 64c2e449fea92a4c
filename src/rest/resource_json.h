// SPDX-License-Identifier: MIT

#pragma once

#include "src/base/owners.h"

class HabRequest;

// The JSON object in which a resource keeps its attributes.

// Puts the value, which may be null without memory, under the name: behind the others, or in the place of the one
// of that name.
void resource_json_add(cJSON* object, const char* name, JsonPtr value);
void resource_json_replace(cJSON* object, const char* name, JsonPtr value);

// Answers the request with 200 and the object as text.
void resource_json_reply(HabRequest* request, const cJSON* object);
