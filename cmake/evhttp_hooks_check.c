// SPDX-License-Identifier: MIT

/* Exits with 0 when libevent's HTTP server calls the three functions defined here instead of its own. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <event2/event.h>
#include <event2/http.h>
#include <stdio.h>
#include <sys/socket.h>
#include <unistd.h>

static struct event_base* base;
static int made;
static int freed;
static int added;

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

int evhttp_add_header(struct evkeyvalq* headers, const char* key, const char* value) {
    int (*library)(struct evkeyvalq*, const char*, const char*);
    *(void**)&library = dlsym(RTLD_NEXT, "evhttp_add_header");
    ++added;
    return library(headers, key, value);
}

int main(void) {
    static const char half_request[] = "GET / HTTP/1.1\r\nHost: a\r\n";
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
    /* The server makes a request when it accepts, adds the header to it and frees it when the client goes away. */
    if (write(client, half_request, sizeof(half_request) - 1) < 0) {
        perror("half a request");
        return 2;
    }
    shutdown(client, SHUT_RDWR);
    event_base_loopexit(base, &limit);
    event_base_dispatch(base);
    printf("made %d, freed %d, headers %d\n", made, freed, added);
    return made > 0 && freed > 0 && added > 0 ? 0 : 1;
}
