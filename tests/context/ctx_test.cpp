#include <atomic>
#include <cstring>
#include <set>
#include <thread>
#include <vector>

#include <ombrel/ctx_interface.h>
#include <ombrel/heap.h>
#include <ombrel/md5.h>
#include <ombrel/sha1.h>
#include <ombrel/sha256.h>
#include <ombrel/short_lock.h>

#include "plugin/probe_library.h"
#include "support/argument_list.h"
#include "support/capture.h"
#include "support/heap_balance.h"
#include "support/threads.h"

using namespace ombrel_test;

namespace {

constexpr int not_supported = def_ombrel_ctx_error_not_supported;
constexpr int unknown = 12345;

class ctx_test : public balanced_test {
protected:
    ~ctx_test() override { ombrel_destroy_ctx(ctx); }

    int open(const char* source) {
        ombrel_ctx_set_option(ctx, "source", source);
        return ombrel_open_ctx(ctx, "test/text");
    }

    const int ctx = ombrel_new_ctx();
};

/// A result with so many rows, freed with the scope.
class query : no_copy {
public:
    query(int ctx, int rows) : ctx_(ctx), result_(ombrel_ctx_db_get_query(ctx, "%d", rows)) {}
    ~query() { ombrel_ctx_db_free_result(ctx_, result_); }
    operator ombrel_ctx_db_result_t*() const { return result_; }

private:
    int ctx_;
    ombrel_ctx_db_result_t* result_;
};

} // namespace

TEST_F(ctx_test, opening_binds_to_the_newest_plugin_that_accepts) {
    const loaded_probe a("probe_a"), b("probe_b");
    EXPECT_EQ(ombrel_open_ctx(ctx, "nobody/serves"), -1);
    EXPECT_EQ(ombrel_ctx_get_last_error(ctx), not_supported);
    EXPECT_EQ(ombrel_get_ctx_plugin_name(ctx), nullptr);
    EXPECT_EQ(ombrel_open_ctx(ctx, "Test/Shared/1"), 0);
    EXPECT_EQ(ombrel_ctx_get_last_error(ctx), 0);
    EXPECT_STREQ(ombrel_get_ctx_plugin_name(ctx), "probe_b.so");
    EXPECT_STREQ(ombrel_get_ctx_mime_type_hint(ctx), "test/other|test/shared*");
    EXPECT_STREQ(ombrel_get_ctx_mime_type(ctx), "Test/Shared/1");
    EXPECT_EQ(ombrel_check_ctx_mime_type(ctx, "test/other"), 0);
    EXPECT_EQ(ombrel_check_ctx_mime_type(ctx, "test/text"), -1);
    EXPECT_EQ(ombrel_open_ctx(ctx, "test/text"), -1);
    EXPECT_EQ(ombrel_ctx_get_last_error(ctx), def_ombrel_ctx_error_already_open);
    EXPECT_STREQ(ombrel_get_ctx_plugin_name(ctx), "probe_b.so") << "bound as before";
    EXPECT_EQ(ombrel_ctx_get_plugin_descriptor(ctx), 7);
    EXPECT_EQ(ombrel_close_ctx(ctx), 0);
    EXPECT_EQ(b->closed, 1);
    EXPECT_EQ(ombrel_ctx_get_plugin_descriptor(ctx), -1);
    EXPECT_EQ(ombrel_ctx_get_plugin_data(ctx), nullptr);
    EXPECT_EQ(ombrel_get_ctx_mime_type(ctx), nullptr);
    EXPECT_EQ(ombrel_check_ctx_mime_type(ctx, "test/other"), -1);
}

