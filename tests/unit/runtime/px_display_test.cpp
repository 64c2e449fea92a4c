// SPDX-License-Identifier: MIT

#include "runtime/px_display.h"

#include <cstdio>
#include <string>

#include <gtest/gtest.h>

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

namespace {

std::string Dump(char mode, const void* data, std::size_t count, std::uintptr_t label) {
    CaptureStdout();
    px_data_display(mode, data, count, label);
    return GetCapturedStdout();
}

constexpr const char* kText =
    "Hello, world!\n\x01\xff"
    "ABCD";

}  // namespace

TEST(PxDataDisplay, PrintsBytesWithTheirTextInColumnFiftyNine) {
    EXPECT_EQ(Dump('b', kText, 20, 0x1000),
              "00001000: 48 65 6c 6c 6f 2c 20 77 6f 72 6c 64 21 0a 01 ff  Hello, world!...\n"
              "00001010: 41 42 43 44                                      ABCD\n");
}

TEST(PxDataDisplay, PrintsHalfWordsWithTheirTextInColumnFiftyOne) {
    EXPECT_EQ(Dump('h', kText, 9, 0),
              "00000000: 6548 6c6c 2c6f 7720 726f 646c 0a21 ff01  Hello, world!...\n"
              "00000010: 4241                                     AB\n");
}

TEST(PxDataDisplay, PrintsWordsWithTheirTextInColumnFortySeven) {
    EXPECT_EQ(Dump('w', kText, 5, 0),
              "00000000: 6c6c6548 77202c6f 646c726f ff010a21  Hello, world!...\n"
              "00000010: 44434241                             ABCD\n");
}

TEST(PxDataDisplay, TakesAnUnknownModeAsWords) {
    EXPECT_EQ(Dump('?', kText, 5, 0), Dump('w', kText, 5, 0));
}

TEST(PxDataDisplay, PrintsNothingForACountOfZero) {
    EXPECT_EQ(Dump('b', kText, 0, 0), "");
}

TEST(PxDataDisplay, ReadsWordsAtAnyAddress) {
    EXPECT_EQ(Dump('w', kText + 1, 1, 0), "00000000: 6f6c6c65                             ello\n");
}

TEST(PxMemDisplay, LabelsTheLinesWithTheAddress) {
    char label[16];
    std::snprintf(label, sizeof label,
                  "%08x:", static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(kText)));
    CaptureStdout();

    px_mem_display('b', kText, 20);

    EXPECT_EQ(GetCapturedStdout().substr(0, 9), label);
}

TEST(PxMemDisplay, KeepsTheTextColumnInAShortLastLine) {
    CaptureStdout();

    px_mem_display('b', kText, 20);

    const std::string output = GetCapturedStdout();
    const std::size_t second_line = output.find('\n') + 1;
    EXPECT_EQ(output.find("Hello"), 59u);
    EXPECT_EQ(output.find("ABCD") - second_line, 59u);
}
