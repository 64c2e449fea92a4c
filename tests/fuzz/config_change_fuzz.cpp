#include <cstdint>
#include <cstring>
#include <vector>

#include "cbus/cbus.h"
#include "cbus/cbus_sock_impl.h"
#include "config_client/config_client_api.h"

namespace {

unsigned looked_at = 0;

void look_at(unsigned int count, const config_data_t* elements, void*) {
    for (unsigned int i = 0; i < count; ++i) {
        looked_at += static_cast<unsigned>(std::strlen(elements[i].key));
        for (uint32_t n = 0; n < elements[i].length; ++n) {
            looked_at += static_cast<const uint8_t*>(elements[i].value)[n];
        }
    }
}

// A client record on a bus that is gone: signals are put in by hand.
_cbus_conn_t& closed_connection() {
    static _cbus_conn_t connection;
    static cbus_client_t client{};
    static const bool prepared = [] {
        connection.rx = &client.rx;
        config_init_cbus(&connection, nullptr);
        config_change_register("", look_at, nullptr);
        config_change_register("cfg.api.", look_at, nullptr);
        return true;
    }();
    static_cast<void>(prepared);
    return connection;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // As the bus connection hands it over: zeros behind the data.
    std::vector<uint8_t> payload(data, data + size);
    payload.resize(((size + 3) & ~size_t{3}) + kCbusRxSlackBytes);
    _cbus_conn_t& connection = closed_connection();
    connection.rx->on_signal(&connection, "config.change.cfg", payload.data(), static_cast<uint32_t>(size));
    return 0;
}