TEST_F(ctx_test, a_refusal_goes_on_to_the_next_plugin_only_when_not_supported) {
    const loaded_probe a("probe_a"), b("probe_b");
    const struct {
        const char* refusal;
        int error;
    } cases[] = {{"3", not_supported}, {"5", def_ombrel_ctx_error_not_found}, {"0", not_supported}};
    for (const auto& c : cases) {
        ombrel_ctx_set_option(ctx, "refuse", c.refusal);
        EXPECT_EQ(ombrel_open_ctx(ctx, "test/shared"), -3) << "the result of the last one asked";
        EXPECT_EQ(ombrel_ctx_get_last_error(ctx), c.error);
        EXPECT_EQ(ombrel_get_ctx_plugin_name(ctx), nullptr);
    }
    EXPECT_EQ(a->opened + b->opened + a->closed + b->closed, 0);
    EXPECT_EQ(a->refused, 1) << "the first time alone";
    EXPECT_EQ(b->refused, 3) << "each time once";
    const int bare = ombrel_load_plugin(module_path("bare").c_str(), nullptr);
    EXPECT_EQ(ombrel_open_ctx(ctx, "test/bare"), 0);
    EXPECT_EQ(ombrel_ctx_read(ctx, nullptr, 0), -1);
    EXPECT_EQ(ombrel_ctx_get_last_error(ctx), not_supported) << "a null slot";
    EXPECT_EQ(ombrel_close_ctx(ctx), 0);
    EXPECT_EQ(ombrel_unload_plugin(bare), 0);
}

TEST_F(ctx_test, an_open_operation_may_use_contexts_but_not_close_its_own) {
    const loaded_probe a("probe_a");
    ombrel_ctx_set_option(ctx, "nested", "1");
    ombrel_ctx_set_option(ctx, "close", "1");
    EXPECT_EQ(ombrel_open_ctx(ctx, "test/text"), 0);
    EXPECT_EQ(ombrel_ctx_get_last_error(ctx), def_ombrel_ctx_error_busy);
    EXPECT_EQ(a->opened, 2);
}

TEST_F(ctx_test, options_are_found_in_either_case_until_the_context_is_closed) {
    EXPECT_EQ(ombrel_ctx_get_option(ctx, "mode"), nullptr);
    EXPECT_STREQ(ombrel_ctx_get_option_string_ex(ctx, "mode", "none"), "none");
    EXPECT_EQ(ombrel_ctx_set_option(ctx, "Mode", "rb"), 0);
    EXPECT_EQ(ombrel_ctx_set_option_string(ctx, "mode", "r+b"), 0);
    EXPECT_STREQ(ombrel_ctx_get_option_string(ctx, "MODE"), "r+b");
    EXPECT_EQ(ombrel_ctx_set_option_fstring(ctx, "xywh", "%d,%s", 5, "a"), 0);
    EXPECT_STREQ(ombrel_ctx_get_option(ctx, "xywh"), "5,a");
    EXPECT_EQ(ombrel_ctx_set_option_int_string(ctx, "debug", INT32_MIN), 0);
    EXPECT_STREQ(ombrel_ctx_get_option(ctx, "debug"), "-2147483648");
    EXPECT_EQ(ombrel_ctx_set_option(ctx, "mode", ombrel_ctx_get_option(ctx, "debug")), 0) << "another's text";
    EXPECT_STREQ(ombrel_ctx_get_option(ctx, "mode"), "-2147483648");
    EXPECT_EQ(ombrel_ctx_set_option(ctx, "debug", nullptr), 0);
    EXPECT_EQ(ombrel_ctx_get_option(ctx, "debug"), nullptr);
    EXPECT_EQ(ombrel_ctx_set_option_string(ctx, "debug", nullptr), 0);
    EXPECT_STREQ(ombrel_ctx_get_option(ctx, "debug"), "");
    for (const char* name : {static_cast<const char*>(nullptr), ""})
        EXPECT_EQ(ombrel_ctx_set_option(ctx, name, "x"), -1);
    EXPECT_EQ(ombrel_close_ctx(ctx), 0);
    EXPECT_EQ(ombrel_ctx_get_option(ctx, "mode"), nullptr);
}

