// SPDX-License-Identifier: MIT

#include "tools/configctl/ChangeWatch.h"

#include <poll.h>

#include <algorithm>

#include "src/base/json_helpers.h"
#include "src/base/printable_text.h"
#include "tools/common/config_value.h"
#include "tools/common/json_text.h"
#include "tools/common/time_text.h"

namespace {

std::string_view bytes_of(const config_data_t& changed) {
    return changed.value != nullptr
               ? std::string_view(static_cast<const char*>(changed.value), changed.length)
               : std::string_view();
}

}  // namespace

ChangeWatch::ChangeWatch(const CommandLine& command, Database& database, const Interruption& interruption,
                         const Output& output)
    : m_command(command),
      m_database(database),
      m_interruption(interruption),
      m_output(output),
      m_prefixes(change_prefixes(command.keys)) {
    for (const std::string& prefix : m_prefixes) {
        config_change_register(prefix.c_str(), on_change, this);
    }
}

ChangeWatch::~ChangeWatch() {
    for (const std::string& prefix : m_prefixes) {
        config_change_deregister(prefix.c_str(), on_change, this);
    }
}

ExitStatus ChangeWatch::run() {
    const Deadline deadline = m_command.timeout ? Deadline::clock::now() + *m_command.timeout : kNoDeadline;
    auto wakeup = Interruption::Wakeup::kReady;
    while (wakeup == Interruption::Wakeup::kReady && m_database.socket() >= 0 && !isDone()) {
        wakeup = m_interruption.await(m_database.socket(), POLLIN, deadline);
        if (wakeup == Interruption::Wakeup::kReady) {
            m_database.dispatch();
        }
    }
    return report(wakeup);
}

ExitStatus ChangeWatch::report(Interruption::Wakeup wakeup) const {
    if (m_written == Output::Result::kFailed) {
        return ExitStatus::kUnreachable;
    }
    if (wakeup == Interruption::Wakeup::kTimeLimit && m_printed == 0) {
        return ExitStatus::kRefused;
    }
    if (wakeup == Interruption::Wakeup::kReady && !isDone()) {
        m_output.complain("the connection has ended");
        return ExitStatus::kUnreachable;
    }
    return ExitStatus::kDone;
}

void ChangeWatch::on_change(unsigned int count, const config_data_t* elements, void* self) {
    std::for_each(elements, elements + count,
                  [self](const config_data_t& changed) { static_cast<ChangeWatch*>(self)->print(changed); });
}

bool ChangeWatch::isDone() const {
    return m_written != Output::Result::kWritten || (m_command.count && m_printed >= *m_command.count);
}

void ChangeWatch::print(const config_data_t& changed) {
    if (!isDone()) {
        m_written =
            m_output.writeLine(m_command.is_json ? change_json(changed, time_now_us())
                                                 : change_text(changed, time_now_us(), m_output.paint()));
        ++m_printed;
    }
}

std::vector<std::string> change_prefixes(const std::vector<std::string>& prefixes) {
    std::vector<std::string> result;
    for (const std::string& prefix : prefixes) {
        const auto is_covered = [&prefix](const std::string& other) { return prefix.starts_with(other); };
        if (std::ranges::none_of(result, is_covered)) {
            std::erase_if(result, [&prefix](const std::string& other) { return other.starts_with(prefix); });
            result.push_back(prefix);
        }
    }
    return result;
}

std::string change_text(const config_data_t& changed, std::uint64_t time_us, const Paint& paint) {
    const std::string text = time_text(time_us, TimePrecision::kMilliseconds) + ' ' +
                             paint(Paint::Colour::kName, text_printable(changed.key));
    return changed.type == CONFIG_TYPE_NONE
               ? text + ' ' + paint(Paint::Colour::kBad, "deleted")
               : text + " = " + config_value_text(changed.type, bytes_of(changed));
}

std::string change_json(const config_data_t& changed, std::uint64_t time_us) {
    const JsonPtr json(cJSON_CreateObject());
    cJSON_AddStringToObject(json.get(), "time", time_text(time_us, TimePrecision::kMilliseconds).c_str());
    cJSON_AddStringToObject(json.get(), "key", changed.key);
    json_add(json.get(), "value", config_value_json(changed.type, bytes_of(changed)));
    return json_printable(*json, JsonLayout::kOneLine);
}
