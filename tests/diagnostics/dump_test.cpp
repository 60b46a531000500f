#include <string>

#include <gtest/gtest.h>

#include <ombrel/dump.h>

#include "support/capture.h"
#include "support/heap_balance.h"

namespace {

using Dump = ombrel_test::balanced_test;

std::string dumped(int indent, size_t offset, const void* data, size_t size, uint64_t address) {
    ombrel_test::capture written(stdout);
    EXPECT_EQ(data, ombrel_dump_ex(indent, offset, data, size, address));
    return written.text();
}

TEST_F(Dump, ShowsRunsOfSixteenWithTheTextBeside) {
    const char data[] = "..0123456789\x00\x1f\x7f\xff ~abcd";
    EXPECT_EQ("00001000 30 31 32 33 34 35 36 37 | 38 39 00 1F 7F FF 20 7E [0123456789.... ~]\n"
              "00001010 61 62 63 64" +
                  std::string(38, ' ') + " [abcd            ]\n",
              dumped(0, 2, data, 20, 0x1000));
}

TEST_F(Dump, KeepsItsColumnsForEverySize) {
    const std::string data(32, 'x');
    for (size_t size = 1; size <= 32; size++) {
        const std::string text = dumped(3, 0, data.data(), size, 0xFFFFFFFFFFFFFFF0u);
        const size_t lines = (size + 15) / 16;
        EXPECT_EQ(0u, text.find("   FFFFFFFFFFFFFFF0 78"));
        for (size_t line = 0, at = 0; line < lines; line++, at = text.find('\n', at) + 1)
            EXPECT_EQ(at + 3 + (line == 0 ? 16u : 8u) + 50u, text.find(" [", at)) << size;
    }
}

TEST_F(Dump, IndentsByAnyNumber) {
    for (const int indent : {-5, 0, 1, 128, 129, 5000}) {
        const auto margin = static_cast<size_t>(indent > 0 ? indent : 0);
        const std::string text = dumped(indent, 0, "A", 1, 0);
        EXPECT_EQ(std::string(margin, ' ') + "00000000 41 ", text.substr(0, margin + 12)) << indent;
    }
}

TEST_F(Dump, NothingShowsNothing) {
    EXPECT_EQ("", dumped(0, 0, nullptr, 20, 0));
    EXPECT_EQ("", dumped(0, 0, "A", 0, 0));
}

} // namespace
