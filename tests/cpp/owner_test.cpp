// Owners: what they hold is closed once, by whoever holds it last.
#include <ombrel_tuk.hpp>

#include <new>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "support/heap_balance.h"
#include "support/temporary_path.h"

using namespace std::string_view_literals;

namespace {

int closed_sum = 0;
int closed_count = 0;
int close_number(int* number) {
    closed_count++;
    closed_sum += *number;
    return 0;
}
using number_owner = ombrel::owner<&close_number>;

static_assert(sizeof(number_owner) == sizeof(int*) && sizeof(ombrel::ctx) == sizeof(int));
static_assert(!std::is_copy_constructible_v<ombrel::buffer> && !std::is_copy_assignable_v<ombrel::event>);
static_assert(std::is_nothrow_move_constructible_v<ombrel::buffer> &&
              std::is_nothrow_move_assignable_v<ombrel::event>);
static_assert(!std::is_constructible_v<ombrel::c_text, std::string_view>,
              "nothing says that it is terminated");

using Owners = ombrel_test::balanced_test;

TEST_F(Owners, CloseOnceWhatTheyHoldLast) {
    closed_sum = closed_count = 0;
    int numbers[] = {1, 10, 100, 1000};
    {
        number_owner first(&numbers[0]), second(&numbers[1]);
        number_owner moved(std::move(first));
        EXPECT_FALSE(first);
        EXPECT_EQ(&numbers[0], moved.get());
        moved = std::move(second); // closes 1
        EXPECT_EQ(1, closed_sum);
        number_owner& itself = moved;
        moved = std::move(itself);
        EXPECT_EQ(&numbers[1], moved.get());
        moved.reset(&numbers[2]); // closes 10
        EXPECT_EQ(11, closed_sum);
        number_owner given_up(&numbers[3]);
        EXPECT_EQ(&numbers[3], given_up.release());
        EXPECT_FALSE(given_up);
        swap(moved, given_up);
        EXPECT_FALSE(moved);
        std::vector<number_owner> many;
        many.push_back(std::move(given_up));
        many.emplace_back();
        many.emplace_back();
    }
    EXPECT_EQ(111, closed_sum);
    EXPECT_EQ(3, closed_count) << "what was moved from or given up was closed";
}

TEST_F(Owners, HoldNothingAfterAFailedOpen) {
    EXPECT_FALSE(ombrel::plugin::load("no/such/plugin"));
    EXPECT_FALSE(ombrel::directory(ombrel_open_directory("no/such/directory")));
    EXPECT_FALSE(ombrel::file::open("no/such/file"));
    EXPECT_EQ(ombrel::last_fault(), def_ombrel_fault_not_found);
    EXPECT_FALSE(ombrel::load_file("no/such/file"));
    EXPECT_FALSE(ombrel::xml_tree::parse("<a>"));
    EXPECT_FALSE(ombrel::ctx());
    EXPECT_EQ(""sv, ombrel::text().view());
    EXPECT_EQ(0u, ombrel::block().size());
}

// Of each kind of owner one that is made by its own open, moved, and used after that.
TEST_F(Owners, HoldObjectsOfEveryKind) {
    ombrel::base64_coder coder(ombrel_open_base64());
    ombrel::sha256 sha(ombrel_open_sha256());
    ombrel::uri uri(ombrel_parse_uri("http://host/a"));
    ombrel::xml_path path(ombrel_open_xml_path("a/b", nullptr, nullptr));
    ombrel::match_filter filter(ombrel_open_match_filter(0));
    ombrel::socket socket(ombrel_open_listen_socket("127.0.0.1", 0));
    ombrel::http_fields fields(ombrel_open_http_fields(100));
    EXPECT_TRUE(coder && sha && uri && path && filter && fields);
    const ombrel::http_fields moved = std::move(fields);
    EXPECT_EQ(0, ombrel_http_fields_get_count(moved.get()));

    const ombrel::fbmap root =
        ombrel::fbmap::open({}, def_ombrel_fbmap_own_map, def_ombrel_color_interface_xrgb8888, 0, 0, 8, 4);
    EXPECT_EQ(0, root.clear(0xff112233u));
    EXPECT_EQ(0xff112233u, root.pixel(7, 3));
    EXPECT_EQ(8u, root.width());
}

TEST_F(Owners, TagTheHeapWithTheirCallers) {
    const ombrel::ini made = ombrel::ini::open();
    std::string tag;
    ombrel_get_alloc_list(
        1,
        [](const ombrel_heap_block_t* block, void* context) {
            *static_cast<std::string*>(context) = block->m_tag;
            return 1;
        },
        &tag);
    EXPECT_EQ(__func__, tag);
}

#if defined(__cpp_exceptions)
TEST_F(Owners, ThrowWhereTheCallerSaysSo) {
    const int three = 3;
    EXPECT_EQ(three, ombrel::check(three));
    EXPECT_TRUE(ombrel::check(ombrel::buffer::open()));
    const auto thrown = [](auto&& call) {
        try {
            call();
        } catch (const ombrel::error& error) {
            return std::pair(error.code(), std::string(error.what()));
        }
        return std::pair(0, std::string());
    };
    EXPECT_EQ(def_ombrel_fault_not_found,
              thrown([] { ombrel::check(ombrel::file::open("no/such/file")); }).first);
    EXPECT_EQ(def_ombrel_fault_not_found,
              thrown([] { ombrel::check(ombrel_remove_file("no/such/file")); }).first);
    EXPECT_NE("", thrown([] { ombrel::check(ombrel::file::open("no/such/file")); }).second);
    const ombrel::ctx ctx = ombrel::ctx::make();
    EXPECT_EQ(std::pair(def_ombrel_ctx_error_not_found,
                        std::string(ombrel_ctx_error_text(def_ombrel_ctx_error_not_found)))
                  .first,
              thrown([&] { ctx.check(ctx.open_stream("no/such/file", "r")); }).first);
    EXPECT_EQ(0, thrown([&] { ctx.check(0); }).first);
}

struct refuses_copies {
    refuses_copies() = default;
    refuses_copies(const refuses_copies&) { throw std::bad_alloc(); }
    void operator()() const {}
};

TEST_F(Owners, LeaveNothingOfACallableThatThrowsWhenItIsCopied) {
    const refuses_copies callable;
    EXPECT_THROW(static_cast<void>(ombrel::event::open_timer({}, callable)), std::bad_alloc);
}
#endif

} // namespace
