// SPDX-License-Identifier: MIT

#include "src/example/TestObject.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>
#include <vector>

#include "config_client/config_client_api.h"
#include "runtime/logging.h"
#include "src/base/assertion.h"
#include "src/base/json_helpers.h"
#include "src/example/TestDynamicCollection.h"
#include "src/example/TestStaticCollection.h"
#include "src/rest/CjsonValidate.h"
#include "src/rest/config_entry.h"
#include "src/rest/resource_json.h"

namespace {

constexpr const char* kModule = "src/TestObject";

constexpr const char* kPrefix = "ram.system.test";

struct TestAttribute {
    const char* name;
    const char* key;
};

constexpr TestAttribute kA = {"a", "ram.system.test.a"};
constexpr TestAttribute kB = {"b", "ram.system.test.b"};
constexpr TestAttribute kC = {"c", "ram.system.test.c"};
constexpr TestAttribute kAttributes[] = {kA, kB, kC};

// Null for a key that is none of the three; those of the collections below come along with them.
const char* attribute_of(const char* key) {
    const auto* found = std::ranges::find_if(
        kAttributes, [key](const TestAttribute& attribute) { return std::strcmp(key, attribute.key) == 0; });
    return found != std::end(kAttributes) ? found->name : nullptr;
}

// JSON null for a key without a value, a null pointer for a value that is neither text nor number.
JsonPtr json_of(const config_data_t& entry) {
    if (entry.value == nullptr) {
        return JsonPtr(cJSON_CreateNull());
    }
    if (entry.type == CONFIG_TYPE_STRING) {
        return JsonPtr(cJSON_CreateString(config_entry_text(entry).c_str()));
    }
    const auto number = entry.type == CONFIG_TYPE_INT ? config_entry_int(entry) : std::nullopt;
    return JsonPtr(number ? cJSON_CreateNumber(*number) : nullptr);
}

// Both answer false for a member of the wrong type or range; an absent one is skipped.
bool put_string(ConfigWriter& writer, const cJSON* body, const TestAttribute& attribute) {
    char* value = nullptr;
    const int result = CjsonValidate::getAttributeString(body, attribute.name, &value);
    if (result == CjsonValidate::kValid) {
        writer.putString(value, "%s", attribute.key);
    }
    return result != CjsonValidate::kInvalid;
}

// A number with a fraction is no integer: cutting it would store something else than what was asked for.
bool put_integer(ConfigWriter& writer, const cJSON* body, const TestAttribute& attribute, int* value) {
    using Limits = std::numeric_limits<int>;
    double number = 0;
    const int result =
        CjsonValidate::getAttributeDouble(body, attribute.name, &number, Limits::min(), Limits::max());
    if (result != CjsonValidate::kValid) {
        return result == CjsonValidate::kAbsent;
    }
    *value = static_cast<int>(number);
    writer.putInt(value, "%s", attribute.key);
    return *value == number;
}

}  // namespace

TestObject::~TestObject() {
    if (m_json != nullptr) {
        deregisterConfigChange(kPrefix);
    }
}

void TestObject::readOperation(HabRequest* request) {
    initOnce();
    resource_json_reply(request, m_json.get());
}

void TestObject::updateOperation(HabRequest* request) {
    // Before the write: what is read afterwards is no change any more, and subscribers would not hear of it.
    initOnce();
    const JsonPtr body = readRequestData(request);
    if (body == nullptr) {
        logger_function(4, kModule, "updateOperation NO data");
        request->replyFinish(StatusCode::kBadRequest);
        return;
    }
    const JsonText text(cJSON_PrintUnformatted(body.get()));
    // The 0 behind the body belongs to the text that log readers look for.
    logger_function(6, kModule, "updateOperation data: %s0", text != nullptr ? text.get() : "(null)");
    request->replyFinish(writeAttributes(body.get()));
}

void TestObject::initSubPathHandlers(ApiControllerInterface*) {
    addSubPathHandler("static", new TestStaticCollection);
    addSubPathHandler("dynamic", new TestDynamicCollection);
}

void TestObject::onConfigChange(unsigned int count, const config_data_t* data) {
    logger_function(7, kModule, "onConfigChange EVENT");
    initOnce();
    updateFromConfig(count, data, false);
}

void TestObject::onConfigWritten(unsigned int count, const config_data_t* data) {
    logger_function(7, kModule, "onConfigWritten EVENT");
    updateFromConfig(count, data, false);
}

void TestObject::initOnce() {
    if (m_json == nullptr) {
        init();
    }
}

void TestObject::init() {
    logger_function(6, kModule, "SystemTestObject::init()");
    registerConfigChange(kPrefix);
    m_json.reset(cJSON_CreateObject());
    ORVALE_ASSERT(m_json != nullptr, "m_json", kModule, "void TestObject::init()");
    for (const TestAttribute& attribute : kAttributes) {
        json_add(m_json.get(), attribute.name, JsonPtr(cJSON_CreateNull()));
    }

    unsigned int count = 0;
    config_data_t* elements = nullptr;
    const int result = config_readm("ram.system.test.(a|b|c)", &count, &elements);
    const Malloced<config_data_t> owner(elements);
    if (result == CONFIG_OK) {
        updateFromConfig(count, elements, true);
    }
}

void TestObject::updateFromConfig(unsigned int count, const config_data_t* data, bool initial) {
    std::vector<const char*> changed;
    for (unsigned int i = 0; i < count; ++i) {
        const char* const attribute = attribute_of(data[i].key);
        if (attribute != nullptr && replaceAttribute(attribute, data[i]) &&
            std::ranges::find(changed, attribute) == changed.end()) {
            changed.push_back(attribute);
        }
    }
    if (!changed.empty() && !initial) {
        const int changed_count = static_cast<int>(changed.size());
        logger_function(7, kModule, "notify Updated, attr update count %d", changed_count);
        notifyUpdated(m_json.get(), changed_count, changed.data());
    }
}

bool TestObject::replaceAttribute(const char* attribute, const config_data_t& entry) {
    JsonPtr value = json_of(entry);
    if (value == nullptr) {
        logger_function(4, kModule, "Unsupported config type : %d", static_cast<int>(entry.type));
        return false;
    }
    if (CjsonValidate::compareJSON(cJSON_GetObjectItemCaseSensitive(m_json.get(), attribute), value.get())) {
        return false;
    }
    if (cJSON_IsString(value.get()) != 0) {
        logger_function(7, kModule, "Replacing string attribute %s", attribute);
    } else if (cJSON_IsNumber(value.get()) != 0) {
        logger_function(7, kModule, "Replacing int attribute %s", attribute);
    }
    json_replace(m_json.get(), attribute, std::move(value));
    return true;
}

StatusCode::Value TestObject::writeAttributes(const cJSON* body) {
    ConfigWriter writer;
    int c = 0;
    const bool valid =
        put_string(writer, body, kA) && put_string(writer, body, kB) && put_integer(writer, body, kC, &c);
    if (!valid || writer.getSize() == 0) {
        return StatusCode::kBadRequest;
    }
    return writer.write(this) == CONFIG_OK ? StatusCode::kOk : StatusCode::kInternalServerError;
}
