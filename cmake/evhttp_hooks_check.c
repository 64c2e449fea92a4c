// SPDX-License-Identifier: MIT

/* Exits with 0 when libevent's HTTP server calls the two functions defined here instead of its own. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <event2/event.h>
#include <event2/http.h>
#include <stdio.h>
#include <sys/socket.h>

static struct event_base* base;
static int made;
static int freed;

struct evhttp_request* evhttp_request_new(void (*cb)(struct evhttp_request*, void*), void* arg) {
    struct evhttp_request* (*library)(void (*)(struct evhttp_request*, void*), void*);
    *(void**)&library = dlsym(RTLD_NEXT, "evhttp_request_new");
    ++made;
    return library(cb, arg);
}

void evhttp_request_free(struct evhttp_request* req) {
    void (*library)(struct evhttp_request*);
    *(void**)&library = dlsym(RTLD_NEXT, "evhttp_request_free");
    ++freed;
    library(req);
    event_base_loopbreak(base);
}

int main(void) {
    const struct timeval limit = {5, 0};
    struct sockaddr_storage address;
    socklen_t size = sizeof(address);
    struct evhttp* http;
    struct evhttp_bound_socket* bound;
    int client = socket(AF_INET, SOCK_STREAM, 0);

    base = event_base_new();
    http = evhttp_new(base);
    bound = evhttp_bind_socket_with_handle(http, "127.0.0.1", 0);
    if (bound == NULL || getsockname(evhttp_bound_socket_get_fd(bound), (struct sockaddr*)&address, &size) != 0 ||
        connect(client, (struct sockaddr*)&address, size) != 0) {
        perror("loopback server");
        return 2;
    }
    /* The server makes a request when it accepts and frees it when the client goes away. */
    shutdown(client, SHUT_RDWR);
    event_base_loopexit(base, &limit);
    event_base_dispatch(base);
    printf("made %d, freed %d\n", made, freed);
    return made > 0 && freed > 0 ? 0 : 1;
}
