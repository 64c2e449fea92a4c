// SPDX-License-Identifier: MIT

#include "src/http/md5.h"

#include <string>

#include <gtest/gtest.h>

TEST(Md5Hex, DigestsAnEmptyText) {
    EXPECT_EQ(md5_hex(""), "d41d8cd98f00b204e9800998ecf8427e");
}

TEST(Md5Hex, DigestsTheSamplesOfTheStandard) {
    EXPECT_EQ(md5_hex("a"), "0cc175b9c0f1b6a831c399e269772661");
    EXPECT_EQ(md5_hex("abc"), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(md5_hex("message digest"), "f96b697d7cb7938d525a2f31aaf161d0");
    EXPECT_EQ(md5_hex("12345678901234567890123456789012345678901234567890123456789012345678901234567890"),
              "57edf4a22be3c955ac49da2e2107b67a");
}

TEST(Md5Hex, DigestsNulBytesToo) {
    EXPECT_NE(md5_hex(std::string("a\0b", 3)), md5_hex("a"));
}

TEST(Md5, GivesTheSameDigestForATextInPieces) {
    const unsigned char expected[] = {0x90, 0x01, 0x50, 0x98, 0x3c, 0xd2, 0x4f, 0xb0,
                                      0xd6, 0x96, 0x3f, 0x7d, 0x28, 0xe1, 0x7f, 0x72};
    Md5Context context;
    unsigned char digest[kMd5DigestSize] = {};

    MD5_Init(&context);
    MD5_Update(&context, "a", 1);
    MD5_Update(&context, "bc", 2);
    MD5_Final(digest, &context);

    EXPECT_EQ(std::string(digest, digest + sizeof digest), std::string(expected, expected + sizeof expected));
}

TEST(Md5, GoesOnFromACopiedState) {
    Md5Context context;
    MD5_Init(&context);
    MD5_Update(&context, "ab", 2);
    Md5Context copy = context;
    unsigned char digest[kMd5DigestSize] = {};
    unsigned char of_copy[kMd5DigestSize] = {};

    MD5_Update(&context, "c", 1);
    MD5_Final(digest, &context);
    MD5_Update(&copy, "c", 1);
    MD5_Final(of_copy, &copy);

    EXPECT_EQ(std::string(digest, digest + sizeof digest), std::string(of_copy, of_copy + sizeof of_copy));
}
