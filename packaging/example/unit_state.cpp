// SPDX-License-Identifier: MIT

// Prints the value of a key of the unit's database and how many events the unit has, then each change of the key. With a
// VALUE, which is written first as a text, it ends after what it prints at the start.
// usage: unit_state KEY [VALUE]

#include <cstdio>
#include <cstdlib>

#include "cbus/cbus.h"
#include "config_client/config_client_api.h"
#include "events/EventManager.h"
#include "events/event_client.h"
#include "runtime/c_owner.h"
#include "runtime/fdloop_libevent.h"

namespace {

using BusConnection = COwned<_cbus_conn_t, cbus_conn_destroy>;

constexpr uint32_t kTextBytes = 256;

void print_value(const char* key) {
    char text[kTextBytes];
    int32_t number = 0;
    if (config_read_int(key, &number) == CONFIG_OK) {
        std::printf("%s = %d\n", key, number);
    } else if (config_read_string(key, text, sizeof text) == CONFIG_OK) {
        std::printf("%s = %s\n", key, text);
    } else {
        std::printf("%s has no value\n", key);
    }
    std::fflush(stdout);
}

void on_change(unsigned count, const config_data_t* elements, void*) {
    for (unsigned i = 0; i < count; ++i) {
        print_value(elements[i].key);
    }
}

int write_text(char* key, char* text) {
    config_data_t element{CONFIG_TYPE_STRING, key, text, 0, 0, 0};
    return config_modifyv(nullptr, 1, &element);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2 || argc > 3) {
        std::fprintf(stderr, "usage: %s KEY [VALUE]\n", argv[0]);
        return 2;
    }
    const FdLoopPtr loop(fdloop_init());
    const BusConnection bus(cbus_conn_create(loop.get(), "unit_state"));
    if (bus == nullptr) {
        std::perror("no bus");
        return EXIT_FAILURE;
    }
    config_init_cbus(bus.get(), nullptr);
    if (argc == 3 && write_text(argv[1], argv[2]) != CONFIG_OK) {
        std::fprintf(stderr, "%s could not be written\n", argv[1]);
        return EXIT_FAILURE;
    }
    print_value(argv[1]);
    event_client_init();
    std::printf("events: %u\n", EventManager::emGetInstance()->store().count());
    std::fflush(stdout);

    config_change_register(argv[1], on_change, nullptr);
    while (argc == 2 && bus->socket >= 0) {
        fdloop_run(loop.get());
    }
    return EXIT_SUCCESS;
}
