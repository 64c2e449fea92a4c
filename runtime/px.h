// SPDX-License-Identifier: MIT

#pragma once

#include "runtime/px_console.h"  // IWYU pragma: export
#include "runtime/px_display.h"  // IWYU pragma: export
#include "runtime/px_panic.h"    // IWYU pragma: export
#include "runtime/px_signal.h"   // IWYU pragma: export
#include "runtime/px_slog.h"     // IWYU pragma: export
#include "runtime/px_time.h"     // IWYU pragma: export
