// SPDX-License-Identifier: MIT

#include "src/system/SystemSyslogCollection.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "config_client/config_client_api.h"
#include "runtime/logging.h"
#include "runtime/px_console.h"
#include "src/base/assertion.h"
#include "src/base/json_helpers.h"
#include "src/base/printable_text.h"
#include "src/rest/CjsonValidate.h"
#include "src/rest/config_entry.h"

namespace {

constexpr const char* kModule = "src/SystemSyslogCollection";

constexpr const char* kRulePrefix = "cfg.api.syslog";
constexpr const char* kAllKeys = "cfg.api.syslog.*.*";

constexpr const char* kRuleId = "rule_id";
constexpr const char* kSelector = "selector";
constexpr const char* kAction = "action";
// There is no rule in slot 0; only the dump shows it.
constexpr const char* kSlotNames[] = {"0", "1", "2", "3"};
constexpr int kMaxSlot = 3;

constexpr const char* kAuthpriv = "authpriv";
constexpr std::size_t kMaxRuleLocation = 255;
constexpr std::size_t kMaxPattern = 79;

struct RuleKey {
    int slot;
    std::string attribute;
};

// Nothing for a key that is not of the form "cfg.api.syslog.<slot>.<attribute>". The slot is the one digit that
// requests write under: they would never reach "01" or 4.
std::optional<RuleKey> parse_key(std::string_view key) {
    for (int slot = 1; slot <= kMaxSlot; ++slot) {
        const std::string beginning = std::string(kRulePrefix) + "." + kSlotNames[slot] + ".";
        if (key.starts_with(beginning) && key.size() > beginning.size()) {
            return RuleKey{slot, std::string(key.substr(beginning.size()))};
        }
    }
    return std::nullopt;
}

bool is_rule_attribute(const std::string& name) {
    return name == kSelector || name == kAction;
}

// Null when the object has no such text.
const char* text_of(const cJSON* object, const char* name) {
    char* text = nullptr;
    static_cast<void>(CjsonValidate::getAttributeString(object, name, &text));
    return text;
}

// Of CjsonValidate's results.
int check_word(const cJSON* body, const char* name) {
    char* text = nullptr;
    const int result = CjsonValidate::getAttributeString(body, name, &text);
    const bool is_bad_text =
        result == CjsonValidate::kValid && !SystemSyslogCollection::validateSelectorAction(text);
    return is_bad_text ? CjsonValidate::kInvalid : result;
}

MallocedText copy_of(const char* text) {
    return MallocedText(text == nullptr ? nullptr : strdup(text));
}

// A pattern without an answer looks like one that matches nothing; a key does not.
bool database_answers() {
    char value[1];
    uint32_t length = 0;
    uint32_t type = CONFIG_TYPE_NONE;
    return config_read_typed("cfg.api.syslog.1.selector", value, sizeof value, &length, &type) !=
           CONFIG_NO_REPLY;
}

void replace_attribute(cJSON* entry, const std::string& attribute, const config_data_t& data) {
    if (data.type == CONFIG_TYPE_STRING) {
        const std::string text = config_entry_text(data);
        if (is_rule_attribute(attribute) &&
            CjsonValidate::validateAttributeString(entry, attribute.c_str(), text.c_str()) ==
                CjsonValidate::kInvalid) {
            json_replace(entry, attribute.c_str(), JsonPtr(cJSON_CreateString(text.c_str())));
        }
    } else if (data.type == CONFIG_TYPE_INT) {
        logger_function(3, kModule, "Replacing int - Error");
    } else {
        // The SNMP object's name: log readers know this line from there and look for it.
        logger_function(3, kModule, "OemSnmp: Unsupported config type : %d", static_cast<int>(data.type));
    }
}

}  // namespace

SystemSyslogCollection::SystemSyslogCollection() {
    registerConfigChange(kRulePrefix);
    SystemSyslogCollection::sync();
}

SystemSyslogCollection::~SystemSyslogCollection() {
    deregisterConfigChange(kRulePrefix);
}

void SystemSyslogCollection::sync() {
    if (m_synced) {
        return;
    }
    m_synced = true;
    unsigned int count = 0;
    config_data_t* elements = nullptr;
    const int result = config_readm("cfg.api.syslog.([1,2,3].selector|[1,2,3].action)", &count, &elements);
    const Malloced<config_data_t> owner(elements);
    if (result == CONFIG_OK) {
        updateFromConfig(count, elements, true);
    }
    if (count == 0 && !database_answers()) {
        m_synced = false;
        logger_function(4, kModule, "The stored rules cannot be read yet");
    }
    dumpSyslogMap("SYNC");
    logger_function(6, kModule, "SystemSyslogCollection sync() done. ");
}

void SystemSyslogCollection::onConfigChange(unsigned int count, const config_data_t* data) {
    updateFromConfig(count, data, false);
}

