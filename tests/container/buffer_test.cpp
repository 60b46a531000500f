#include <ombrel/buffer.h>

#include <atomic>
#include <cstdio>
#include <functional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <ombrel/string.h>

#include "support/argument_list.h"
#include "support/buffer_program.h"
#include "support/capture.h"
#include "support/heap_balance.h"
#include "support/own_stack.h"
#include "support/queued.h"
#include "support/scratch_directory.h"
#include "support/stalling_text.h"
#include "support/threads.h"
#include "support/waiting_call.h"

using namespace ombrel_test;

// Requests that cannot be served are part of the tests here.
extern "C" const char* __asan_default_options() {
    return "allocator_may_return_null=1";
}
extern "C" const char* __tsan_default_options() {
    return "allocator_may_return_null=1";
}

namespace {

class Buffer : public balanced_test {
protected:
    void open(uint32_t flags = 0) { buffer_.reset(ombrel_open_buffer_ex(flags)); }
    size_t push(const std::string& text, uint32_t flags = 0) {
        return ombrel_push_buffer_ex(buffer_.get(), text.data(), text.size(), flags);
    }
    // The next line, or "<none>".
    std::string line() {
        const heap_block<char> text(ombrel_pop_buffer_line(buffer_.get()));
        return text ? text.get() : "<none>";
    }
    std::string node() {
        size_t size;
        const heap_block<char> data(static_cast<char*>(ombrel_get_buffer_node(buffer_.get(), &size)));
        return std::string(data.get(), size);
    }
    std::string all() { return take_queued(buffer_.get()); }
    ombrel_buffer_t* get() { return buffer_.get(); }

private:
    buffer_ptr buffer_;
};

TEST_F(Buffer, FillsTheTailAndThenAddsOneNode) {
    open();
    push(std::string(10, 'a'));
    EXPECT_EQ(5000u, push(std::string(5000, 'b')));
    EXPECT_EQ(5010u, ombrel_get_buffer_size(get()));
    EXPECT_EQ(std::string(10, 'a') + std::string(4086, 'b'), node());
    push(std::string(3182, 'c')); // exactly the second node's free room
    push("d");
    EXPECT_EQ(std::string(914, 'b') + std::string(3182, 'c'), node());
    EXPECT_EQ("d", node());
    EXPECT_EQ(5010u + 3183u, ombrel_get_buffer_offset(get()));
}

TEST_F(Buffer, ExactPushesStayApart) {
    open(def_ombrel_buffer_flag_exact);
    push("first");
    push("second");
    EXPECT_EQ("first", node());
    ombrel_end_buffer(get());
    push("a");
    push("b");
    EXPECT_EQ("second", node());
    EXPECT_EQ("ab", node());
}

TEST_F(Buffer, ANullOrEmptyBufferGivesNothing) {
    char byte;
    size_t size = 1;
    open();
    for (ombrel_buffer_t* which : {static_cast<ombrel_buffer_t*>(nullptr), get()}) {
        EXPECT_EQ(0u, ombrel_pop_buffer(which, &byte, 1));
        EXPECT_EQ(0u, ombrel_peek_buffer(which, &byte, 1, 0));
        EXPECT_EQ(nullptr, ombrel_alloc_pop_buffer(which, 1));
        EXPECT_EQ(nullptr, ombrel_get_buffer_node(which, &size));
        EXPECT_EQ(0u, std::exchange(size, 1));
        EXPECT_EQ(-1, ombrel_pop_buffer_uint8(which));
        EXPECT_EQ(-1, ombrel_peek_buffer_uint8(which, 0));
        EXPECT_EQ(nullptr, ombrel_pop_buffer_line(which));
        EXPECT_EQ(0u, ombrel_flush_buffer(which));
        EXPECT_EQ(0u, ombrel_push_puts(which, nullptr));
    }
    EXPECT_EQ(0u, ombrel_push_buffer(nullptr, "a", 1));
    EXPECT_EQ(0u, ombrel_push_printf(nullptr, "a"));
    EXPECT_EQ(-1, ombrel_push_buffer_from_file(nullptr, "/dev/null", 0, 0));
    EXPECT_EQ(0u, ombrel_set_buffer_offset(nullptr, 5));
    EXPECT_EQ(nullptr, ombrel_close_buffer(nullptr));
    EXPECT_EQ(0, ombrel_end_buffer(nullptr));
}

TEST_F(Buffer, SizesThatCannotBeAreRefused) {
    const std::string bytes(4096, 'b');
    capture errors(stderr);
    // What the tail can take is queued first: when there is no memory, and when the size would overflow.
    for (const size_t size : {SIZE_MAX - 8, SIZE_MAX - 2, SIZE_MAX})
        for (const char* data : {bytes.data(), static_cast<const char*>(nullptr)}) {
            open();
            push("abc");
            EXPECT_EQ(4093u, ombrel_push_buffer(get(), data, size));
            EXPECT_EQ(0u, ombrel_peek_buffer_ex(get(), nullptr, SIZE_MAX, 1, 1));
            EXPECT_EQ(0u, ombrel_pop_buffer_ex(get(), nullptr, SIZE_MAX, 1));
            EXPECT_TRUE(std::string("abc").append(4093, data != nullptr ? 'b' : '\0') == all());
        }
    // Referenced bytes are only counted here: no tail takes so many that the count would overflow.
    open();
    constexpr uint32_t reference = def_ombrel_buffer_flag_reference;
    EXPECT_EQ(SIZE_MAX - 5, ombrel_push_buffer_ex(get(), "r", SIZE_MAX - 5, reference));
    EXPECT_EQ(0u, ombrel_push_buffer_ex(get(), "r", 6, reference));
    EXPECT_EQ(3u, push("abc"));
    EXPECT_EQ(2u, push("def"));
    EXPECT_EQ(0u, push("g") + ombrel_push_buffer_ex(get(), "r", 1, reference));
    EXPECT_EQ(SIZE_MAX, ombrel_get_buffer_size(get()));
    EXPECT_EQ(SIZE_MAX - 5, ombrel_pop_buffer(get(), nullptr, SIZE_MAX - 5));
    EXPECT_EQ("abcde", all());
}

TEST_F(Buffer, ReferencedBlocksAreNotCopiedAndAreWipedWhenAsked) {
    open();
    char kept[] = "kept", wiped[] = "wiped";
    ombrel_push_buffer_ex(get(), kept, 4, def_ombrel_buffer_flag_reference);
    ombrel_push_buffer_ex(get(), wiped, 5, def_ombrel_buffer_flag_reference | def_ombrel_buffer_flag_wipe);
    kept[0] = 'K';
    EXPECT_EQ("Keptwiped", all());
    EXPECT_STREQ("Kept", kept);
    EXPECT_EQ(std::string(5, '\0'), std::string(wiped, 5));
}

TEST_F(Buffer, CopiesForAWipingBufferAreWiped) {
    const std::string secrets[] = {std::string(1000, 's'), std::string(1000, 't')};
    open(def_ombrel_buffer_flag_wipe);
    EXPECT_EQ(1000u, ombrel_push_printf(get(), "%s", secrets[0].c_str()));
    for (const unsigned size : {256u, 512u, 1024u, 1001u}) // the formatter's attempts, and their exact copy
        EXPECT_EQ(std::string::npos, freed_bytes(size).find("ssss")) << size;
    const scratch_directory folder;
    const std::string paths[] = {folder.file("first", secrets[0]), folder.file("second", secrets[1])};
    EXPECT_EQ(0u, bytes_left_on_stack(paths[0], paths[1], [&](const std::string& path) {
                  ombrel_push_buffer_from_file(get(), path.c_str(), 0, 0);
              }));
}

TEST_F(Buffer, AnEndedBufferForgetsItsOptionsButNodesKeepTheirs) {
    open(def_ombrel_buffer_flag_wipe | def_ombrel_buffer_flag_reference);
    char before[] = "before", after[] = "after";
    ombrel_push_buffer(get(), before, 6);
    EXPECT_EQ(0, ombrel_end_buffer(get()));
    ombrel_push_buffer(get(), after, 5);
    after[0] = 'A';
    EXPECT_EQ("beforeafter", all());
    EXPECT_EQ('\0', before[0]);
    EXPECT_STREQ("After", after);
}

TEST_F(Buffer, AnOwnedBlockComesBackAsItIs) {
    open(def_ombrel_buffer_flag_own);
    const auto make = [](const char* text) { return strcpy(static_cast<char*>(ombrel_alloc(8)), text); };
    char* const first = make("first");
    ombrel_push_buffer(get(), first, 5);
    ombrel_push_buffer(get(), make("second"), 6);
    const heap_block<void> same(ombrel_alloc_pop_buffer_ex(get(), 5, 1));
    EXPECT_EQ(first, same.get());
    EXPECT_EQ(5u, ombrel_get_buffer_offset(get()));
    EXPECT_EQ('s', ombrel_pop_buffer_uint8(get()));
    EXPECT_EQ("econd", node()); // touched, so copied, and the block is freed with its node
    // A block is never split over the free room of a copied tail: its address is what is freed.
    ombrel_push_printf(get(), "%d", 7);
    ombrel_push_buffer(get(), make("tail"), 4);
    ombrel_push_buffer(get(), nullptr, 2);
    EXPECT_EQ(std::string("7tail\0\0", 7), all());
}

TEST_F(Buffer, FormattedTextIsCopiedIntoAReferencingBuffer) {
    open(def_ombrel_buffer_flag_reference);
    const auto push = [this](va_list list) { return ombrel_push_vprintf(get(), "%s=%d", list); };
    EXPECT_EQ(9u, with_list(push, "count", 123));
    EXPECT_EQ(0u, ombrel_push_printf(get(), "%s", ""));
    EXPECT_EQ("count=123", all());
}

TEST_F(Buffer, LineEnds) {
    const struct {
        std::vector<std::string> pushes; // a line is asked for after each, until there is none
        std::vector<std::string> lines;
        std::string left;
    } cases[] = {
        {{"a\r\nb\n"}, {"a", "b"}, ""},
        {{"a\r", "\nb\n"}, {"a", "b"}, ""},
        {{"a\r", "\n", "b\n"}, {"a", "b"}, ""},
        {{"a\n\rb\r\r\n\nc"}, {"a", "b", "", ""}, "c"},
        {{"\n\n"}, {"", ""}, ""},
        {{"\n\r\n\r"}, {"", ""}, ""},
        {{"a\n", "\xC3", "\n", "\n"}, {"a", "\xC3\n"}, ""},
        {{"\xEA\xB0\x80\n-\n"}, {"\xEA\xB0\x80\n-"}, ""}, // the third byte of three takes the line feed
        {{"\xEA\xB0\n"}, {"\xEA\xB0"}, ""},
        {{"half", "\xC3", "\xA4", "\r"}, {"half\xC3\xA4"}, ""},
        {{"a\r", "x\n"}, {"a", "x"}, ""},
        {{"unfinished"}, {}, "unfinished"},
    };
    for (const auto& c : cases) {
        open();
        std::vector<std::string> got;
        for (const std::string& text : c.pushes) {
            push(text);
            for (std::string found; (found = line()) != "<none>";)
                got.push_back(found);
        }
        EXPECT_EQ(c.lines, got) << c.pushes[0];
        ombrel_end_buffer(get());
        EXPECT_EQ("<none>", line()) << "without its end it stays";
        EXPECT_EQ(c.left, all());
    }
}

// Long lines are searched in blocks: a line end at every place of a block, behind every kind of byte, and
// with the line spread over nodes of every size.
TEST_F(Buffer, LineEndsAtEveryPlaceOfALongLine) {
    for (const std::string fill : {"x", "\t", "\xC3\xA4", "\x0E\x7F"}) {
        for (size_t length = 0; length <= 200; length++) {
            open(length % 2 != 0 ? def_ombrel_buffer_flag_exact : 0);
            std::string text;
            while (text.size() + fill.size() <= length)
                text += fill;
            push(text.substr(0, length % 90));
            push(text.substr(std::min(length % 90, text.size())) + "\nrest");
            EXPECT_EQ(text, line());
            EXPECT_EQ("rest", all());
        }
    }
}

// A byte that was looked at may be changed behind the search's back: what is referenced shows whether it is
// looked at again.
TEST_F(Buffer, TheSearchForALineEndGoesOnWhereItStopped) {
    std::vector<std::string> pieces(300, std::string(100, 'x'));
    const auto begin = [&](int64_t taken) {
        open(def_ombrel_buffer_flag_reference);
        for (std::string& piece : pieces) {
            push(piece = std::string(100, 'x'));
            ombrel_pop_buffer(get(), nullptr, static_cast<size_t>(std::exchange(taken, 0)));
            EXPECT_EQ("<none>", line());
            piece[50] = '\n';
        }
    };
    begin(10);
    ombrel_push_printf(get(), "end\n\n");
    EXPECT_EQ(300u * 100u - 10u + 3u, line().size());
    EXPECT_EQ("", line());
    // A front that has changed is looked at from its beginning.
    const std::function<void()> changes[] = {
        [&] { ombrel_pop_buffer_uint8(get()); },
        [&] { ombrel_set_buffer_offset(get(), 0); },
        [&] { ombrel_end_buffer(get()); },
        [&] { ombrel_flush_buffer(get()), ombrel_set_buffer_offset(get(), 0), push(pieces[0]); },
    };
    for (const auto& change : changes) {
        begin(0);
        change();
        EXPECT_NE("<none>", line());
    }
}

TEST_F(Buffer, RandomProgramsMatchAString) {
    std::mt19937 random(20);
    std::vector<uint8_t> code(600);
    for (int i = 0; i < 400; i++) {
        for (uint8_t& byte : code)
            byte = static_cast<uint8_t>(random());
        ASSERT_STREQ(nullptr, buffer_program(code.data(), code.size()).run()) << "program " << i;
    }
}

// What a handler was given, in its order. The lock of the service's close makes it safe to read afterwards.
struct deliveries {
    std::vector<std::string> nodes;
    std::vector<uint64_t> offsets;
    std::atomic<size_t> bytes{0};

