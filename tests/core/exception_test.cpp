#include <atomic>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/exception.h>
#include <ombrel/heap.h>

#include "support/capture.h"
#include "support/heap_balance.h"
#include "support/matches.h"
#include "support/threads.h"

namespace {

using ombrel_test::capture;
using ombrel_test::matches;
using ombrel_test::occurrences;
using ExceptionTrail = ombrel_test::balanced_test;

std::string report(int force) {
    capture errors(stderr);
    EXPECT_EQ(0, ombrel_dump_exception_tag(force, "file.c", "caller", 5));
    return errors.text();
}

TEST_F(ExceptionTrail, PrintsNothingWhenThereIsNothing) {
    ASSERT_EQ(0u, ombrel_get_alloc_count());
    EXPECT_EQ("", report(0));
    EXPECT_EQ("CONSOLE # dump exception at file.c:caller:5 (section=0, heap size/count/peak=0/0/" +
                  std::to_string(ombrel_get_alloc_peak_size()) + ").\n",
              report(1));
}

TEST_F(ExceptionTrail, ListsOpenSectionsNewestFirstAndLiveBlocks) {
    void* outer = ombrel_add_exception_tag("a.c", "outer", 1);
    void* middle = ombrel_add_exception_tag("b.c", "middle", 2);
    void* inner = ombrel_add_exception_tag("c.c", "inner", 3);
    EXPECT_EQ(0, ombrel_del_exception_tag(middle));
    void* block = ombrel_alloc_tag(5, "holder", 9);
    char address[32];
    snprintf(address, sizeof address, "%p", block);
    const std::string text = report(0);
    EXPECT_TRUE(matches(text, "CONSOLE # dump exception at file\\.c:caller:5 \\(section=2, heap "
                              "size/count/peak=[0-9]+/1/[0-9]+\\) \\{\n"
                              "CONSOLE #     c\\.c:inner\\(\\):3 \\(-[0-9]+ msec\\)\n"
                              "CONSOLE #     a\\.c:outer\\(\\):1 \\(-[0-9]+ msec\\)\n"
                              "CONSOLE # \\}\n"
                              "CONSOLE # \\[ALLOCATED:holder\\(\\):9\\] 8 bytes at " +
                                  std::string(address) + "\n"));
    ombrel_del_exception_tag(inner);
    ombrel_del_exception_tag(outer);
    ombrel_free(block);
    EXPECT_EQ("", report(0));
}

TEST_F(ExceptionTrail, ASettingOfZeroSilencesEverything) {
    void* section = ombrel_add_exception();
    EXPECT_EQ(0, ombrel_set_force_dump_exception(0));
    EXPECT_EQ("", report(1));
    EXPECT_EQ(-1, ombrel_set_force_dump_exception(-1));
    EXPECT_NE("", report(0));
    ombrel_del_exception(section);
}

TEST_F(ExceptionTrail, ListsAtMost128Blocks) {
    std::vector<void*> blocks;
    for (int i = 0; i < 130; i++)
        blocks.push_back(ombrel_alloc(1));
    EXPECT_EQ(128u, occurrences(report(1), "[ALLOCATED:"));
    for (void* block : blocks)
        ombrel_free(block);
}

TEST_F(ExceptionTrail, ReportsTooManySectionsAndKeepsThem) {
    std::vector<void*> sections;
    capture errors(stderr);
    for (unsigned long i = 1; i <= 4096; i++)
        sections.push_back(ombrel_add_exception_tag("many.c", "many", i));
    EXPECT_EQ("", errors.so_far());
    sections.push_back(ombrel_add_exception_tag("many.c", "last", 4097));
    EXPECT_EQ(0u, errors.text().find("ombrel [ASSERT:source/exception:ombrel_add_exception_tag:120] "
                                     "<too many exception entry> "));
    EXPECT_EQ(4097u, occurrences(report(1), "CONSOLE #     many.c:"));
    for (void* section : sections)
        EXPECT_EQ(0, ombrel_del_exception_tag(section));
}

TEST_F(ExceptionTrail, ReportsBadArgumentsAndBrokenNodes) {
    capture errors(stderr);
    EXPECT_EQ(0, ombrel_del_exception_tag(nullptr));
    EXPECT_EQ(0u, errors.text().find("ombrel [ASSERT:source/exception:ombrel_del_exception_tag:133] "
                                     "<invalid argument> "));
    auto* entry = static_cast<ombrel_exception_t*>(ombrel_add_exception());
    entry->m_older = entry;
    const std::string text = report(1);
    EXPECT_EQ(1u, occurrences(text, "ombrel [ASSERT:source/exception:ombrel_dump_exception_tag:240] "
                                    "<broken exception node> "));
    EXPECT_EQ(1u, occurrences(text, "CONSOLE # }\n"));
    entry->m_older = nullptr;
    ombrel_del_exception(entry);
}

TEST_F(ExceptionTrail, StandsDamagedSections) {
    auto* const unreadable = reinterpret_cast<char*>(static_cast<uintptr_t>(0x4141414141414141u));
    auto* const wild = reinterpret_cast<ombrel_exception_t*>(unreadable);
    void* oldest = ombrel_add_exception_tag("a.c", "oldest", 1);
    auto* middle = static_cast<ombrel_exception_t*>(ombrel_add_exception_tag("b.c", unreadable, 2));
    void* newest = ombrel_add_exception_tag("c.c", "newest", 3);
    ombrel_exception_t before = *middle;
    middle->m_newer = middle->m_older = wild;
    const std::string text = report(1);
    EXPECT_EQ(1u, occurrences(text, "b.c:<unreadable>():2 (-"));
    EXPECT_EQ(1u, occurrences(text, "CONSOLE #     broken section list (1 more)\n"));
    const std::pair<void*, const char*> cases[] = {
        {middle, "<broken exception node>"}, {wild, "<invalid argument>"},
        {&before, "<invalid argument>"},     {newest, nullptr},
        {newest, "<invalid argument>"},      {oldest, nullptr}};
    for (const auto& [entry, mistake] : cases) {
        capture errors(stderr);
        EXPECT_EQ(0, ombrel_del_exception_tag(entry));
        const std::string said = errors.text();
        EXPECT_TRUE(mistake != nullptr ? said.find(mistake) != std::string::npos : said.empty()) << said;
    }
    middle->m_newer = middle->m_older = nullptr;
    ombrel_del_exception(middle);
    EXPECT_EQ("", report(0));
}

// Reports walk the heap with the trail locked while other threads use both.
TEST_F(ExceptionTrail, WorksFromManyThreads) {
    std::atomic<bool> stop = false;
    capture errors(stderr);
    ombrel_test::in_threads(4, [&stop](int thread) {
        for (int i = 0; thread == 0 && i < 100; i++)
            ombrel_dump_exception(1);
        if (thread == 0)
            stop = true;
        while (!stop) {
            void* section = ombrel_add_exception();
            void* block = ombrel_alloc(10);
            ombrel_del_exception(section);
            ombrel_free(block);
        }
    });
    EXPECT_EQ(100u, occurrences(errors.text(), "CONSOLE # dump exception at "));
}

} // namespace
