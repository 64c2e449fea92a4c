// SPDX-License-Identifier: MIT

#include "src/base/drop_output.h"

#include <event2/buffer.h>
#include <event2/bufferevent.h>
#include <event2/event.h>

void drop_output(bufferevent* connection) {
    bufferevent_disable(connection, EV_WRITE);
    evbuffer* output = bufferevent_get_output(connection);
    // The bufferevent keeps the front of its output to itself.
    evbuffer_unfreeze(output, 1);
    evbuffer_drain(output, evbuffer_get_length(output));
    evbuffer_freeze(output, 1);
}
