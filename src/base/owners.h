// SPDX-License-Identifier: MIT

#pragma once

#include <cjson/cJSON.h>
#include <event2/buffer.h>
#include <event2/event.h>
#include <event2/http.h>

#include "runtime/c_owner.h"

// The owners of every C object that this program holds: none of them travels as a bare pointer.
// Malloced, MallocedText and UniqueFd come from runtime/c_owner.h.

using JsonPtr = COwned<cJSON, cJSON_Delete>;
using JsonText = COwned<char, cJSON_free>;  // what cJSON_Print and its kin return
using BufferPtr = COwned<evbuffer, evbuffer_free>;
using EventPtr = COwned<event, event_free>;
using EventBasePtr = COwned<event_base, event_base_free>;
using UriPtr = COwned<evhttp_uri, evhttp_uri_free>;
