// SPDX-License-Identifier: MIT

#include "src/http/HabHandler.h"

#include <cfloat>
#include <cmath>
#include <cstring>
#include <optional>
#include <utility>

#include "runtime/logging.h"
#include "src/base/json_helpers.h"
#include "src/base/printable_text.h"
#include "src/http/HabRequest.h"
#include "src/http/HabSetting.h"
#include "src/http/HabValidator.h"
#include "src/http/habhelper.h"

namespace {

constexpr const char* kModule = "src/HabHandler";
constexpr const char* kNotificationHeader = "HTTP_HAB_NOTIFICATION";
constexpr const char* kUnknownKey = "Unknown configuration key";
constexpr const char* kNoJson = "Couldn't parse JSON request!";

bool isMethod(HabRequest& request, const char* method) {
    return std::strcmp(request.getMethod(), method) == 0;
}

// The body, of the declared length; nothing when less has come.
std::optional<std::string> readBody(HabRequest& request) {
    char* bytes = nullptr;
    const std::size_t size = request.getRequestContent(&bytes);
    const Malloced<char> body(bytes);
    const int length = request.getContentLength();
    if (!body || length <= 0 || size < static_cast<std::size_t>(length)) {
        return std::nullopt;
    }
    return std::string(body.get(), static_cast<std::size_t>(length));
}

std::string decodeQuery(const char* query) {
    std::string decoded(std::strlen(query), '\0');
    const int length = decodeURIComponent(query, decoded.data(), static_cast<unsigned int>(decoded.size()));
    decoded.resize(static_cast<std::size_t>(length));
    return decoded;
}

// What a request calls a setting: a member by its name, an element of a list by its text. Null for neither.
const char* keyOf(const cJSON* item) {
    return item->string != nullptr ? item->string : cJSON_GetStringValue(item);
}

std::string printed(const cJSON* item) {
    const JsonText text(cJSON_Print(item));
    return text ? text.get() : "";
}

void dumpNumber(const cJSON* item) {
    const double value = item->valuedouble;
    if (std::fabs(item->valueint - value) <= DBL_EPSILON) {
        logger_function(7, kModule, "%s%d%s", "", item->valueint, "");
    } else if (std::fabs(std::floor(value) - value) <= DBL_EPSILON && std::fabs(value) < 1.0e60) {
        logger_function(7, kModule, "%s%.0f%s", "", value, "");
    } else if (std::fabs(value) < 1.0e-6 || std::fabs(value) > 1.0e9) {
        logger_function(7, kModule, "%s%e%s", "", value, "");
    } else {
        logger_function(7, kModule, "%s%f%s", "", value, "");
    }
}

}  // namespace

bool HabHandler::isStreaming(HabRequest* /*request*/) {
    return m_streaming;
}

// No handler of this program streams, so the base takes no part of a stream: the whole body then waits for
// handleRequest().
int HabHandler::handleChunk(HabRequest* /*request*/, void* /*chunkCtx*/) {
    return 0;
}

int HabHandler::fileUpload(HabRequest* request, FileTransfer* /*transfer*/, char* /*data*/,
                           unsigned int count, bool first, bool last) {
    const char* uri = request != nullptr ? request->getURI() : nullptr;
    logger_function(7, kModule, "fileupload(%s), cnt=%d, first:%s, last:%s", uri != nullptr ? uri : "(null)",
                    static_cast<int>(count), first ? "true" : "false", last ? "true" : "false");
    logger_function(3, kModule, "Empty implementation (HabHandler::fileUpload) called!");
    return 0;
}

void HabHandler::appendSetting(Setting* setting, Validator* const* chain) {
    for (; *chain != nullptr; ++chain) {
        setting->addValidator(*chain);
    }
    m_settings.push_back(setting);
}

void HabHandler::addError(const cJSON* item, const std::string& message) {
    const bool hasName = item != nullptr && item->string != nullptr;
    cJSON_AddStringToObject(m_errors.get(), hasName ? item->string : "error", message.c_str());
}

void HabHandler::addError(const cJSON* item, int result) {
    if (result != 0) {
        addError(item, "Error");
    }
}

int HabHandler::handleRequest(HabRequest* request) {
    const JsonPtr result(cJSON_CreateObject());
    m_errors.reset(cJSON_CreateObject());
    bool isRead = true;
    if (request->getHeader(kNotificationHeader) != nullptr) {
        logger_function(7, kModule, "handleRequest() Notification");
        isRead = handleNotification(*request);
    } else if (isMethod(*request, "GET")) {
        logger_function(7, kModule, "handleRequest() GET");
        handleRead(*request, result.get());
    } else if (isMethod(*request, "PUT")) {
        logger_function(7, kModule, "handleRequest() PUT");
        isRead = handleWrite(*request);
    }
    // A body that did not arrive leaves nobody to answer.
    if (isRead) {
        const bool failed = m_errors->child != nullptr;
        const std::string body = printed(failed ? m_errors.get() : result.get());
        request->addHeader("Content-type", "application/json");
        request->replyAdd(body.data(), body.size());
        request->replyFinish(failed ? StatusCode::kBadRequest : StatusCode::kOk);
    }
    return -1;
}

