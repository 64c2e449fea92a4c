// SPDX-License-Identifier: MIT

#include <cstdint>
#include <cstring>
#include <string>

#include "fuzz_check.h"
#include "src/base/json_helpers.h"
#include "src/http/HabConfig.h"
#include "tests/support/TempDirectory.h"

namespace {

const TempDirectory& directory() {
    static const TempDirectory files;
    return files;
}

void check_number(const cJSON* json, const char* name, int value, int otherwise) {
    const cJSON* member = cJSON_GetObjectNumber(json, name);
    fuzz_check(value == (member != nullptr ? member->valueint : otherwise));
}

void check_text(const char* text) {
    fuzz_check(text != nullptr && std::strlen(text) < (size_t{1} << 20));
}

}  // namespace

// configuration.json: whatever JSON it is, each setting has a value, and the numbers are those of the file. What is no
// JSON stops the daemon at its start, on purpose.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const JsonPtr json = json_parse(text.starts_with("\xEF\xBB\xBF") ? text.substr(3) : text);
    if (json == nullptr) {
        return 0;
    }
    directory().write("configuration.json", text);
    const HabConfig config(directory().path());
    check_number(json.get(), "hab.http.port", config.getHttpPort(), 80);
    check_number(json.get(), "hab.http.push.maxchannels", config.getHttpPushMaxChannels(), 80);
    check_number(json.get(), "hab.session.timeout", config.getSessionTimeout(), 300);
    fuzz_check(config.getLogLevel() >= 0 && config.getLogLevel() <= 7);
    for (const char* setting :
         {config.getWebAppPath(), config.getWebAppCorePath(), config.getLoginHook(), config.getLogoutHook(),
          config.getPushLocation(), config.getPushChannelId(), config.getDefaultLocation()}) {
        check_text(setting);
    }
    return 0;
}
