// SPDX-License-Identifier: MIT

#include "src/http/evhttp_records.h"

#include <event2/bufferevent.h>
#include <event2/http_struct.h>

std::mutex evhttp_tables_lock;
// Never destroyed: a signal may end the process in the middle of anything, an allocation included.
std::unordered_map<const evhttp*, EvhttpServer>& evhttp_servers =
    *new std::unordered_map<const evhttp*, EvhttpServer>;
std::unordered_map<const evhttp_request*, EvhttpRecord>& evhttp_records =
    *new std::unordered_map<const evhttp_request*, EvhttpRecord>;

namespace {

template <class Table, class Key>
typename Table::mapped_type copy_of(const Table& table, Key key) {
    const std::lock_guard guard(evhttp_tables_lock);
    const auto found = table.find(key);
    return found != table.end() ? found->second : typename Table::mapped_type();
}

}  // namespace

EvhttpServer evhttp_server_of(const evhttp* http) {
    return copy_of(evhttp_servers, http);
}

EvhttpRecord evhttp_record_of(const evhttp_request* req) {
    return copy_of(evhttp_records, req);
}

bool evhttp_is_registered(const evhttp* http) {
    const std::lock_guard guard(evhttp_tables_lock);
    return evhttp_servers.contains(http);
}

evbuffer* evhttp_input_of(const evhttp_request* req) {
    return bufferevent_get_input(evhttp_connection_get_bufferevent(req->evcon));
}

std::vector<evhttp_connection*> evhttp_connections_of(const evhttp* http) {
    const std::lock_guard guard(evhttp_tables_lock);
    std::vector<evhttp_connection*> connections;
    for (const auto& [req, record] : evhttp_records) {
        if (record.http == http && req->evcon != nullptr) {
            connections.push_back(req->evcon);
        }
    }
    return connections;
}
