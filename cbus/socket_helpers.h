// SPDX-License-Identifier: MIT

#pragma once

// socket_helpers: sockets from bus addresses.
// Address: three fields between asterisks, protocol*host*port.
//            tcp*HOST*PORT, udp*HOST*PORT  IPv4 in dotted form, 127.0.0.1 when empty; decimal port
//            unix*NAME                     stream socket in the abstract namespace; the name is padded with NULs
//                                          to the full path size, so both ends must pad
//          A protocol beyond 16 characters is none; host and port are cut after 32.
// Owns:    every descriptor returned is close-on-exec and belongs to the caller.
// Errors:  -1 with errno; a bad (or null) address is EINVAL.

// Blocks until connected.
[[nodiscard]] int socket_create_client(const char* address);
// Does not wait: a connection that is still being made counts as success.
[[nodiscard]] int socket_create_client_nonblocking(const char* address);
// Bound and, for streams, listening with a backlog of 5.
[[nodiscard]] int socket_create_server(const char* address);
// Accepts one connection; blocks when the listener does.
[[nodiscard]] int socket_create_server_client(int listener);

int socket_broadcast_enable(int socket);
int socket_bind_device(int socket, const char* interfaceName);
// The local port in host order, or -1.
[[nodiscard]] int socket_get_port_number(int socket);
// The pending error of the socket (0 for none), or errno when it cannot be read.
[[nodiscard]] int socket_get_error(int socket);
int socket_set_blocking(int socket, bool blocking);
