// SPDX-License-Identifier: MIT

#include "cbus/cbus.h"

#include <sys/time.h>

#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "cbus/bus_address.h"
#include "cbus/cbus_sock_impl.h"
#include "cbus/socket_helpers.h"
#include "runtime/fdloop_libevent.h"
#include "runtime/px.h"

namespace {

constexpr const char* kModule = "cbus";

bool g_debug = false;
int g_dispatch_level = 0;

void close_socket(_cbus_conn_t* connection) {
    const UniqueFd closing(std::exchange(connection->socket, -1));
    // The watch goes first: the number may soon stand for another file, which must not be read as the bus.
    if (closing.valid() && connection->client->fdloop != nullptr) {
        fdloop_fd_unregister(connection->client->fdloop, closing.get());
    }
}

int read_message(_cbus_conn_t* connection, cbus_rx_message_t& message) {
    const int nr = cbus_msg_read(connection->socket, message);
    if (nr < 0 || !g_debug) {
        return nr;
    }
    const cbus_header_t& header = message.header;
    const char* body = message.body.get();
    px_printf("%s: type=%d src=%d seqn=%d nlen=%d dlen=%d\n", "_cbus_msg_read", header.type, header.src,
              header.seqn, header.nlen, static_cast<int>(header.dlen));
    cbus_show_message(connection, "_cbus_msg_read", header.nlen > 0 ? body : "",
                      body + cbus_pad4(header.nlen), header.dlen);
    return nr;
}

void call_receiver(_cbus_conn_t* connection) {
    const cbus_message_t message = connection->current;
    cbus_rx_cb_t receiver = nullptr;
    switch (message.header.type) {
        case CBUS_SIGNAL:
            receiver = connection->rx->on_signal;
            break;
        case CBUS_REQUEST:
            receiver = connection->rx->on_request;
            break;
        case CBUS_REPLY:
            receiver = connection->rx->on_reply;
            break;
        default:
            px_slog(3, "Invalid message type [%s] %u\n", message.name, message.header.type);
    }
    if (receiver != nullptr) {
        receiver(connection, message.name, message.data, message.header.dlen);
    }
}

void dispatch(_cbus_conn_t* connection, const cbus_header_t& header, const char* body) {
    const char* data = body + cbus_pad4(header.nlen);
    px_assert(reinterpret_cast<uintptr_t>(data) % 4 == 0, kModule);
    // The body dies with this dispatch, so what was current before it is current again after it.
    const cbus_message_t outer =
        std::exchange(connection->current, cbus_message_t{header, header.nlen > 0 ? body : "", data});
    ++g_dispatch_level;
    if (g_debug) {
        px_printf("B(%d) %s level=%d\n", connection->socket, "_conn_msg_dispatch", g_dispatch_level);
    }
    call_receiver(connection);
    if (g_debug) {
        px_printf("E(%d) %s level=%d\n", connection->socket, "_conn_msg_dispatch", g_dispatch_level);
    }
    --g_dispatch_level;
    connection->current = outer;
}

void push_pending(_cbus_conn_t* connection, cbus_rx_message_t message) {
    const size_t size = cbus_pad4(message.header.nlen) + cbus_pad4(message.header.dlen);
    std::unique_ptr<cbus_pending_t> node(
        new (std::nothrow) cbus_pending_t{nullptr, message.header, std::move(message.body), size});
    px_assert(node != nullptr, kModule);
    cbus_pending_t* tail = node.get();
    if (connection->pending_head == nullptr) {
        connection->pending_head = std::move(node);
    } else {
        connection->pending_tail->next = std::move(node);
    }
    connection->pending_tail = tail;
    ++connection->pending_count;
}

std::unique_ptr<cbus_pending_t> pop_pending(_cbus_conn_t* connection) {
    std::unique_ptr<cbus_pending_t> node = std::move(connection->pending_head);
    connection->pending_head = std::move(node->next);
    if (connection->pending_head == nullptr) {
        connection->pending_tail = nullptr;
    }
    --connection->pending_count;
    return node;
}

// Each message leaves the queue before it is dispatched: its callback may wait for a reply and so append to
// it.
void dispatch_pending(_cbus_conn_t* connection) {
    while (connection->pending_head != nullptr) {
        const std::unique_ptr<cbus_pending_t> node = pop_pending(connection);
        dispatch(connection, node->header, node->body.get());
    }
}

void trace_receive(char mark, const _cbus_conn_t* connection, int nr) {
    if (g_debug) {
        px_printf("%c(%d) %s: nr=%d\n", mark, connection->socket, "_conn_rx", nr);
    }
}

// What waited goes first and alone: the socket stays readable and brings the loop back here.
int receive(_cbus_conn_t* connection) {
    cbus_rx_message_t message;
    const bool has_pending = connection->pending_head != nullptr;
    const int nr = has_pending ? 0 : read_message(connection, message);
    trace_receive('B', connection, nr);
    if (has_pending) {
        dispatch_pending(connection);
    } else if (nr < 0) {
        connection->client->close(connection);
    } else {
        dispatch(connection, message.header, message.body.get());
    }
    const int result = nr < 0 ? -1 : 0;
    trace_receive('E', connection, result);
    return result;
}

int on_readable(int, void* connection, void*) noexcept {
    return receive(static_cast<_cbus_conn_t*>(connection));
}

void on_idle(void* connection) noexcept {
    dispatch_pending(static_cast<_cbus_conn_t*>(connection));
}

int send_message(_cbus_conn_t* connection, const cbus_header_t& header, const char* name, const void* data,
                 uint32_t length) {
    if (connection->socket < 0) {
        return -1;
    }
    return cbus_msg_write(connection->socket, header, name, data, length);
}

// The header of a message of our own; a closed connection takes no sequence number.
cbus_header_t make_header(_cbus_conn_t* connection, cbus_type_t type) {
    const uint16_t seqn = connection->socket < 0 ? connection->next_seqn : connection->next_seqn++;
    return {type, static_cast<uint8_t>(connection->socket), seqn, 0, 0, 0};
}

// The data of a reply, moved to the start of its buffer; zeros follow it as in every received body.
Malloced<char> take_data(cbus_rx_message_t message) {
    const size_t offset = cbus_pad4(message.header.nlen);
    const size_t length = message.header.dlen;
    char* body = message.body.get();
    memmove(body, body + offset, length);
    memset(body + length, 0, offset + kCbusRxSlackBytes);
    return std::move(message.body);
}

int await_reply(_cbus_conn_t* connection, uint16_t cookie, void** dataOut) {
    for (;;) {
        cbus_rx_message_t message;
        if (read_message(connection, message) < 0) {
            connection->client->close(connection);
            return -1;
        }
        if (message.header.type != CBUS_REPLY) {
            push_pending(connection, std::move(message));
            continue;
        }
        if (message.header.seqn != cookie) {
            px_panic("Cookie mismatch (%u/%u)\n", cookie, message.header.seqn);
        }
        const int length = static_cast<int>(message.header.dlen);
        *dataOut = take_data(std::move(message)).release();
        return length;
    }
}

}  // namespace

