// SPDX-License-Identifier: MIT

#pragma once

#include "src/base/owners.h"

class HabRequest;

// Answers the request with 200 and the JSON object in which a resource keeps its attributes, as text.
void resource_json_reply(HabRequest* request, const cJSON* object);
