// SPDX-License-Identifier: MIT

#include "cbus/cbus_client.h"

#include <cstring>

#include "runtime/px_panic.h"

namespace {

constexpr const char* kModule = "cbus_client";

int dispatch(_cbus_conn_t* connection, const cbus_client_table_t& table, const char* name, const void* data,
             uint32_t length) {
    for (const cbus_client_entry_t& entry : table) {
        if (strncmp(name, entry.prefix.c_str(), entry.prefix.size()) == 0) {
            // The callback may change the table, so nothing of it is touched after this.
            return entry.function(connection, entry.context, name, data, length);
        }
    }
    return 0;
}

int dispatch_signal(_cbus_conn_t* connection, const char* name, const void* data, uint32_t length) {
    return dispatch(connection, connection->signal_table, name, data, length);
}

int dispatch_request(_cbus_conn_t* connection, const char* name, const void* data, uint32_t length) {
    return dispatch(connection, connection->request_table, name, data, length);
}

int dispatch_reply(_cbus_conn_t* connection, const char* name, const void* data, uint32_t length) {
    return dispatch(connection, connection->reply_table, name, data, length);
}

void add_entry(cbus_client_table_t& table, const char* prefix, cbus_client_cb_t function, void* context) {
    px_assert_memory(kModule, [&] { table.push_back({prefix, function, context}); });
}

void delete_entry(cbus_client_table_t& table, const char* prefix, cbus_client_cb_t function, void* context) {
    for (auto entry = table.begin(); entry != table.end(); ++entry) {
        if (entry->function == function && entry->context == context && entry->prefix == prefix) {
            table.erase(entry);
            return;
        }
    }
}

int send_text(_cbus_conn_t* connection, const char* name, const char* text) {
    return cbus_send_signal(connection, name, text, static_cast<uint32_t>(strlen(text) + 1));
}

}  // namespace

void cbus_client_init_cb(_cbus_conn_t* connection) {
    cbus_conn_set_rx_cb(connection, dispatch_signal, dispatch_request, dispatch_reply);
}

void cbus_client_signal_cb_add(_cbus_conn_t* connection, const char* prefix, cbus_client_cb_t function,
                               void* context) {
    add_entry(connection->signal_table, prefix, function, context);
}

void cbus_client_request_cb_add(_cbus_conn_t* connection, const char* prefix, cbus_client_cb_t function,
                                void* context) {
    add_entry(connection->request_table, prefix, function, context);
}

void cbus_client_reply_cb_add(_cbus_conn_t* connection, const char* prefix, cbus_client_cb_t function,
                              void* context) {
    add_entry(connection->reply_table, prefix, function, context);
}

void cbus_client_signal_cb_del(_cbus_conn_t* connection, const char* prefix, cbus_client_cb_t function,
                               void* context) {
    delete_entry(connection->signal_table, prefix, function, context);
}

void cbus_client_request_cb_del(_cbus_conn_t* connection, const char* prefix, cbus_client_cb_t function,
                                void* context) {
    delete_entry(connection->request_table, prefix, function, context);
}

void cbus_client_reply_cb_del(_cbus_conn_t* connection, const char* prefix, cbus_client_cb_t function,
                              void* context) {
    delete_entry(connection->reply_table, prefix, function, context);
}

int cbus_filter(_cbus_conn_t* connection, const char* text) {
    return send_text(connection, "cbus.filter", text);
}

int cbus_provide(_cbus_conn_t* connection, const char* text) {
    return send_text(connection, "cbus.provide", text);
}
