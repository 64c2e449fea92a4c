// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "device/configd/ConfigElement.h"

// The bus as the operations of the database see it.
class ConfigOutlet {
  public:
    using Answer = std::function<void(const std::string& data)>;

    // The broker takes messages of 8 MiB; name and header need a little of that.
    static constexpr size_t kMaxDataBytes = (size_t{8} << 20) - 1024;

    virtual void send_signal(const std::string& name, const std::string& data) = 0;
    // Keeps the request that is being handled; the answer is called at most once.
    [[nodiscard]] virtual Answer keep_request() = 0;

  protected:
    ~ConfigOutlet() = default;
};

// Sends "config.change.<first component>" once for each first component, with the changed elements below it; more
// often only where one message would not carry them. The changes come in the order of their keys.
void change_signals_send(ConfigOutlet& outlet, const std::vector<ConfigElement>& changes);