TEST_F(ctx_test, operations_reach_the_plugin) {
    const loaded_probe a("probe_a");
    ASSERT_EQ(open("hello world"), 0);
    char text[32] = "";
    int number = 0;
    EXPECT_EQ(ombrel_ctx_control(ctx, 0x10002, &number, sizeof number), 0);
    EXPECT_EQ(number, 42);
    EXPECT_EQ(ombrel_ctx_xcontrol(ctx, "get", &number, sizeof number), 0);
    EXPECT_EQ(number, 41);
    EXPECT_EQ(ombrel_ctx_bcontrol(ctx, 0x10001, "abcd", size_t{5}, text, sizeof text), 5);
    EXPECT_STREQ(text, "abcd");
    EXPECT_EQ(ombrel_ctx_is_readable(ctx, 0), 0);
    EXPECT_EQ(ombrel_ctx_is_writable(ctx, -1), 1);
    EXPECT_EQ(ombrel_ctx_read(ctx, text, SIZE_MAX), 5);
    EXPECT_EQ(ombrel_ctx_seek(ctx, 6, def_ombrel_ctx_seek_set), 6);
    EXPECT_EQ(ombrel_ctx_printf(ctx, "%s%d", "WOR", 1), 4) << "in pieces of 3";
    EXPECT_EQ(ombrel_ctx_puts(ctx, "!"), -1);
    EXPECT_EQ(ombrel_ctx_rewind(ctx), 0);
    EXPECT_EQ(ombrel_ctx_puts(ctx, "HEL!O"), 3) << "what was written before it stopped";
    EXPECT_EQ(ombrel_ctx_puts(ctx, nullptr), 0);
    EXPECT_STREQ(static_cast<char*>(ombrel_ctx_get_plugin_data(ctx)), "HELlo WOR1d");
    EXPECT_EQ(ombrel_ctx_sync(ctx), 0);
    EXPECT_EQ(ombrel_ctx_get_last_error(ctx), 77);
    EXPECT_EQ(ombrel_ctx_read(ctx, nullptr, 1), -1);
    EXPECT_EQ(ombrel_ctx_get_last_error(ctx), def_ombrel_ctx_error_invalid_argument);
    char argument[] = "5";
    char* argv[] = {argument, nullptr};
    EXPECT_EQ(ombrel_ctx_is_executable_main(ctx), 1);
    EXPECT_EQ(ombrel_ctx_execute_main(ctx, 1, argv), 15);
}

TEST_F(ctx_test, what_is_missing_is_not_supported) {
    const loaded_probe old("probe_old");
    char byte;
    const auto missing = [this](int result, int expected) {
        EXPECT_EQ(result, expected);
        EXPECT_EQ(ombrel_ctx_get_last_error(ctx), not_supported);
        EXPECT_EQ(ombrel_ctx_set_last_error(ctx, 0), 0);
    };
    missing(ombrel_ctx_read(ctx, &byte, 1), -1);
    missing(ombrel_ctx_read(ctx, nullptr, 1), -1);
    missing(ombrel_ctx_puts(ctx, ""), -1);
    missing(ombrel_ctx_execute_main(ctx, 0, nullptr), 1);
    ASSERT_EQ(open("x"), 0);
    missing(ombrel_ctx_is_executable_main(ctx), 0);
    missing(ombrel_ctx_db_get_query_puts(ctx, "1") != nullptr, 0);
    missing(static_cast<int>(ombrel_ctx_db_set_query_puts(ctx, "1")), -1);
    missing(ombrel_ctx_db_get_field_count(ctx, nullptr), -1);
    missing(ombrel_ctx_db_free_result(ctx, nullptr), -1);
    missing(ombrel_ctx_get_fbinfo(ctx, nullptr), -1);
    for (const int handle : {unknown, 0, -1, old.handle}) {
        EXPECT_EQ(ombrel_ctx_read(handle, &byte, 1), -1);
        EXPECT_EQ(ombrel_ctx_puts(handle, ""), -1);
        EXPECT_EQ(ombrel_ctx_db_free_result(handle, nullptr), -1);
        EXPECT_EQ(ombrel_open_ctx(handle, "test/text"), -1);
        EXPECT_EQ(ombrel_ctx_get_last_error(handle), -1);
        EXPECT_EQ(ombrel_ctx_set_option(handle, "a", "b"), -1);
        EXPECT_EQ(ombrel_destroy_ctx(handle), -1);
    }
    EXPECT_EQ(ombrel_plugin_get_name(ctx), nullptr) << "the handle of another type";
}

