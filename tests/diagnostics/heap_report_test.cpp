#include <ombrel/heap_report.h>

#include <memory>
#include <string>
#include <vector>

#include <ombrel/heap.h>
#include <ombrel/output.h>

#include "support/heap_balance.h"
#include "support/matches.h"
#include "support/queued.h"

namespace {

using ombrel_test::matches;

constexpr size_t overhead = def_ombrel_heap_overhead;
const std::string long_name(100, 'n');

/// Blocks of three call sites, made in turns so that none is next to its like, beside whatever else lives.
class HeapReport : public ombrel_test::balanced_test {
protected:
    HeapReport() {
        for (int i = 0; i < 3; i++) {
            add(1000, "report_many", 7);
            add(1000, i == 0 ? "report_many" : "report_few", i == 0 ? 7 : 7 + 1);
        }
        add(8, long_name.c_str(), 5);
        add(8, (long_name + "x").c_str(), 5);
    }
    ~HeapReport() override {
        for (void* block : blocks_)
            ombrel_free(block);
    }

    void add(size_t size, const char* tag, unsigned long line) {
        blocks_.push_back(ombrel_alloc_tag(size, tag_of(tag), line));
    }

private:
    // Tags are kept by address: equal texts at different ones are one site.
    const char* tag_of(const std::string& text) {
        tags_.push_back(std::make_unique<std::string>(text));
        return tags_.back()->c_str();
    }

    std::vector<std::unique_ptr<std::string>> tags_;
    std::vector<void*> blocks_;
};

TEST_F(HeapReport, CountsBlocksByCallSite) {
    std::vector<ombrel_heap_site_t> sites(5000);
    ombrel_heap_site_t others = {"x", 1, 1, 1};
    const size_t count = ombrel_get_heap_sites(sites.data(), sites.size(), &others);
    ASSERT_GE(count, 3u);
    size_t blocks = 0, bytes = 0, found = 0;
    for (size_t i = 0; i < count; i++) {
        const ombrel_heap_site_t& site = sites[i];
        blocks += site.m_blocks;
        bytes += site.m_size;
        if (i > 0) {
            EXPECT_LE(site.m_size, sites[i - 1].m_size);
        }
        const std::string tag = site.m_tag;
        const size_t expected = tag == "report_many" ? 4 : tag == "report_few" ? 2 : 0;
        if (expected != 0) {
            EXPECT_EQ(site.m_line, expected == 4 ? 7u : 8u);
            EXPECT_EQ(site.m_blocks, expected);
            EXPECT_EQ(site.m_size, expected * (1000 + overhead));
        }
        found += expected;
        if (tag == long_name.substr(0, 63)) {
            EXPECT_EQ(2u, site.m_blocks) << "cut names are one";
            found++;
        }
    }
    EXPECT_EQ(7u, found);
    EXPECT_EQ(blocks, ombrel_get_alloc_count());
    EXPECT_EQ(bytes, ombrel_get_alloc_size());
    EXPECT_EQ(0u, sites[count].m_blocks);
    EXPECT_EQ("0", others.m_tag + std::to_string(others.m_line + others.m_blocks + others.m_size));
}

TEST_F(HeapReport, SitesOfOneSizeComeByNameAndLine) {
    const std::pair<const char*, unsigned long> sorted[] = {{"tied_a", 3}, {"tied_a", 9}, {"tied_b", 2},
                                                            {"tied_b", 3}, {"tied_b", 7}, {"tied_c", 1}};
    for (const size_t i : {4, 0, 5, 2, 1, 3})
        add(100'000, sorted[i].first, sorted[i].second);
    ombrel_heap_site_t sites[100], others;
    EXPECT_LE(std::size(sorted), ombrel_get_heap_sites(sites, 100, &others));
    for (size_t i = 0; i < std::size(sorted); i++) {
        EXPECT_STREQ(sorted[i].first, sites[i].m_tag);
        EXPECT_EQ(sorted[i].second, sites[i].m_line);
    }
}

TEST_F(HeapReport, SumsUpWhatItHasNoRoomFor) {
    ombrel_heap_site_t sites[2], others;
    EXPECT_EQ(2u, ombrel_get_heap_sites(sites, 2, &others));
    EXPECT_STREQ("report_few", sites[0].m_tag);
    EXPECT_EQ(2u, sites[1].m_blocks) << "the newest, under the long name";
    EXPECT_EQ(others.m_blocks, ombrel_get_alloc_count() - 4);
    EXPECT_EQ(others.m_size, ombrel_get_alloc_size() - sites[0].m_size - sites[1].m_size);
    for (const size_t room : {size_t{0}, size_t{5}}) {
        EXPECT_EQ(0u, ombrel_get_heap_sites(nullptr, room, &others));
        EXPECT_EQ(others.m_size, ombrel_get_alloc_size());
    }
    EXPECT_EQ(1u, ombrel_get_heap_sites(sites, 1, nullptr));
}

std::string printed_report;

unsigned collect_report(const char* text) {
    printed_report += std::string("<") + text + ">";
    return 0;
}

TEST_F(HeapReport, IsPrintedAsOneTextOrQueued) {
    printed_report.clear();
    ombrel_puts_handler_t before;
    ombrel_set_puts_handler(collect_report, &before);
    size_t blocks, size, peak;
    ombrel_get_alloc_info(&blocks, &size, &peak);
    EXPECT_EQ(0, ombrel_push_heap_report(nullptr));
    ombrel_set_puts_handler(before, nullptr);
    const std::string many = std::to_string(4 * (1000 + overhead));
    EXPECT_TRUE(matches(printed_report, "<" + std::to_string(blocks) + " live blocks, " +
                                            std::to_string(size) + " bytes, peak " + std::to_string(peak) +
                                            "\n(.*\n)* {8}" + many +
                                            " bytes in        4 blocks  report_many:7\n(.*\n)*>"))
        << "nothing of its own";

    ombrel_buffer_t* const buffer = ombrel_open_buffer_ex(0);
    EXPECT_EQ(0, ombrel_push_heap_report(buffer));
    const std::string queued = ombrel_test::take_queued(buffer);
    ombrel_close_buffer(buffer);
    EXPECT_NE(queued.find("blocks  report_few:8\n"), std::string::npos) << queued;
}

} // namespace
