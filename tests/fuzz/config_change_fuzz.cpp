// SPDX-License-Identifier: MIT

#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ClosedBus.h"
#include "fuzz_check.h"

namespace {

struct Heard {
    std::string key;
    uint32_t type;
    std::string value;

    bool operator==(const Heard&) const = default;
};

void hear(unsigned int count, const config_data_t* elements, void* context) {
    for (const config_data_t& element : std::span(elements, count)) {
        fuzz_check((element.value == nullptr) == (element.length == 0) && element.status == CONFIG_OK);
        static_cast<std::vector<Heard>*>(context)->push_back(
            {element.key, element.type, {static_cast<const char*>(element.value), element.length}});
    }
}

std::vector<Heard> all;
std::vector<Heard> of_prefix;
constexpr std::string_view kPrefix = "cfg.api.";

ClosedBus& bus() {
    static ClosedBus closed;
    static const bool is_registered = [] {
        config_change_register("", hear, &all);
        config_change_register(kPrefix.data(), hear, &of_prefix);
        return true;
    }();
    static_cast<void>(is_registered);
    return closed;
}

}  // namespace

// The data of a change signal: who listens to a prefix hears of exactly those keys that begin with it, in their order.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    all.clear();
    of_prefix.clear();
    bus().signal("config.change.cfg", {data, size});
    std::erase_if(all, [](const Heard& heard) { return !heard.key.starts_with(kPrefix); });
    fuzz_check(all == of_prefix);
    return 0;
}