TEST_F(ctx_test, a_plugin_may_keep_its_own_error_word) {
    const loaded_probe own("probe_errors");
    ASSERT_EQ(open("x"), 0);
    EXPECT_EQ(ombrel_ctx_set_last_error(ctx, 12), 0);
    EXPECT_EQ(own->own_error, 12);
    EXPECT_EQ(ombrel_ctx_get_last_error(ctx), 12);
    EXPECT_EQ(ombrel_ctx_get_error_word(ctx), 0);
    EXPECT_EQ(ombrel_close_ctx(ctx), 0);
    EXPECT_EQ(ombrel_ctx_get_last_error(ctx), 12) << "it stays with the context";
    ombrel_ctx_set_option(ctx, "refuse", "3");
    const loaded_probe newest("probe_errors");
    EXPECT_EQ(open("x"), -3);
    EXPECT_EQ(ombrel_ctx_get_last_error(ctx), not_supported);
}

TEST_F(ctx_test, a_stale_handle_reaches_nothing) {
    std::set<int> living;
    while (living.size() < 3000)
        living.insert(ombrel_new_ctx());
    const int stale = *living.begin();
    for (const int handle : living)
        EXPECT_EQ(ombrel_destroy_ctx(handle), 0);
    for (int i = 0; i < 20000; i++) {
        const int next = ombrel_new_ctx();
        ASSERT_GT(next, 0);
        ASSERT_EQ(living.count(next), 0u);
        ASSERT_EQ(ombrel_ctx_set_last_error(stale, 1), -1);
        ASSERT_EQ(ombrel_destroy_ctx(next), 0);
    }
}

TEST_F(ctx_test, all_handles_can_be_in_use_and_come_back) {
    capture output(stderr);
    std::vector<int> living;
    for (int next = ombrel_new_ctx(); next > 0; next = ombrel_new_ctx())
        living.push_back(next);
    EXPECT_EQ(living.size(), def_ombrel_plugin_most_handles - 2u)
        << "beside the built-in plug-in and the fixture";
    EXPECT_EQ(ombrel_load_plugin(module_path("bare").c_str(), nullptr), -1);
    for (const int handle : living)
        ombrel_destroy_ctx(handle);
    const int next = ombrel_new_ctx();
    EXPECT_GT(next, 0);
    ombrel_destroy_ctx(next);
    EXPECT_EQ(output.text(), "ombrel_new_ctx: [ERROR] no handle left ! (limit=262144)\n"
                             "ombrel_load_plugin_ex: [ERROR] no handle left ! (limit=262144)\n");
}

TEST_F(ctx_test, a_context_in_use_goes_when_the_last_call_leaves_it) {
    const loaded_probe a("probe_a");
    ASSERT_EQ(open("hello"), 0);
    PROBE_WRITE(a->hold, 1);
    char text[8] = "";
    std::thread reader([&] { EXPECT_EQ(ombrel_ctx_read(ctx, text, sizeof text), 5); });
    while (PROBE_READ(a->inside) == 0)
        ombrel_load_balance_short();
    EXPECT_EQ(ombrel_close_ctx(ctx), -1);
    EXPECT_EQ(ombrel_ctx_get_last_error(ctx), def_ombrel_ctx_error_busy);
    EXPECT_EQ(ombrel_open_ctx(ctx, "test/text"), -1);
    EXPECT_EQ(ombrel_ctx_get_last_error(ctx), def_ombrel_ctx_error_already_open);
    EXPECT_EQ(ombrel_destroy_ctx(ctx), 0);
    EXPECT_EQ(ombrel_destroy_ctx(ctx), -1);
    EXPECT_EQ(ombrel_ctx_sync(ctx), -1);
    EXPECT_EQ(ombrel_open_ctx(ctx, "test/text"), -1);
    EXPECT_EQ(a->closed, 0);
    PROBE_WRITE(a->hold, 0);
    reader.join();
    EXPECT_STREQ(text, "hello");
    EXPECT_EQ(a->closed, 1);
    EXPECT_EQ(ombrel_ctx_get_last_error(ctx), -1);
}

