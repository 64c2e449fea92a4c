// SPDX-License-Identifier: MIT

#include "src/http/md5.h"

#include <md5.h>

#include <cstdio>
#include <new>

static_assert(sizeof(MD5_CTX) <= sizeof(Md5Context::storage) && alignof(MD5_CTX) <= alignof(Md5Context));
static_assert(MD5_DIGEST_LENGTH == kMd5DigestSize);

namespace {

MD5_CTX* library_context(Md5Context* context) {
    return std::launder(reinterpret_cast<MD5_CTX*>(context->storage));
}

}  // namespace

void MD5_Init(Md5Context* context) {
    MD5Init(new (context->storage) MD5_CTX);
}

void MD5_Update(Md5Context* context, const void* data, std::size_t size) {
    MD5Update(library_context(context), static_cast<const unsigned char*>(data), size);
}

void MD5_Final(unsigned char* digest, Md5Context* context) {
    MD5Final(digest, library_context(context));
}

std::string md5_hex(std::string_view data) {
    Md5Context context;
    MD5_Init(&context);
    MD5_Update(&context, data.data(), data.size());
    unsigned char digest[kMd5DigestSize];
    MD5_Final(digest, &context);

    char text[2 * kMd5DigestSize + 1];
    for (std::size_t i = 0; i < kMd5DigestSize; ++i) {
        std::snprintf(text + 2 * i, 3, "%02x", digest[i]);
    }
    return text;
}
