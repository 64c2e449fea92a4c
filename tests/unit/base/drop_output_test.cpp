// SPDX-License-Identifier: MIT

#include <string>

#include <event2/buffer.h>
#include <event2/bufferevent.h>
#include <event2/event.h>
#include <gtest/gtest.h>

#include "src/base/drop_output.h"
#include "src/base/owners.h"

TEST(DropOutput, FreesWhatWaitsToBeWritten) {
    const COwned<event_base, event_base_free> loop(event_base_new());
    const COwned<bufferevent, bufferevent_free> connection(bufferevent_socket_new(loop.get(), -1, 0));
    const std::string text(100000, 'x');
    bufferevent_write(connection.get(), text.data(), text.size());

    drop_output(connection.get());

    EXPECT_EQ(evbuffer_get_length(bufferevent_get_output(connection.get())), 0U);
    EXPECT_EQ(bufferevent_get_enabled(connection.get()) & EV_WRITE, 0);
}
