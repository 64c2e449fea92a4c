// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <vector>

// FakeSyslog: stands for the C library's syslog while the tests of this program run. Every call is recorded as
// one line ("openlog (null) 0 8", "syslog 3 text"); texts also go to standard error, where death tests look.
namespace fake_syslog {

[[nodiscard]] std::vector<std::string> calls();
void forget();

}  // namespace fake_syslog