bool HabHandler::handleNotification(HabRequest& request) {
    const bool isAdding = isMethod(request, "POST");
    if (!isAdding && !isMethod(request, "DELETE")) {
        return true;
    }
    const std::optional<std::string> body = readBody(request);
    if (!body) {
        return false;
    }
    const JsonPtr members = parseRequest(*body);
    takeMatching(members.get(), [this, isAdding](Setting& setting, JsonPtr item) {
        addError(item.get(), isAdding ? setting.addnotif(item.get()) : setting.delnotif(item.get()));
    });
    refuseRest(members.get(), kUnknownKey);
    return true;
}

void HabHandler::handleRead(HabRequest& request, cJSON* result) {
    const char* query = request.getQueryString();
    if (query == nullptr || *query == '\0') {
        addError(nullptr, "No payload!!");
        return;
    }
    const JsonPtr keys = parseRequest(decodeQuery(query));
    takeMatching(keys.get(), [this, result](Setting& setting, JsonPtr item) {
        const char* key = keyOf(item.get());
        logger_function(7, kModule, "\nReading '%s'", text_for_log(key).c_str());
        if (setting.read(key, result) != 0) {
            cJSON_AddStringToObject(m_errors.get(), key, "Error");
        }
    });
    // Only this refusal ends in an exclamation mark; clients tell the two apart.
    refuseRest(keys.get(), std::string(kUnknownKey) + "!");
}

bool HabHandler::handleWrite(HabRequest& request) {
    const std::optional<std::string> body = readBody(request);
    if (!body) {
        return false;
    }
    logger_function(7, kModule, "data=%s", text_for_log(*body).c_str());
    std::vector<std::pair<Setting*, JsonPtr>> kept;
    bool failed = false;
    const JsonPtr members = parseRequest(*body);
    takeMatching(members.get(), [this, &kept, &failed](Setting& setting, JsonPtr item) {
        char message[Validator::kMessageSize];
        const int length = setting.validate(item.get(), message);
        if (length < 0) {
            kept.emplace_back(&setting, std::move(item));
        } else if (length > 0) {
            addError(item.get(), std::string(message));
            failed = true;
        }
    });
    refuseRest(members.get(), kUnknownKey);
    for (const auto& [setting, item] : kept) {
        if (!failed) {
            addError(item.get(), setting->write(item.get()));
        }
    }
    return true;
}

// Null, and an error, when the text is no list or object of settings.
JsonPtr HabHandler::parseRequest(const std::string& text) {
    JsonPtr parsed = json_parse_foreign(text);
    if (cJSON_IsArray(parsed.get()) == 0 && cJSON_IsObject(parsed.get()) == 0) {
        addError(nullptr, kNoJson);
        return nullptr;
    }
    return parsed;
}

// Hands each item that a setting matches over to `take`, by setting and then by item, and removes it: the first
// setting that matches has it.
void HabHandler::takeMatching(cJSON* items, const Take& take) {
    for (Setting* setting : m_settings) {
        cJSON* next = items != nullptr ? items->child : nullptr;
        while (next != nullptr) {
            cJSON* item = std::exchange(next, next->next);
            const char* key = keyOf(item);
            if (key != nullptr && setting->match(key)) {
                take(*setting, JsonPtr(cJSON_DetachItemViaPointer(items, item)));
            }
        }
    }
}

void HabHandler::refuseRest(const cJSON* items, const std::string& message) {
    for (const cJSON* item = items != nullptr ? items->child : nullptr; item != nullptr; item = item->next) {
        const char* key = keyOf(item);
        cJSON_AddStringToObject(m_errors.get(), key != nullptr ? key : "error", message.c_str());
    }
}

void HabHandler::dump_json(const cJSON* item, int indent) {
    logger_function(7, kModule, "%*s%s%s", indent, "",
                    text_for_log(item->string != nullptr ? item->string : "").c_str(), ":");
    if (cJSON_IsNumber(item) != 0) {
        dumpNumber(item);
    } else if (cJSON_IsFalse(item) != 0) {
        logger_function(7, kModule, "%sfalse%s", "", "");
    } else if (cJSON_IsTrue(item) != 0) {
        logger_function(7, kModule, "%strue%s", "", "");
    } else if (cJSON_IsString(item) != 0) {
        logger_function(7, kModule, "%s%s%s", "\"", text_for_log(item->valuestring).c_str(), "\"");
    } else if (cJSON_IsArray(item) == 0 && cJSON_IsObject(item) == 0) {
        logger_function(7, kModule, "%snull%s", "", "");
    }
    for (const cJSON* child = item->child; child != nullptr; child = child->next) {
        dump_json(child, indent + 2);
    }
    if (cJSON_IsArray(item) != 0) {
        logger_function(7, kModule, "%*s]%s", indent, "", "");
    } else if (cJSON_IsObject(item) != 0) {
        logger_function(7, kModule, "%*s}%s", indent, "", "");
    }
}