TEST_F(ctx_test, an_operation_may_destroy_its_own_context) {
    const loaded_probe a("probe_a");
    ASSERT_EQ(open("hello"), 0);
    ombrel_ctx_set_option(ctx, "destroy", "1");
    EXPECT_EQ(ombrel_ctx_sync(ctx), 5);
    EXPECT_EQ(a->closed, 1);
    EXPECT_EQ(ombrel_ctx_get_plugin_data(ctx), nullptr);
}

// For the sanitizers: whatever comes at the same moment as opening, closing and destroying.
TEST_F(ctx_test, calls_may_meet_the_end_of_their_context) {
    const loaded_probe a("probe_a");
    using call = void (*)(int ctx);
    static constexpr call calls[] = {
        [](int c) { ombrel_open_ctx(c, "test/text"); },
        [](int c) { ombrel_open_ctx_stream(c, "/dev/null", "r+", 0); },
        [](int c) { ombrel_close_ctx(c); },
        [](int c) { ombrel_ctx_set_option(c, "name", "text"), ombrel_ctx_set_option(c, "name", nullptr); },
        [](int c) { ombrel_ctx_get_option_string_ex(c, "name", ""); },
        [](int c) { ombrel_ctx_set_last_error(c, ombrel_ctx_get_last_error(c)); },
        [](int c) { ombrel_ctx_is_readable(c, 0), ombrel_ctx_is_writable(c, 0); },
        [](int c) { ombrel_ctx_sync(c); },
        [](int c) { ombrel_ctx_xcontrol(c, "none", nullptr, size_t{0}); },
        [](int c) { ombrel_ctx_control(c, 0x10003, nullptr, size_t{0}); },
        [](int c) { ombrel_ctx_get_env(c, "size", nullptr, 0), ombrel_ctx_set_env(c, "none", ""); },
        [](int c) { ombrel_ctx_db_get_field_count(c, reinterpret_cast<ombrel_ctx_db_result_t*>(&c)); },
        [](int c) { ombrel_ctx_get_fbinfo(c, nullptr); },
        [](int c) { ombrel_get_ctx_plugin_name(c), ombrel_get_ctx_mime_type_hint(c); },
        [](int c) { ombrel_check_ctx_mime_type(c, "a/b"), ombrel_get_ctx_mime_type(c); },
        [](int c) { ombrel_ctx_is_executable_main(c); },
        [](int c) { ombrel_ctx_get_plugin_descriptor(c), ombrel_ctx_get_plugin_data(c); },
    };
    for (int round = 0; round < 60; round++) {
        const int shared = ombrel_new_ctx();
        std::atomic<bool> is_over{false};
        in_threads(4, [&](int i) {
            for (size_t next = static_cast<size_t>(i) * 5; i < 3 && !is_over; next++)
                calls[next % std::size(calls)](shared);
            if (i < 3)
                return;
            for (int wait = 0; wait < round; wait++)
                ombrel_ctx_sync(shared);
            while (ombrel_destroy_ctx(shared) != 0)
                ombrel_load_balance_short();
            is_over = true;
        });
        EXPECT_EQ(ombrel_ctx_get_last_error(shared), -1);
    }
    EXPECT_EQ(a->opened, a->closed);
}