void SystemSyslogCollection::onConfigWritten(unsigned int count, const config_data_t* data) {
    updateFromConfig(count, data, false);
}

void SystemSyslogCollection::updateFromConfig(unsigned int count, const config_data_t* data, bool) {
    logger_function(6, kModule, "updateFromConfig()");
    sync();
    for (unsigned int i = 0; i < count; ++i) {
        applyKey(data[i]);
    }
}

void SystemSyslogCollection::applyKey(const config_data_t& data) {
    logger_function(7, kModule, "Received config message %s %s", text_for_log(data.key).c_str(),
                    text_for_log(config_entry_printable(data)).c_str());
    const auto key = parse_key(data.key);
    if (!key) {
        logger_function(7, kModule, "NOT Relevant data");
        return;
    }
    logger_function(7, kModule, "Received config DATA: entry_id:%d attribute: %s", key->slot,
                    text_for_log(key->attribute).c_str());
    const char* const name = kSlotNames[key->slot];
    if (data.value == nullptr) {
        // Without one of its two words a rule is none.
        if (is_rule_attribute(key->attribute)) {
            removeEntry(name);
        }
        return;
    }
    if (findEntry(name) == nullptr) {
        createEntry(key->slot);
    }
    replace_attribute(findEntry(name), key->attribute, data);
}

void SystemSyslogCollection::createEntry(int slot) {
    logger_function(6, kModule, "Create entry %s", kSlotNames[slot]);
    JsonPtr json(cJSON_CreateObject());
    ORVALE_ASSERT(json != nullptr, "json", kModule, "void SystemSyslogCollection::createEntry(int)");
    json_add(json.get(), kRuleId, JsonPtr(cJSON_CreateNumber(slot)));
    json_add(json.get(), kSelector, JsonPtr(cJSON_CreateNull()));
    json_add(json.get(), kAction, JsonPtr(cJSON_CreateNull()));
    putEntry(kSlotNames[slot], json.release());
}

void SystemSyslogCollection::createOperation(HabRequest* request) {
    logger_function(6, kModule, "SystemSyslogCollection::createOperation. ");
    const JsonPtr body = readRequestData(request);
    if (!createOperationValidate(body.get())) {
        request->replyFinish(StatusCode::kBadRequest);
        return;
    }
    sync();
    if (!m_synced) {
        // Whatever slot looked free might hold a rule.
        request->replyFinish(StatusCode::kInternalServerError);
        return;
    }
    const int slot = freeSlot();
    if (slot == 0) {
        logger_function(6, kModule, "SystemSyslogCollection::createOperation Slot NOT Found.");
        request->replyFinish(StatusCode::kConflict);
        return;
    }
    addRule(slot, body.get(), request);
    dumpSyslogMap("CREATE-OPERATION");
}

int SystemSyslogCollection::freeSlot() const {
    for (int slot = 1; slot <= kMaxSlot; ++slot) {
        if (findEntry(kSlotNames[slot]) == nullptr) {
            return slot;
        }
    }
    return 0;
}

void SystemSyslogCollection::addRule(int slot, const cJSON* body, HabRequest* request) {
    const MallocedText selector = sanitizeSelector(text_of(body, kSelector));
    if (selector == nullptr) {
        request->replyFinish(StatusCode::kInternalServerError);
        return;
    }
    ConfigWriter writer;
    writer.putString(selector.get(), "%s.%d.%s", kRulePrefix, slot, kSelector);
    writer.putString(text_of(body, kAction), "%s.%d.%s", kRulePrefix, slot, kAction);
    // What was written comes back through onConfigWritten(), and that makes the entry.
    const cJSON* const entry = writer.write(this) == CONFIG_OK ? findEntry(kSlotNames[slot]) : nullptr;
    const JsonText text(entry == nullptr ? nullptr : cJSON_PrintUnformatted(entry));
    if (text == nullptr) {
        request->replyFinish(StatusCode::kInternalServerError);
        return;
    }
    const char* const own_path = getPath();
    char location[kMaxRuleLocation + 1];
    px_snprintf(location, sizeof location, "%s%1i", own_path == nullptr ? "" : own_path, slot);
    request->reply(StatusCode::kCreated, text.get(), location);
}

void SystemSyslogCollection::updateEntryOperation(const char* entry, HabRequest* request) {
    logger_function(7, kModule, "SystemSyslogCollection::updateEntryOperation");
    sync();
    if (findEntry(entry) == nullptr) {
        request->replyFinish(StatusCode::kNotFound);
        return;
    }
    const JsonPtr body = readRequestData(request);
    if (!updateEntryValidate(entry, body.get())) {
        request->replyFinish(StatusCode::kBadRequest);
        return;
    }
    const StatusCode::Value status = changeRule(entry, body.get());
    dumpSyslogMap("UPDATE-ENTRY-OPERATION");
    request->replyFinish(status);
}

