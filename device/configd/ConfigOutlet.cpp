// SPDX-License-Identifier: MIT

#include "device/configd/ConfigOutlet.h"

#include "config_client/config_client_api.h"
#include "config_client/config_vbuf.h"
#include "device/configd/vbuf_codec.h"

void change_signals_send(ConfigOutlet& outlet, const std::vector<ConfigElement>& changes) {
    std::string payload;
    for (size_t i = 0; i < changes.size(); ++i) {
        const std::string& key = changes[i].key;
        const std::string component = key.substr(0, key.find('.'));
        vbuf_append(payload, key, changes[i].value, CONFIG_OK);
        const ConfigElement* next = i + 1 < changes.size() ? &changes[i + 1] : nullptr;
        const bool goes_on =
            next != nullptr && next->key.starts_with(component + '.') &&
            payload.size() + config_vbuf_entry_bytes(next->key.size(), next->value.data.size()) <=
                ConfigOutlet::kMaxDataBytes;
        if (!goes_on) {
            outlet.send_signal("config.change." + component, payload);
            payload.clear();
        }
    }
}
