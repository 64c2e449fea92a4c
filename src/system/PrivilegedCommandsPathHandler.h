// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>

#include "runtime/fdloop_libevent.h"
#include "src/rest/BaseCollectionPathHandler.h"
#include "src/system/PrivilegedCommands.h"
#include "src/system/ProcessMonitor.h"

// PrivilegedCommandsPathHandler: the network tools that an integrator has started, "/system/oem/privileged-cmds". A
// POST starts one of a fixed set of programs; its entry shows how it is doing and stays until it is deleted. Deleting
// the entry of a running program asks that to end, and the entry goes then.
// Borrows: the loop, which outlives it.
// Threads: loop thread only. The constructor blocks SIGCHLD, see ProcessMonitor: further threads start after it.
// Errors:  a POST answers 400 for a bad body and a program that is not allowed, 409 with 32 entries.
// The destructor leaves running programs alone.
class PrivilegedCommandsPathHandler : public BaseCollectionPathHandler<PrivilegedCommands>,
                                      public PrivilegedCommands::PriviligedCommandsInterface {
  public:
    explicit PrivilegedCommandsPathHandler(_fdloop_t* loop);
    ~PrivilegedCommandsPathHandler() override;

    void createOperation(HabRequest* request) override;
    void deleteEntryOperation(const char* entry, HabRequest* request) override;
    [[nodiscard]] JsonPtr createCJsonFromEntry(PrivilegedCommands* entry) override;

    // A command of the handler, with its next id, that is not started yet. Null for a body (null will do) that names
    // no allowed program or holds a member of the wrong type or length.
    [[nodiscard]] static std::unique_ptr<PrivilegedCommands> formatCjsonToCommand(
        const cJSON* body, std::unique_ptr<PrivilegedCommandObject> object,
        PrivilegedCommandsPathHandler* handler);
    [[nodiscard]] static JsonPtr formatCommandToCjson(const PrivilegedCommands* command);
    // Logs the entry and tells the subscribers of it.
    void updateCommand(PrivilegedCommands* command);
    // Borrowed; null when there is none.
    [[nodiscard]] PrivilegedCommands* getCommand(int id) const;
    // Whether clients may start this program.
    [[nodiscard]] static bool checkCommand(const char* command);

  protected:
    // Notes how the start of a command went; the status of the answer.
    [[nodiscard]] StatusCode::Value noteStart(int result, PrivilegedCommandObject& data);

  private:
    void ProcessExited(PrivilegedCommands* command) override;
    void ProcessTerminated(PrivilegedCommands* command) override;
    void afterEnd(PrivilegedCommands* command);
    void deleteEntry(const std::string& id);
    void replyCreated(HabRequest* request, StatusCode::Value status, const std::string& id);

    bool m_last_spawn_succeeded = false;
    std::uint32_t m_next_id = 1;
    std::set<std::string> m_pending_deletions;  // ids of entries that go when their process has ended
    FdLoopAdaptor m_loop;
    ProcessMonitor m_monitor;
};