TEST_F(ctx_test, a_result_is_printed_as_an_aligned_table) {
    const loaded_probe a("probe_a");
    ASSERT_EQ(open(""), 0);
    const query two(ctx, 2), none(ctx, 0);
    EXPECT_EQ(ombrel_ctx_db_get_query_ex(ctx, "4", nullptr, 1), nullptr);
    EXPECT_EQ(ombrel_ctx_get_last_error(ctx), def_ombrel_ctx_error_invalid_argument);
    capture output(stdout);
    EXPECT_EQ(ombrel_ctx_db_dump_result(ctx, two), 2);
    EXPECT_EQ(ombrel_ctx_db_dump_result(ctx, none), 0) << "an error from before is not its own";
    EXPECT_EQ(output.text(), "none | n  | text | blob\n"
                             "-----+----+------+----------\n"
                             "NULL |  7 | \xC3\xA9.0  | (9 bytes)\n"
                             "NULL | 12 | NULL | NULL\n"
                             "none | n | text | blob\n"
                             "-----+---+------+-----\n");
}

// The forms with a list of arguments and with a format, which come down to the plain ones.
TEST_F(ctx_test, formats_and_lists_reach_the_plugin) {
    const loaded_probe a("probe_a");
    ASSERT_EQ(open("hello world"), 0);
    int number = 0;
    char text[8] = "";
    const auto control = [this](va_list list) { return ombrel_ctx_vcontrol(ctx, 0x10002, list); };
    const auto xcontrol = [this](va_list list) { return ombrel_ctx_vxcontrol(ctx, "get", list); };
    const auto bcontrol = [this](va_list list) { return ombrel_ctx_vbcontrol(ctx, 0x10001, list); };
    EXPECT_EQ(with_list(control, &number, sizeof number), 0);
    EXPECT_EQ(number, 42);
    EXPECT_EQ(with_list(xcontrol, &number, sizeof number), 0);
    EXPECT_EQ(number, 41);
    EXPECT_EQ(with_list(bcontrol, "abcd", size_t{5}, text, sizeof text), 5);
    EXPECT_STREQ(text, "abcd");
    EXPECT_EQ(with_list([this](va_list list) { return ombrel_ctx_vprintf(ctx, "%s-%d", list); }, "J", 12), 4);
    EXPECT_STREQ(static_cast<char*>(ombrel_ctx_get_plugin_data(ctx)), "J-12o world");
    const auto option = [this](va_list list) {
        return ombrel_ctx_set_option_vfstring(ctx, "x", "%d,%s", list);
    };
    EXPECT_EQ(with_list(option, 5, "a"), 0);
    EXPECT_STREQ(ombrel_ctx_get_option(ctx, "x"), "5,a");

    EXPECT_EQ(ombrel_ctx_db_set_query(ctx, "%d%s", 12, "34"), 1234);
    const auto change = [this](va_list list) { return ombrel_ctx_db_set_vquery(ctx, "%s%d", list); };
    EXPECT_EQ(with_list(change, "90000000", 123), 90000000123);
    const auto ask = [this](va_list list) { return ombrel_ctx_db_get_vquery(ctx, "%d", list); };
    ombrel_ctx_db_result_t* const one = with_list(ask, 1);
    EXPECT_NE(ombrel_ctx_db_fetch_row(ctx, one), nullptr);
    EXPECT_EQ(ombrel_ctx_db_fetch_row(ctx, one), nullptr);
    EXPECT_EQ(ombrel_ctx_db_get_field_index_f(ctx, one, "%sX%c", "te", 'T'), 2);
    const auto place = [&](va_list list) { return ombrel_ctx_db_get_field_index_v(ctx, one, "%s%s", list); };
    EXPECT_EQ(with_list(place, "BL", "ob"), 3);
    EXPECT_EQ(with_list(place, "blob", "b"), -1);
    EXPECT_EQ(ombrel_ctx_db_free_result(ctx, one), 0);
}