StatusCode::Value SystemSyslogCollection::changeRule(const char* id, const cJSON* body) {
    const cJSON* const entry = findEntry(id);
    const char* const new_selector = text_of(body, kSelector);
    const char* const new_action = text_of(body, kAction);
    // Copies: the write changes the texts of the entry.
    const MallocedText selector =
        new_selector != nullptr ? sanitizeSelector(new_selector) : copy_of(text_of(entry, kSelector));
    const MallocedText action = copy_of(new_action != nullptr ? new_action : text_of(entry, kAction));
    if (new_selector != nullptr && selector == nullptr) {
        return StatusCode::kInternalServerError;
    }
    ConfigWriter writer;
    // A word that the rule still lacks stays away: an empty text in its key would be one.
    if (selector != nullptr) {
        writer.putString(selector.get(), "%s.%s.%s", kRulePrefix, id, kSelector);
    }
    if (action != nullptr) {
        writer.putString(action.get(), "%s.%s.%s", kRulePrefix, id, kAction);
    }
    return writer.write(this) == CONFIG_OK ? StatusCode::kOk : StatusCode::kInternalServerError;
}

void SystemSyslogCollection::deleteEntryOperation(const char* entry, HabRequest* request) {
    logger_function(7, kModule, "SystemSyslogCollection::deleteEntryOperation, id_str = %s", entry);
    // The name becomes a part of a pattern: only that of an entry may, never a "*" from outside.
    if (findEntry(entry) == nullptr) {
        request->replyFinish(StatusCode::kNotFound);
        logger_function(6, kModule, "SystemSyslogCollection::deleteEntryOperation, NOT FOUND Entry %s ",
                        entry);
        return;
    }
    char pattern[kMaxPattern + 1];
    px_snprintf(pattern, sizeof pattern, "%s.%s.*", kRulePrefix, entry);
    static_cast<void>(config_deletem(pattern));
    dumpSyslogMap("DELETE-ENTRY-OPERATION");
    request->replyFinish(StatusCode::kOk);
}

void SystemSyslogCollection::deleteOperation(HabRequest* request) {
    logger_function(7, kModule, "SystemSyslogCollection::deleteOperation DELETE-ALL");
    static_cast<void>(config_deletem(kAllKeys));
    dumpSyslogMap("DELETE-ALL-OPERATION");
    request->replyFinish(StatusCode::kOk);
}

// An empty word would make the other one take its place, and a backslash at the end draw in the next line.
bool SystemSyslogCollection::validateSelectorAction(const char* text) {
    const std::string_view word(text);
    if (word.empty() || word.back() == '\\') {
        return false;
    }
    for (const char c : word) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte <= ' ' || byte == 0x7F || byte == '#') {
            return false;
        }
    }
    return true;
}

// Clauses behind one of authpriv are dropped as well, on purpose: they could let the messages in again.
MallocedText SystemSyslogCollection::sanitizeSelector(const char* selector) {
    const char* const authpriv = std::strstr(selector, kAuthpriv);
    std::size_t kept = std::strlen(selector);
    if (authpriv != nullptr) {
        kept = authpriv == selector ? 0 : static_cast<std::size_t>(authpriv - selector) - 1;
    }
    char* printed = nullptr;
    const int length = asprintf(&printed, "%.*s;authpriv.none", static_cast<int>(kept), selector);
    return MallocedText(length < 0 ? nullptr : printed);
}

bool SystemSyslogCollection::createOperationValidate(const cJSON* body) {
    return check_word(body, kSelector) == CjsonValidate::kValid &&
           check_word(body, kAction) == CjsonValidate::kValid;
}

bool SystemSyslogCollection::updateEntryValidate(const char* id, const cJSON* body) {
    const int selector = check_word(body, kSelector);
    const int action = check_word(body, kAction);
    const bool changes_one = selector == CjsonValidate::kValid || action == CjsonValidate::kValid;
    const bool spoils_one = selector == CjsonValidate::kInvalid || action == CjsonValidate::kInvalid;
    return std::strtol(id, nullptr, 10) <= kMaxSlot && changes_one && !spoils_one;
}

void SystemSyslogCollection::dumpSyslogMap(const char* tag) const {
    logger_function(6, kModule, "SystemSyslogCollection::dumpSyslogMap %s, entryMapSize = %d", tag,
                    static_cast<int>(entries.size()));
    for (const char* name : kSlotNames) {
        if (const cJSON* const entry = findEntry(name)) {
            logger_function(6, kModule, " dumpSyslogMap: %s: Selector/Action %s : %s", name,
                            text_for_log(text_or_null(text_of(entry, kSelector))).c_str(),
                            text_for_log(text_or_null(text_of(entry, kAction))).c_str());
        } else {
            logger_function(6, kModule, " dumpSyslogMap: %s: EMPTY ", name);
        }
    }
}
