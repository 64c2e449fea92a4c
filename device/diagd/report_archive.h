// SPDX-License-Identifier: MIT

#pragma once

#include <string>

#include "device/diagd/Report.h"

// Writes the report as a compressed tar archive to the descriptor, at its position: every entry, then "notes.txt", all
// in a folder "diag_report". Answers nothing, or why it failed; the descriptor holds part of an archive then. It stays
// the caller's.
[[nodiscard]] std::string report_archive_write(int fd, const Report& report);