_cbus_conn_t* cbus_conn_create(_fdloop_t* fdloop, const char* /*name*/) {
    std::unique_ptr<_cbus_conn_t> connection(new (std::nothrow) _cbus_conn_t);
    px_assert(connection != nullptr, kModule);
    connection->client.reset(new (std::nothrow)
                                 cbus_client_t{fdloop, connection.get(), {}, close_socket, nullptr});
    px_assert(connection->client != nullptr, kModule);
    connection->rx = &connection->client->rx;

    const char* address = getenv("CBUS_ADDR");
    connection->socket = socket_create_client(address != nullptr ? address : kBusDefaultAddress);
    if (connection->socket < 0) {
        return nullptr;
    }
    if (fdloop != nullptr) {
        fdloop_fd_register(fdloop, connection->socket, on_readable, connection.get());
        connection->client->idler = fdloop_idler_add(fdloop, on_idle, connection.get());
    }
    g_debug = getenv("CBUS_DEBUG") != nullptr;
    return connection.release();
}

void cbus_conn_destroy(_cbus_conn_t* connection) {
    const std::unique_ptr<_cbus_conn_t> owned(connection);
    owned->client->close(connection);
    if (owned->client->idler != nullptr) {
        fdloop_idler_del(owned->client->fdloop, owned->client->idler);
    }
    // One by one: a long list that frees itself would do so in one deep recursion.
    while (owned->pending_head != nullptr) {
        pop_pending(connection);
    }
}

