// SPDX-License-Identifier: MIT

#include "device/diagd/report_archive.h"

#include <archive.h>
#include <archive_entry.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstring>

#include "runtime/c_owner.h"
#include "runtime/px_time.h"

namespace {

using ArchivePtr = COwned<archive, archive_write_free>;
using EntryPtr = COwned<archive_entry, archive_entry_free>;

constexpr const char* kFolder = "diag_report/";

bool add_entry(archive* target, const std::string& name, const std::string& text) {
    const EntryPtr entry(archive_entry_new());
    archive_entry_set_pathname(entry.get(), (kFolder + name).c_str());
    archive_entry_set_size(entry.get(), static_cast<la_int64_t>(text.size()));
    archive_entry_set_filetype(entry.get(), S_IFREG);
    archive_entry_set_perm(entry.get(), S_IRUSR | S_IWUSR);
    archive_entry_set_mtime(entry.get(), px_time(), 0);
    return archive_write_header(target, entry.get()) == ARCHIVE_OK &&
           archive_write_data(target, text.data(), text.size()) == static_cast<la_ssize_t>(text.size());
}

bool write_all(archive* target, int fd, const Report& report) {
    return archive_write_set_format_ustar(target) == ARCHIVE_OK &&
           archive_write_add_filter_gzip(target) == ARCHIVE_OK &&
           archive_write_open_fd(target, fd) == ARCHIVE_OK &&
           std::ranges::all_of(
               report.entries(),
               [&](const ReportEntry& entry) { return add_entry(target, entry.name, entry.text); }) &&
           add_entry(target, "notes.txt", report.notes()) && archive_write_close(target) == ARCHIVE_OK;
}

}  // namespace

std::string report_archive_write(int fd, const Report& report) {
    const ArchivePtr target(archive_write_new());
    if (target == nullptr) {
        return "no memory for the archive";
    }
    if (write_all(target.get(), fd, report)) {
        return "";
    }
    return std::string("cannot write the archive: ") + strerror(archive_errno(target.get()));
}
