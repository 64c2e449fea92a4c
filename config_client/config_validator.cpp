// SPDX-License-Identifier: MIT

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "cbus/cbus_client.h"
#include "config_client/config_client_api.h"
#include "config_client/config_notifications.h"
#include "config_client/config_request.h"
#include "runtime/px_panic.h"

namespace {

constexpr size_t kMaxNameLength = 59;
constexpr size_t kWorkBytes = 65000;
constexpr size_t kMaxElements = kWorkBytes / sizeof(config_data_t);
// An element that its validator does not look at is not accepted.
constexpr int32_t kUnchecked = 2;

struct Validator {
    std::string name;
    config_validator_cb_t function;
    void* context;
};

// Never destroyed: a signal may end the process in the middle of anything, an allocation included.
std::vector<Validator>& validator_table = *new std::vector<Validator>;

const Validator& validator_of(const char* message_name) {
    char name[100];
    if (std::sscanf(message_name, "config.clnt_validate.%99s", name) != 1) {
        px_panic("Error retrieving identifying name from %s\n", message_name);
    }
    for (const Validator& validator : validator_table) {
        if (validator.name == name) {
            return validator;
        }
    }
    px_panic("*** ASSERT in %s at %d\n", kConfigModule, __LINE__);
}

struct Elements {
    config_data_t* first;
    unsigned int count;
};

int take_element(void* context, uint32_t type, const char* name, const void* data, uint32_t length, int) {
    auto* const elements = static_cast<Elements*>(context);
    if (elements->count == kMaxElements) {
        return -1;
    }
    elements->first[elements->count++] = {type, name, const_cast<void*>(data), length, 0, kUnchecked};
    return 0;
}

void send_verdict(const Elements& elements) {
    void* buffer = nullptr;
    size_t used = 0;
    for (const config_data_t* e = elements.first; e != elements.first + elements.count; ++e) {
        used = config_vbuf_add(&buffer, used, nullptr, e->type, e->key, e->value, e->size, e->status);
    }
    const Malloced<void> owner(buffer);
    config_send_signal("validate", "rsp", buffer, static_cast<uint32_t>(used));
}

int on_validate(_cbus_conn_t*, void*, const char* name, const void* data, uint32_t length) {
    const Validator& validator = validator_of(name);
    const Malloced<void> work(std::malloc(kWorkBytes));
    px_assert(work != nullptr, kConfigModule);
    Elements elements{static_cast<config_data_t*>(work.get()), 0};
    config_vbuf_parse(data, length, take_element, &elements);
    // The function may register further validators, which moves the table: nothing of it is touched after this.
    validator.function(elements.count, elements.first, validator.context);
    send_verdict(elements);
    return 0;
}

}  // namespace

void config_listen_for_validations() {
    cbus_client_signal_cb_add(config_connections.callback, "config.clnt_validate.", on_validate, nullptr);
}

int config_validator_register(config_validator_cb_t function, const char* name, void* context) {
    px_assert(function != nullptr && name != nullptr && std::strlen(name) <= kMaxNameLength, kConfigModule);
    char filter[100];
    std::snprintf(filter, sizeof filter, "config.clnt_validate.%s", name);
    cbus_filter(config_connections.callback, filter);
    if (config_send_signal("validate", "register", name, static_cast<uint32_t>(std::strlen(name) + 1)) != 0) {
        return -1;
    }
    px_assert_memory(kConfigModule, [&] { validator_table.push_back({name, function, context}); });
    return 0;
}
