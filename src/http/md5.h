// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// MD5 (RFC 1321) by the system's digest library, whose own header stays out of sight: its names would clash with
// those of other digest libraries.

inline constexpr std::size_t kMd5DigestSize = 16;

// The state between MD5_Init and MD5_Final; may be copied. Its contents are the library's.
struct Md5Context {
    alignas(8) unsigned char storage[88];
};

void MD5_Init(Md5Context* context);
void MD5_Update(Md5Context* context, const void* data, std::size_t size);
void MD5_Final(unsigned char* digest, Md5Context* context);  // room for kMd5DigestSize bytes

// The digest of `data` as 32 lower-case hexadecimal digits.
[[nodiscard]] std::string md5_hex(std::string_view data);
