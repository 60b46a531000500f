// What the heap says of damaged memory, and that it lives on.
#include <algorithm>
#include <bit>
#include <cstring>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include <ombrel/exception.h>
#include <ombrel/heap.h>
#include <ombrel/output.h>

#include "support/capture.h"
#include "support/child.h"
#include "support/heap_balance.h"
#include "support/heap_block.h"
#include "support/matches.h"
#include "support/no_copy.h"
#include "support/pages.h"

namespace {

using ombrel_test::capture;
using ombrel_test::header_of;
using ombrel_test::in_child;
using ombrel_test::matches;
using ombrel_test::occurrences;
using ombrel_test::pages;
using HeapDamage = ombrel_test::balanced_test;

constexpr size_t header_size = sizeof(ombrel_heap_block_t);
constexpr size_t overhead = header_size + sizeof(uint32_t);
constexpr uint32_t intact_trailer = 0xA55A55AA;
constexpr uintptr_t garbage = static_cast<uintptr_t>(0x4141414141414141u);

size_t reports_in(const std::string& errors) {
    return occurrences(errors, "fatal error: invalid magic code (free, ");
}

const char* by_order(const char* little_endian, const char* big_endian) {
    return std::endian::native == std::endian::little ? little_endian : big_endian;
}

// A damage to a block of 4 bytes, undone afterwards so that the block can be freed.
struct damage {
    const char* name;
    void (*inflict)(ombrel_heap_block_t* block);
    const char* magic; // the trailer in the message
    bool dumps_data;   // whether the size word bounds the dump sensibly
};

using victim = ombrel_heap_block_t*;
const damage damages[] = {
    {"trailer", [](victim block) { reinterpret_cast<char*>(block + 1)[4] = 'X'; },
     by_order("A55A5558", "585A55AA"), true},
    {"self", [](victim block) { block->m_self = nullptr; }, "A55A55AA", true},
    {"size within the block", [](victim block) { block->m_size = 0; }, by_order("64636261", "61626364"),
     true},
    {"size far away", [](victim block) { block->m_size = SIZE_MAX / 2; }, "[0-9A-F]{8}", false},
    {"size that wraps", [](victim block) { block->m_size = SIZE_MAX - 3; }, "[0-9A-F]{8}", false},
    {"size and self",
     [](victim block) {
         block->m_size = SIZE_MAX - 0xFFF;
         block->m_self = block + 1;
     },
     "[0-9A-F]{8}", false},
};

std::string hex_label(const void* address) {
    char text[32];
    snprintf(text, sizeof text, "%08zX ", reinterpret_cast<uintptr_t>(address));
    return text;
}

// The whole report of one damaged block; what is on standard error and what on standard output.
void expect_report(const damage& which, const ombrel_heap_block_t* block, const std::string& errors,
                   const std::string& output) {
    const std::string expected =
        "fatal error: invalid magic code \\(free, magic_code=" + std::string(which.magic) +
        "H, size=" + std::to_string(block->m_size) +
        ", caller=\"breaker:44\", pid=" + std::to_string(getpid()) +
        "\\)\n=> REVERSE DUMP\n"
        "CONSOLE # dump exception at source/heap:ombrel_heap_tag:272 \\(section=0, [^\n]*\\)\\.\n"
        "(CONSOLE # \\[ALLOCATED:[^\n]*\n)+";
    EXPECT_TRUE(matches(errors, expected));
    EXPECT_EQ(0u, output.find(hex_label(block))) << output;
    const size_t dumped = which.dumps_data ? block->m_size + overhead : header_size;
    const size_t forward = (dumped + 15) / 16;
    EXPECT_LE(forward, occurrences(output, "\n"));
    EXPECT_GE(forward + 32, occurrences(output, "\n"))
        << "32 lines below the header, as far as they can be read";
    const std::string below = hex_label(reinterpret_cast<const char*>(block) - 16);
    EXPECT_NE(std::string::npos, output.find("\n" + below)) << output;
}

TEST_F(HeapDamage, ReportsAndKeepsDamagedBlocks) {
    // A neighbour below, so that there is something to see there.
    void* below = ombrel_alloc(1024);
    for (const damage& which : damages) {
        SCOPED_TRACE(which.name);
        void* ptr = ombrel_alloc_tag(4, "victim", 1);
        memcpy(ptr, "abcd", 4);
        ombrel_heap_block_t* block = header_of(ptr);
        std::string saved(reinterpret_cast<char*>(block), header_size + 4 + sizeof(uint32_t));
        const size_t count = ombrel_get_alloc_count(), size = ombrel_get_alloc_size();
        which.inflict(block);
        {
            capture errors(stderr), output(stdout);
            EXPECT_EQ(0, ombrel_free_tag(ptr, "breaker", 44));
            expect_report(which, block, errors.text(), output.text());
        }
        EXPECT_EQ(count, ombrel_get_alloc_count());
        EXPECT_EQ(size, ombrel_get_alloc_size());
        memcpy(static_cast<void*>(block), saved.data(), saved.size());
        ombrel_free(ptr);
    }
    ombrel_free(below);
}

// Pointers that lead to no live block, given to each function that takes one.
TEST_F(HeapDamage, ReportsPointersToNothing) {
    auto* live = static_cast<char*>(ombrel_alloc(100));
    static char image[256];
    std::vector<void*> pointers = {live + 3, live + 48, live - 16, image + 64, &live};
    for (const uintptr_t wild : {uintptr_t{8}, uintptr_t{4096}, garbage, UINTPTR_MAX - 7})
        pointers.push_back(reinterpret_cast<void*>(wild));
    for (const size_t freed : {24u, 1000u, 4000u, 200'000u, 1u << 20}) {
        pointers.push_back(ombrel_alloc(freed));
        ombrel_free(pointers.back());
    }
    const size_t count = ombrel_get_alloc_count(), size = ombrel_get_alloc_size();
    for (void* pointer : pointers) {
        capture errors(stderr), output(stdout);
        EXPECT_EQ(0, ombrel_free_tag(pointer, "breaker", 1));
        EXPECT_EQ(0, ombrel_check_free_tag(pointer, "breaker", 1));
        void* moved = ombrel_realloc_tag(pointer, 5001, "breaker", 1);
        EXPECT_NE(nullptr, moved);
        ombrel_free(moved);
        EXPECT_EQ(3u, reports_in(errors.text())) << pointer;
    }
    EXPECT_EQ(count, ombrel_get_alloc_count());
    EXPECT_EQ(size, ombrel_get_alloc_size());
    void* again[] = {ombrel_alloc(1000), ombrel_alloc(1000)};
    EXPECT_NE(again[0], again[1]) << "a block was put into the cache twice";
    for (void* block : again)
        ombrel_free(block);
    ombrel_free(live);
}

TEST_F(HeapDamage, ResizesWhatItCanRead) {
    auto* ptr = static_cast<char*>(ombrel_alloc(16));
    memcpy(ptr, "0123456789abcdef", 16);
    for (const size_t false_size : {SIZE_MAX - 3, size_t{60'000}, size_t{8}}) {
        header_of(ptr)->m_size = false_size;
        capture errors(stderr), output(stdout);
        auto* moved = static_cast<char*>(ombrel_realloc(ptr, 16));
        ASSERT_NE(nullptr, moved);
        EXPECT_EQ(0, memcmp(moved, "0123456789abcdef", std::min<size_t>(false_size, 16)));
        EXPECT_EQ(1u, reports_in(errors.text()));
        ombrel_free(moved);
    }
    header_of(ptr)->m_size = 16;
    ombrel_free(ptr);
}

struct shown_block {
    std::string tag;
    const ombrel_heap_block_t* self;
};

int show_newest(const ombrel_heap_block_t* block, void* context) {
    *static_cast<shown_block*>(context) = {block->m_tag, block->m_self};
    return 0;
}

// A tag may be overwritten, or have gone with the library that it stood in.
TEST_F(HeapDamage, ShowsNoTagThatCannotBeRead) {
    const pages memory(2);
    char* const unreadable = memory.page(1);
    memcpy(unreadable - 3, "end", 3);
    memory.close(1); // a hole could be filled by others
    const std::string endless(1000, 'x');
    const struct {
        const char *tag, *shown;
    } cases[] = {{"plain()", "plain()"},
                 {unreadable - 3, "end"},
                 {unreadable, "<unreadable>"},
                 {reinterpret_cast<const char*>(garbage), "<unreadable>"},
                 {nullptr, "(null)"},
                 {"\x1b[1m\n\x80%s", ".[1m..%s"},
                 {endless.c_str(), endless.c_str() + endless.size() - 255}};
    for (const auto& c : cases) {
        void* ptr = ombrel_alloc_tag(4, c.tag, 1);
        shown_block shown;
        EXPECT_EQ(1u, ombrel_get_alloc_list(1, show_newest, &shown));
        EXPECT_EQ(c.shown, shown.tag);
        EXPECT_EQ(header_of(ptr), shown.self);
        capture errors(stderr);
        ombrel_dump_exception(1);
        EXPECT_NE(std::string::npos,
                  errors.text().find("CONSOLE # [ALLOCATED:" + std::string(c.shown) + "():1] 4 bytes at "));
        ombrel_free(ptr);
    }
}

TEST_F(HeapDamage, SaysWhereAWalkEnds) {
    void* blocks[] = {ombrel_alloc(4), ombrel_alloc(4), ombrel_alloc(4)};
    ombrel_heap_block_t* middle = header_of(blocks[1]);
    const size_t count = ombrel_get_alloc_count();
    const std::string report =
        "fatal error: broken block list (2 of " + std::to_string(count) + " blocks can be reached)\n";
    ombrel_heap_block_t* const circle = header_of(blocks[2]);
    for (auto* const link : {static_cast<victim>(nullptr), reinterpret_cast<victim>(garbage), circle}) {
        ombrel_heap_block_t* older = std::exchange(middle->m_older, link);
        capture errors(stderr);
        shown_block shown;
        EXPECT_GE(count, ombrel_get_alloc_list(0, show_newest, &shown)) << "it goes round in circles";
        EXPECT_TRUE(link == circle || errors.text() == report);
        middle->m_older = older;
    }
    for (void* block : blocks)
        ombrel_free(block);
}

TEST_F(HeapDamage, NamesTheFunctionWhoseGuardFreesABlock) {
    static char* damaged_text;
    const auto damage_text = [](const char* text) {
        if (text != nullptr && strcmp(text, "victim") == 0)
            header_of(damaged_text = const_cast<char*>(text))->m_size += 4;
        return 0u;
    };
    ombrel_puts_handler_t old;
    ombrel_set_puts_handler(damage_text, &old);
    capture errors(stderr);
    ombrel_printf("%s", "victim");
    ombrel_set_puts_handler(old, nullptr);
    header_of(damaged_text)->m_size -= 4;
    ombrel_free(damaged_text);
    const std::string text = errors.text();
    EXPECT_TRUE(matches(text.substr(0, text.find('\n')), ".*, caller=\"[a-z_]+:[1-9][0-9]*\", .*"));
    EXPECT_EQ(std::string::npos, text.find("heap_ptr")) << text;
}

// The sanitizers' allocators keep words of their own there.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
// Blocks that lie side by side, of which the middle one is damaged in a child process.
class side_by_side : ombrel_test::no_copy {
public:
    enum class place { anywhere, end_of_page };

    explicit side_by_side(size_t size, place wanted = place::anywhere) {
        for (int i = 0; i < (wanted == place::anywhere ? 400 : 4000); i++)
            all_.push_back(static_cast<char*>(ombrel_alloc_tag(size, "neighbour", 1)));
        std::sort(all_.begin(), all_.end());
        for (size_t i = all_.size() - 2; i > 1 && !is_complete(); i--) {
            if (static_cast<size_t>(all_[i + 1] - all_[i]) > size + overhead + 32)
                blocks_.clear();
            blocks_.push_back(all_[i]);
            if (is_complete() && wanted == place::end_of_page && !ends_page())
                blocks_.erase(blocks_.begin());
        }
        for (char* block : blocks_)
            before_.push_back(*header_of(block));
    }

    ~side_by_side() {
        for (char* block : all_)
            ombrel_free(block);
    }

    bool is_complete() const { return blocks_.size() == 17; }
    char* middle() const { return blocks_[blocks_.size() / 2]; }

    // Whether the C library's block of the middle, whose size comes before it, ends with a page.
    bool ends_page() const {
        constexpr uintptr_t page = 4096, words = 2 * sizeof(void*);
        return (reinterpret_cast<uintptr_t>(header_of(blocks_[blocks_.size() / 2 - 1])) - words) % page == 0;
    }

    // What must be reported: a changed guard, size word or link.
    size_t count_damaged() const {
        size_t damaged = 0;
        for (size_t i = 0; i < blocks_.size(); i++) {
            const ombrel_heap_block_t &now = *header_of(blocks_[i]), &then = before_[i];
            damaged += now.m_self != then.m_self || now.m_size != then.m_size ||
                       now.m_newer != then.m_newer || now.m_older != then.m_older ||
                       memcmp(blocks_[i] + then.m_size, &intact_trailer, sizeof intact_trailer) != 0;
        }
        return damaged;
    }

    // From the middle outwards on both sides, so that the neighbours of damaged blocks are freed before and
    // after.
    void free_all() const {
        for (size_t i = 0; i < blocks_.size(); i++)
            ombrel_free(blocks_[(i * 5 + 3) % blocks_.size()]);
    }

private:
    std::vector<char*> all_, blocks_;
    std::vector<ombrel_heap_block_t> before_;
};

int read_tag(const ombrel_heap_block_t* block, void* context) {
    *static_cast<size_t*>(context) += strlen(block->m_tag);
    return 0;
}

// 0 when all that the heap does after a damage is right.
template<typename Damage>
int live_through(const side_by_side& blocks, const Damage& inflict) {
    capture errors(stderr), output(stdout);
    const size_t count = ombrel_get_alloc_count();
    inflict(blocks.middle());
    const size_t damaged = blocks.count_damaged();
    size_t letters = 0;
    ombrel_get_alloc_list(0, read_tag, &letters);
    ombrel_dump_exception(1);
    blocks.free_all();
    ombrel_get_alloc_list(0, read_tag, &letters);
    for (int i = 0; i < 20; i++)
        ombrel_free(ombrel_alloc(1000));
    const size_t reports = reports_in(errors.so_far()), left = ombrel_get_alloc_count();
    return (reports != damaged) + 2 * (left != count - 17 + damaged);
}

template<typename Damage>
void expect_life_after(const side_by_side& blocks, const std::string& name, const Damage& inflict) {
    const int status = in_child([&]() -> bool { _exit(live_through(blocks, inflict)); });
    EXPECT_EQ(0, status) << name << ": a signal, or wrong reports (256) or counts (512)";
}

// The C library's own memory follows, in which it would not allocate any more.
TEST_F(HeapDamage, IsReportedAtTheEndOfTheMemoryInUse) {
    OMBREL_TEST_NEEDS_FORK();
    const auto free_damaged = [] {
        capture errors(stderr), output(stdout);
        char* block = static_cast<char*>(ombrel_alloc(70'000));
        memset(block + 70'000, 'x', 36);
        ombrel_free(block);
        return ombrel_get_alloc_count() == 1;
    };
    EXPECT_EQ(0, in_child(free_damaged));
}

struct HeapNeighbours : testing::TestWithParam<size_t> {
    const side_by_side blocks{GetParam()};
    void SetUp() override {
        OMBREL_TEST_NEEDS_FORK();
        ASSERT_TRUE(blocks.is_complete());
    }
};

TEST_P(HeapNeighbours, SurviveWritesBeyondABlock) {
    const size_t size = (GetParam() + 3) / 4 * 4;
    for (const int value : {0, 0x41, 0xFF})
        for (const size_t length :
             std::initializer_list<size_t>{1, 4, 8, 13, 17, 20, 24, 28, 32, 36, 49, 56, 64, 80, 200}) {
            const std::string name = std::to_string(length) + " bytes of " + std::to_string(value);
            for (char* const at : {blocks.middle() + size, blocks.middle() - length})
                expect_life_after(blocks, name + (at < blocks.middle() ? " before" : " behind"),
                                  [=](char*) { memset(at, value, length); });
        }
}

TEST_P(HeapNeighbours, SurviveEachWordOfTheHeader) {
    const auto middle = reinterpret_cast<uintptr_t>(blocks.middle());
    for (size_t word = 0; word < 6; word++)
        for (const uintptr_t value : {uintptr_t{0}, uintptr_t{1}, uintptr_t{60'000}, garbage, UINTPTR_MAX,
                                      UINTPTR_MAX - 7, middle, middle - header_size, middle + 1})
            expect_life_after(blocks, "word " + std::to_string(word) + " = " + std::to_string(value),
                              [=](char* block) {
                                  memcpy(block - header_size + word * sizeof value, &value, sizeof value);
                              });
}

// Behind the page of a block there may be nothing to look at; where there is something, it counts.
TEST(HeapNeighboursOfPages, SurviveWritesBeyondABlock) {
    OMBREL_TEST_NEEDS_FORK();
    for (const bool has_had_threads : {false, true}) {
        if (has_had_threads)
            std::thread([] {}).join();
        for (const size_t size : {40u, 200u}) {
            const side_by_side blocks(size, side_by_side::place::end_of_page);
            if (!blocks.is_complete())
                GTEST_SKIP() << "the allocator puts no block at the end of a page";
            for (const size_t length : {8u, 16u, 24u, 32u})
                for (const int value : {0, 0x41})
                    expect_life_after(blocks, std::to_string(length) + " bytes of " + std::to_string(value),
                                      [=](char* block) { memset(block + size, value, length); });
        }
    }
}

INSTANTIATE_TEST_SUITE_P(EachSize, HeapNeighbours, testing::Values(4, 40, 100, 200, 1000, 4000, 9000));
#endif

} // namespace
