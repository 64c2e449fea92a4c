// SPDX-License-Identifier: MIT

#pragma once

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "SystemFixture.h"
#include "config_client/config_vbuf.h"
#include "src/system/SystemDebugObject.h"
#include "tests/support/TempDirectory.h"

// DebugFixture: the debug object with its marker files in a directory of the test's, and the rules below it.
class DebugFixture : public SystemFixture {
  protected:
    static constexpr const char* kDebug = "/system/debug";

    DebugFixture() {
        m_controller.addPathHandler("debug", new SystemDebugObject(m_flags.file("").c_str()));
        config_change_register(kMarker, note_marker, &m_heard_marker);
    }
    ~DebugFixture() override { config_change_deregister(kMarker, note_marker, &m_heard_marker); }

    // The payload goes under "data".
    int put(const std::string& uri, const std::string& payload) {
        return ask("PUT", uri.c_str(), R"({"data":)" + payload + "}").status;
    }
    int remove(const std::string& uri) { return ask("DELETE", uri.c_str()).status; }

    // What was written has reached the database, and the resources have heard of what it changed.
    void settle() {
        waitForDatabase();
        m_heard_marker = false;
        m_database.announce({kMarker});
        ASSERT_TRUE(turnUntil([this] { return m_heard_marker; }));
    }
    // Lets the resources hear of these keys as the database now has them; one message.
    void announce(const std::vector<std::string>& keys) {
        m_database.announce(keys);
        settle();
    }
    // Lets the resources hear of these texts in one message, whatever the database has. None is terminated.
    void report(const std::vector<std::pair<std::string, std::string>>& texts) {
        void* buffer = nullptr;
        size_t used = 0;
        for (const auto& [key, text] : texts) {
            used = config_vbuf_add(&buffer, used, nullptr, CONFIG_TYPE_STRING, key.c_str(), text.data(),
                                   static_cast<uint32_t>(text.size()), CONFIG_OK);
        }
        const Malloced<void> owner(buffer);
        const std::string& first = texts.front().first;
        m_database.sendSignal("config.change." + first.substr(0, first.find('.')),
                              {static_cast<const char*>(buffer), used});
        settle();
    }

    // How many messages whose names begin so have reached the database.
    long sent(const std::string& name_prefix) {
        waitForDatabase();
        const std::vector<BusMessage> messages = m_database.messages();
        return std::count_if(messages.begin(), messages.end(), [&](const BusMessage& message) {
            return message.name.starts_with(name_prefix);
        });
    }
    // The bus goes away.
    void cutBus() { m_bus->client->close(m_bus.get()); }

    TempDirectory m_flags;

  private:
    static constexpr const char* kMarker = "ram.marker";

    static void note_marker(unsigned int, const config_data_t*, void* heard) {
        *static_cast<bool*>(heard) = true;
    }

    bool m_heard_marker = false;
};