    static int receive(void* context, const void* data, size_t size, uint32_t low, uint32_t high, size_t) {
        auto& self = *static_cast<deliveries*>(context);
        self.nodes.emplace_back(static_cast<const char*>(data), size);
        self.offsets.push_back(static_cast<uint64_t>(high) << 32 | low);
        self.bytes += size;
        return 0;
    }
    void wait_for(size_t wanted) const {
        await([&] { return bytes >= wanted; });
    }
};

TEST_F(Buffer, AHandlerGetsEveryPushWholeAndInOrder) {
    constexpr int threads = 4, pushes = 400;
    deliveries got;
    buffer_ptr shared(ombrel_open_buffer_ex2(0, deliveries::receive, &got));
    std::atomic<size_t> pushed{0};
    in_threads(threads, [&](int thread) {
        for (int i = 0; i < pushes; i++) {
            const std::string text = std::to_string(thread) + " " + std::to_string(i);
            pushed += i % 2 == 0 ? ombrel_push_buffer_ex(shared.get(), text.data(), text.size(), 0)
                                 : ombrel_push_printf(shared.get(), "%s", text.c_str());
        }
    });
    got.wait_for(pushed);
    shared.reset();
    ASSERT_EQ(static_cast<size_t>(threads * pushes), got.nodes.size());
    int next[threads] = {};
    uint64_t offset = 0;
    for (size_t i = 0; i < got.nodes.size(); i++) {
        const size_t thread = static_cast<size_t>(got.nodes[i][0] - '0');
        EXPECT_EQ(std::to_string(thread) + " " + std::to_string(next[thread]++), got.nodes[i]);
        EXPECT_EQ(std::exchange(offset, offset + got.nodes[i].size()), got.offsets[i]);
    }
}

TEST_F(Buffer, PushesWaitForEachOther) {
    const std::function<size_t(ombrel_buffer_t*)> others[] = {
        [](ombrel_buffer_t* shared) { return ombrel_push_printf(shared, "%d", 1234); },
        [](ombrel_buffer_t* shared) { return ombrel_push_buffer(shared, "1234", 4); },
    };
    for (const auto& other : others) {
        deliveries got;
        buffer_ptr shared(ombrel_open_buffer_ex2(0, deliveries::receive, &got));
        stalling_text text("text");
        text.stall();
        const waiting_call first([&] { EXPECT_EQ(4u, ombrel_push_buffer(shared.get(), text.get(), 4)); });
        text.await_reader();
        const waiting_call second([&] { EXPECT_EQ(4u, other(shared.get())); });
        EXPECT_TRUE(second.is_waiting());
        text.go_on();
    }
}

TEST_F(Buffer, AHandlerGetsOwnedBlocksAndIsGoneAfterTheClose) {
    deliveries got;
    buffer_ptr shared(ombrel_open_buffer_ex2(def_ombrel_buffer_flag_wipe, deliveries::receive, &got));
    void* block = ombrel_calloc(1, 9000);
    ombrel_push_buffer_ex(shared.get(), block, 9000, def_ombrel_buffer_flag_own);
    ombrel_push_printf(shared.get(), "%d", 12);
    got.wait_for(9002);
    for (int i = 0; i < 1000; i++)
        ombrel_push_buffer(shared.get(), nullptr, 1); // some are dropped by the close
    shared.reset();
    ASSERT_LE(2u, got.nodes.size());
    EXPECT_EQ(std::string(9000, '\0'), got.nodes[0]);
    EXPECT_EQ("12", got.nodes[1]);
}

// Be it a copy or the block itself that was pushed. The test's own copies are freed after the look, and each
// round has its letter.
TEST_F(Buffer, WhatAHandlerWasGivenIsWiped) {
    constexpr size_t size = 3331;
    for (const char letter : {'c', 'o'}) {
        const bool is_owned = letter == 'o';
        deliveries got;
        buffer_ptr shared(ombrel_open_buffer_ex2(def_ombrel_buffer_flag_wipe, deliveries::receive, &got));
        const std::string text(size, letter); // in no block of the library's heap
        if (is_owned)
            ombrel_push_buffer_ex(shared.get(), ombrel_strndup(text.c_str(), size - 1), size,
                                  def_ombrel_buffer_flag_own);
        else
            ombrel_push_buffer(shared.get(), text.data(), size);
        got.wait_for(size);
        shared.reset();
        EXPECT_EQ(std::string::npos, freed_bytes(size).find(std::string(4, letter))) << is_owned;
        EXPECT_EQ(text.substr(1), got.nodes[0].substr(0, size - 1));
    }
}

TEST_F(Buffer, ReadsPartsOfFiles) {
    std::string text;
    while (text.size() < 300001)
        text += std::to_string(text.size()) + ",";
    text.resize(300001);
    const scratch_directory folder;
    const std::string file = folder.file("text", text);
    const struct {
        int64_t offset;
        size_t limit;
        ptrdiff_t result;
        size_t start;
    } cases[] = {
        {0, 0, 300001, 0},  {0, 1, 1, 0},        {0, 8193, 8193, 0},     {5, 257, 257, 5},
        {-7, 0, 7, 299994}, {-7, 3, 3, 299994},  {-300001, 300, 300, 0}, {300000, 10, 1, 300000},
        {400000, 0, 0, 0},  {-300002, 0, -1, 0}, {INT64_MIN, 0, -1, 0},  {0, SIZE_MAX, 300001, 0},
    };
    for (const auto& c : cases) {
        open(def_ombrel_buffer_flag_reference);
        EXPECT_EQ(c.result, ombrel_push_buffer_from_file(get(), file.c_str(), c.offset, c.limit));
        const std::string expected = c.result > 0 ? text.substr(c.start, static_cast<size_t>(c.result)) : "";
        EXPECT_EQ(expected, all()) << c.offset << " " << c.limit;
        size_t size = 1;
        const heap_block<void> block(ombrel_load_file(file.c_str(), c.offset, c.limit, &size));
        EXPECT_EQ(expected, std::string(static_cast<char*>(block.get()), size));
        EXPECT_EQ(block == nullptr, c.result <= 0);
    }
}

TEST_F(Buffer, AFileIsPushedInUnits) {
    const scratch_directory folder;
    const std::string file = folder.file("text", std::string(8192 + 600, 'x'));
    open(def_ombrel_buffer_flag_exact);
    EXPECT_EQ(8000, ombrel_push_buffer_from_file(get(), file.c_str(), 0, 8000));
    EXPECT_EQ(256u, node().size());
    EXPECT_EQ(8000u - 256u, ombrel_flush_buffer(get()));
    ombrel_push_buffer_from_file(get(), file.c_str(), -90, 0);
    EXPECT_EQ(90u, node().size());
}

// A process's own memory is a file whose reading fails behind the end of a mapping.
TEST_F(Buffer, AFileThatFailsHalfWay) {
#if defined(_WIN32)
    GTEST_SKIP() << "Windows has no /proc";
#else
    const size_t page = pages::page_size();
    void* const memory = mmap(nullptr, 3 * page, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(MAP_FAILED, memory);
    munmap(static_cast<char*>(memory) + page, page);
    const auto offset = static_cast<int64_t>(reinterpret_cast<uintptr_t>(memory));
    open();
    const auto whole = static_cast<ptrdiff_t>(page);
    EXPECT_EQ(whole, ombrel_push_buffer_from_file(get(), "/proc/self/mem", offset, 0));
    size_t size = 1;
    EXPECT_EQ(nullptr, ombrel_load_file("/proc/self/mem", offset, 0, &size));
    EXPECT_EQ(0u, size);
    const heap_block<void> block(ombrel_load_file("/proc/self/mem", offset, page, &size));
    EXPECT_EQ(block == nullptr ? 0u : page, size);
    EXPECT_NE(nullptr, block);
    munmap(memory, page);
    munmap(static_cast<char*>(memory) + 2 * page, page);
#endif
}

TEST_F(Buffer, FilesThatCannotBeRead) {
    open();
    size_t size = 1;
    for (const char* path : {"/nonexistent/file", "/tmp", "", static_cast<const char*>(nullptr)}) {
        EXPECT_EQ(-1, ombrel_push_buffer_from_file(get(), path, 0, 0));
        EXPECT_EQ(nullptr, ombrel_load_file(path, 0, 0, &size));
        EXPECT_EQ(0u, std::exchange(size, 1));
    }
    EXPECT_EQ(nullptr, ombrel_load_file("/dev/null", 0, 0, nullptr));
    EXPECT_EQ(100, ombrel_push_buffer_from_file(get(), "/dev/zero", 0, 100));
}

} // namespace
