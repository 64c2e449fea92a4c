// SPDX-License-Identifier: MIT

#include "device/diagd/process_list.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "device/diagd/bounded_file.h"

namespace {

constexpr const char* kListName = "processes.txt";
constexpr size_t kMaxProcesses = 4096;
constexpr size_t kMaxStatusBytes = 8192;
constexpr size_t kMaxCommandBytes = 512;

// The value behind "FIELD:" at the beginning of a line, "-" when there is none: kernel threads have no memory.
std::string field(std::string_view status, const std::string& name) {
    std::string_view rest = status;
    while (!rest.empty()) {
        const std::string_view line = rest.substr(0, rest.find('\n'));
        if (line.starts_with(name + ":")) {
            const size_t start = line.find_first_not_of(" \t", name.size() + 1);
            return start != std::string_view::npos ? std::string(line.substr(start)) : "-";
        }
        rest.remove_prefix(std::min(rest.size(), line.size() + 1));
    }
    return "-";
}

// Arguments are separated by NULs.
std::string command_line(const std::string& folder) {
    std::string text = bounded_file_read(folder + "/cmdline", kMaxCommandBytes, FilePart::kHead).text;
    while (!text.empty() && text.back() == '\0') {
        text.pop_back();
    }
    std::ranges::replace_if(
        text, [](unsigned char c) { return iscntrl(c) != 0; }, ' ');
    return text;
}

// Nothing when the process has ended.
std::string process_line(const std::string& proc, unsigned pid) {
    const std::string folder = proc + "/" + std::to_string(pid);
    const BoundedFile status = bounded_file_read(folder + "/status", kMaxStatusBytes, FilePart::kHead);
    if (status.error != 0) {
        return "";
    }
    char numbers[128];
    snprintf(numbers, sizeof numbers, "%7u %7.16s %1.1s %12.16s %7.16s ", pid,
             field(status.text, "PPid").c_str(), field(status.text, "State").c_str(),
             field(status.text, "VmRSS").c_str(), field(status.text, "Threads").c_str());
    const std::string command = command_line(folder);
    return numbers + field(status.text, "Name") + (command.empty() ? "" : "  " + command) + "\n";
}

std::vector<unsigned> process_numbers(const std::string& proc, std::error_code& error) {
    std::vector<unsigned> numbers;
    for (std::filesystem::directory_iterator entry(proc, error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        unsigned pid = 0;
        if (std::ranges::all_of(name, [](unsigned char c) { return isdigit(c) != 0; }) &&
            sscanf(name.c_str(), "%9u", &pid) == 1) {
            numbers.push_back(pid);
        }
    }
    std::ranges::sort(numbers);
    return numbers;
}

}  // namespace

void report_add_processes(Report& report, const std::string& proc) {
    std::error_code error;
    std::vector<unsigned> numbers = process_numbers(proc, error);
    if (error) {
        report.note(kListName, proc + " cannot be read: " + error.message());
        return;
    }
    if (numbers.size() > kMaxProcesses) {
        report.note(kListName, "the first " + std::to_string(kMaxProcesses) + " of " +
                                   std::to_string(numbers.size()) + " processes");
        numbers.resize(kMaxProcesses);
    }
    std::string text = "    PID  PARENT S       MEMORY THREADS NAME  COMMAND\n";
    for (const unsigned pid : numbers) {
        text += process_line(proc, pid);
    }
    report.add(kListName, std::move(text));
}
