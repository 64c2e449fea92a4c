# SPDX-License-Identifier: MIT

# Everything from outside comes from Debian packages; `./dev` knows their names.
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
pkg_check_modules(CJSON REQUIRED IMPORTED_TARGET libcjson)
pkg_check_modules(EVENT REQUIRED IMPORTED_TARGET libevent>=2.1.12)
pkg_check_modules(EVENT_PTHREADS REQUIRED IMPORTED_TARGET libevent_pthreads>=2.1.12)
pkg_check_modules(SQLITE REQUIRED IMPORTED_TARGET sqlite3)
pkg_check_modules(MD REQUIRED IMPORTED_TARGET libmd)
pkg_check_modules(ARCHIVE REQUIRED IMPORTED_TARGET libarchive)
find_package(CLI11 REQUIRED)
