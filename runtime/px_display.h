// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>

// Hex dumps on the console. The mode chooses the unit: 'b' bytes (16 a line), 'h' half words of 2 bytes (8 a
// line), anything else words of 4 bytes (4 a line), in host order. count is in units; 0 prints nothing. The
// address needs no alignment.

// Lines are labelled with the address of their first unit (its low 32 bits).
void px_mem_display(char mode, const void* address, std::size_t count);

// Lines are labelled from label_address on.
void px_data_display(char mode, const void* address, std::size_t count, std::uintptr_t label_address);
