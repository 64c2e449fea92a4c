// SPDX-License-Identifier: MIT

#pragma once

// Prints what reads and pattern reads cost with a thousand, a hundred thousand and a million keys in the database, how
// far they are from flat, and how long the database with most keys takes to start.
void database_print();
