// SPDX-License-Identifier: MIT

#pragma once

struct bufferevent;

// Frees what waits to be written to the connection now, not with it. Nothing more is written: only its end can follow.
// Not inside a callback of its output.
void drop_output(bufferevent* connection);
