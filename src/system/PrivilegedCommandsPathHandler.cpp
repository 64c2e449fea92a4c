// SPDX-License-Identifier: MIT

#include "src/system/PrivilegedCommandsPathHandler.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

#include "runtime/logging.h"

namespace {

constexpr const char* kModule = "src/PrivilegedCommands";

constexpr std::size_t kMaxEntries = 32;
constexpr std::size_t kMaxLocation = 99;
// Clients choose the arguments freely, and the programs run with the rights of the daemon: each one more is a door.
constexpr const char* kAllowed[] = {"ip",      "iptables", "iptables-restore", "tcpdump",
                                    "dnsmasq", "lighttpd", "dnslookup"};

}  // namespace

PrivilegedCommandsPathHandler::PrivilegedCommandsPathHandler(_fdloop_t* loop)
    : BaseCollectionPathHandler<PrivilegedCommands>(EntryMemory::kDelete), m_loop(loop), m_monitor(&m_loop) {
    m_monitor.init();
}

PrivilegedCommandsPathHandler::~PrivilegedCommandsPathHandler() {
    // Here, not with the base: the entries leave the monitor, which goes before that.
    entries.clear();
}

void PrivilegedCommandsPathHandler::createOperation(HabRequest* request) {
    const JsonPtr body = readRequestData(request);
    if (entries.size() >= kMaxEntries) {
        request->replyFinish(StatusCode::kConflict);
        return;
    }
    auto command = formatCjsonToCommand(body.get(), std::make_unique<PrivilegedCommandObject>(), this);
    // Used up by a refused command as well.
    const std::string id = std::to_string(static_cast<int>(m_next_id++));
    if (command == nullptr) {
        m_last_spawn_succeeded = false;
        request->replyFinish(StatusCode::kBadRequest);
        return;
    }
    const StatusCode::Value status = noteStart(command->runProcess(), command->data());
    // The flag may be from an earlier command, on purpose: once one has been started, and none refused by its body
    // since, clients get an entry also for those that fail to start, and delete it like any other.
    if (!m_last_spawn_succeeded) {
        request->replyFinish(status);
        return;
    }
    putEntry(id.c_str(), command.release());
    replyCreated(request, status, id);
}

StatusCode::Value PrivilegedCommandsPathHandler::noteStart(int result, PrivilegedCommandObject& data) {
    switch (result) {
        case 0:
            m_last_spawn_succeeded = true;
            data.status = "RUNNING";
            data.exitcode = 0;
            return StatusCode::kCreated;
        case 1:
            m_last_spawn_succeeded = false;
            data.status = "ERROR";
            data.exitcode = -1;
            return StatusCode::kInternalServerError;
        default:
            return StatusCode::kBadRequest;
    }
}

void PrivilegedCommandsPathHandler::replyCreated(HabRequest* request, StatusCode::Value status,
                                                 const std::string& id) {
    const char* const own_path = getPath();
    const std::string location = ((own_path == nullptr ? "" : own_path) + id).substr(0, kMaxLocation);
    const JsonText text(cJSON_PrintUnformatted(formatCommandToCjson(findEntry(id.c_str())).get()));
    request->reply(status, text.get(), location.c_str());
}

void PrivilegedCommandsPathHandler::deleteEntryOperation(const char* entry, HabRequest* request) {
    PrivilegedCommands* const command = findEntry(entry);
    if (command == nullptr) {
        request->replyFinish(StatusCode::kNotFound);
        return;
    }
    const std::string id(entry);
    request->replyFinish(StatusCode::kAccepted);
    // A command that could not be started has no process whose end could be waited for.
    if (command->data().status == "EXITED" || !command->hasProcess()) {
        deleteEntry(id);
        return;
    }
    static_cast<void>(command->killProcess());
    m_pending_deletions.insert(id);
}

void PrivilegedCommandsPathHandler::ProcessExited(PrivilegedCommands* command) {
    afterEnd(command);
}

void PrivilegedCommandsPathHandler::ProcessTerminated(PrivilegedCommands* command) {
    afterEnd(command);
}

void PrivilegedCommandsPathHandler::afterEnd(PrivilegedCommands* command) {
    const std::string id = std::to_string(command->data().cmd_id);
    updateCommand(command);
    if (m_pending_deletions.contains(id)) {
        deleteEntry(id);
    }
}

void PrivilegedCommandsPathHandler::deleteEntry(const std::string& id) {
    notifyEntryDeleted(id.c_str());
    removeEntry(id.c_str());
    m_pending_deletions.erase(id);
}

void PrivilegedCommandsPathHandler::updateCommand(PrivilegedCommands* command) {
    const char* changed[] = {"status", "exitcode"};
    const JsonPtr json = formatCommandToCjson(command);
    const JsonText text(cJSON_PrintUnformatted(json.get()));
    logger_function(6, kModule, "%s", text == nullptr ? "" : text.get());
    const int changed_count = command->data().status == "EXITED" ? static_cast<int>(std::size(changed)) : 0;
    notifyEntryUpdated(std::to_string(command->data().cmd_id).c_str(), json.get(), changed_count, changed);
}

PrivilegedCommands* PrivilegedCommandsPathHandler::getCommand(int id) const {
    return findEntry(std::to_string(id).c_str());
}

bool PrivilegedCommandsPathHandler::checkCommand(const char* command) {
    return std::ranges::any_of(kAllowed,
                               [command](const char* allowed) { return std::strcmp(allowed, command) == 0; });
}

std::unique_ptr<PrivilegedCommands> PrivilegedCommandsPathHandler::formatCjsonToCommand(
    const cJSON* body, std::unique_ptr<PrivilegedCommandObject> object,
    PrivilegedCommandsPathHandler* handler) {
    object->cmd_id = static_cast<int>(handler->m_next_id);
    object->status = "RUNNING";
    if (!object->readFrom(body) || !checkCommand(object->command.c_str())) {
        return nullptr;
    }
    object->exitcode = -1;
    return std::make_unique<PrivilegedCommands>(std::move(object), handler, &handler->m_monitor);
}

JsonPtr PrivilegedCommandsPathHandler::formatCommandToCjson(const PrivilegedCommands* command) {
    return command->data().toJson();
}

JsonPtr PrivilegedCommandsPathHandler::createCJsonFromEntry(PrivilegedCommands* entry) {
    return formatCommandToCjson(entry);
}