TEST(simple_digest_test, whatever_a_stream_gives_is_digested) {
    const int builtin = ombrel_load_plugin(nullptr, nullptr); // first, so that the probe is asked before it
    const loaded_probe stream("probe_stream");
    ombrel_md5_t md5;
    ombrel_sha1_t sha1;
    ombrel_sha256_t sha256;
    EXPECT_EQ(ombrel_simple_md5("123456789", &md5), 0);
    EXPECT_STREQ(ombrel_md5_digest(&md5, nullptr), "25F9E794323B453885F5181F1B624D0B");
    EXPECT_EQ(ombrel_simple_sha1("123456789", &sha1), 0);
    EXPECT_STREQ(ombrel_sha1_digest(&sha1, nullptr), "F7C3BC1D808E04732ADF679965CCC34CA7AE3441");
    EXPECT_EQ(ombrel_simple_sha256("123456789", &sha256), 0);
    EXPECT_STREQ(ombrel_sha256_digest(&sha256, nullptr),
                 "15E2B0D3C33891EBB0F1EF609EC419420C20E320CE94C65FBC8C3312448EB225");
    EXPECT_EQ(ombrel_simple_md5("12345678!", nullptr), 0);
    EXPECT_EQ(ombrel_simple_md5("12345!", &md5), -1) << "reading gives -2 there";
    EXPECT_EQ(ombrel_simple_md5(nullptr, &md5), -1);
    size_t size = 1;
    void* body = ombrel_ctx_simple_http_get("123456789", "Accept: text/plain", 0, &size);
    EXPECT_EQ(size, 9u);
    EXPECT_STREQ(static_cast<char*>(body), "123456789");
    ombrel_check_free(body);
    ombrel_check_free(ombrel_ctx_simple_http_get_ex("123456789", nullptr, 0, 9, &size));
    EXPECT_EQ(size, 9u);
    EXPECT_EQ(ombrel_ctx_simple_http_get_ex("123456789", nullptr, 0, 8, &size), nullptr);
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(ombrel_ctx_simple_http_get("12345!", nullptr, 0, &size), nullptr);
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(stream->opened, stream->closed);
    EXPECT_EQ(ombrel_unload_plugin(builtin), 0);
}

TEST(ctx_handles, those_of_ended_contexts_come_back) {
    for (int i = 0; i < def_ombrel_plugin_most_handles + 2; i++) {
        const int handle = ombrel_new_ctx();
        ASSERT_GT(handle, 0) << i;
        ASSERT_EQ(0, ombrel_destroy_ctx(handle));
    }
}

#if defined(OMBREL_EXAMPLE_PLUGIN)
TEST_F(ctx_test, the_example_plugin_works_as_its_page_says) {
    const int handle = ombrel_load_plugin(OMBREL_EXAMPLE_PLUGIN, nullptr);
    ASSERT_GT(handle, 0);
    ASSERT_EQ(ombrel_open_ctx(ctx, "application/example_hex"), 0);
    char text[16] = "";
    EXPECT_EQ(ombrel_ctx_puts(ctx, "Hex\xFF"), 4);
    EXPECT_EQ(ombrel_ctx_is_readable(ctx, 0), 1);
    EXPECT_EQ(ombrel_ctx_read(ctx, text, 3), 2);
    EXPECT_STREQ(text, "48");
    EXPECT_EQ(ombrel_ctx_set_option(ctx, "case", "upper"), 0);
    EXPECT_EQ(ombrel_ctx_read(ctx, text, sizeof text), 6);
    EXPECT_STREQ(text, "6578FF");
    EXPECT_EQ(ombrel_ctx_read(ctx, text, 1), -1);
    EXPECT_EQ(ombrel_ctx_seek(ctx, 0, 0), -1);
    EXPECT_EQ(ombrel_close_ctx(ctx), 0);
    EXPECT_EQ(ombrel_unload_plugin(handle), 0);
}
#endif