void cbus_conn_set_rx_cb(_cbus_conn_t* connection, cbus_rx_cb_t on_signal, cbus_rx_cb_t on_request,
                         cbus_rx_cb_t on_reply) {
    *connection->rx = {on_signal, on_request, on_reply};
}

int cbus_send_signal(_cbus_conn_t* connection, const char* name, const void* data, uint32_t length) {
    return send_message(connection, make_header(connection, CBUS_SIGNAL), name, data, length);
}

int cbus_send_request(_cbus_conn_t* connection, const char* name, const void* data, uint32_t length) {
    const cbus_header_t header = make_header(connection, CBUS_REQUEST);
    return send_message(connection, header, name, data, length) == 0 ? header.seqn : -1;
}

int cbus_send_reply(_cbus_conn_t* connection, const void* data, uint32_t length) {
    cbus_header_t header = connection->current.header;
    if (header.type == 0) {
        return -1;
    }
    header.type = CBUS_REPLY;
    const char* name = header.nlen > 0 ? connection->current.name : nullptr;
    return send_message(connection, header, name, data, length);
}

cbus_sender_ctx_t* cbus_store_sender_ctx(_cbus_conn_t* connection) {
    const cbus_message_t& current = connection->current;
    auto* context = new (std::nothrow) cbus_sender_ctx_t{current.header, nullptr, current.data};
    px_assert(context != nullptr, kModule);
    if (current.header.nlen > 0) {
        context->name.reset(strdup(current.name));
        px_assert(context->name != nullptr, kModule);
    }
    return context;
}

int cbus_send_reply_to(_cbus_conn_t* connection, const void* data, uint32_t length,
                       cbus_sender_ctx_t* senderContext) {
    const cbus_message_t outer = connection->current;
    cbus_copy_sender_ctx(connection, senderContext);
    const int result = cbus_send_reply(connection, data, length);
    connection->current = outer;
    cbus_free_sender_ctx(senderContext);
    return result;
}

void cbus_copy_sender_ctx(_cbus_conn_t* connection, const cbus_sender_ctx_t* senderContext) {
    const char* name = senderContext->name != nullptr ? senderContext->name.get() : "";
    connection->current = {senderContext->header, name, senderContext->data};
}

void cbus_free_sender_ctx(cbus_sender_ctx_t* senderContext) {
    px_assert(senderContext != nullptr, kModule);
    const std::unique_ptr<cbus_sender_ctx_t> owned(senderContext);
}

int cbus_get_reply(_cbus_conn_t* connection, int cookie, void** dataOut) {
    if (g_debug) {
        px_printf("B(%d) %s: cookie=%d\n", connection->socket, "cbus_get_reply", cookie);
    }
    const int length = cookie < 0 ? -1 : await_reply(connection, static_cast<uint16_t>(cookie), dataOut);
    if (g_debug) {
        px_printf("E(%d) %s: nr=%d\n", connection->socket, "cbus_get_reply", length);
    }
    return length;
}

void cbus_show_message(_cbus_conn_t* connection, const char* function, const char* name, const void* data,
                       uint32_t length) {
    timeval now{};
    gettimeofday(&now, nullptr);
    char time_of_day[16] = "";
    px_utc_strftime(time_of_day, sizeof time_of_day, "%H:%M:%S", now.tv_sec);
    px_printf("%s.%06ld %2d %s: name=\"%s\", data size=%u\n", time_of_day, static_cast<long>(now.tv_usec),
              connection->current.header.src, function, name != nullptr ? name : "(null)", length);
    if (data != nullptr && length > 0) {
        px_data_display('b', data, length, 0);
    }
}
