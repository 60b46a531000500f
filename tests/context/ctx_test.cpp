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
#include "support/ctx_error.h"
#include "support/heap_balance.h"
#include "support/heap_block.h"
#include "support/own_stack.h"
#include "support/threads.h"

using namespace ombrel_test;

namespace {

constexpr int unknown = 12345;

class CtxTest : public balanced_test {
protected:
    ~CtxTest() override { ombrel_destroy_ctx(ctx); }

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

TEST_F(CtxTest, OpeningBindsToTheNewestPluginThatAccepts) {
    const loaded_probe a("probe_a"), b("probe_b");
    EXPECT_EQ(-1, ombrel_open_ctx(ctx, "nobody/serves"));
    EXPECT_EQ(ctx_error::not_supported, ombrel_ctx_get_last_error(ctx));
    EXPECT_EQ(nullptr, ombrel_get_ctx_plugin_name(ctx));
    EXPECT_EQ(0, ombrel_open_ctx(ctx, "Test/Shared/1"));
    EXPECT_EQ(0, ombrel_ctx_get_last_error(ctx));
    EXPECT_STREQ("probe_b.so", ombrel_get_ctx_plugin_name(ctx));
    EXPECT_STREQ("test/other|test/shared*", ombrel_get_ctx_mime_type_hint(ctx));
    EXPECT_STREQ("Test/Shared/1", ombrel_get_ctx_mime_type(ctx));
    EXPECT_EQ(0, ombrel_check_ctx_mime_type(ctx, "test/other"));
    EXPECT_EQ(-1, ombrel_check_ctx_mime_type(ctx, "test/text"));
    EXPECT_EQ(-1, ombrel_open_ctx(ctx, "test/text"));
    EXPECT_EQ(ctx_error::already_open, ombrel_ctx_get_last_error(ctx));
    EXPECT_STREQ("probe_b.so", ombrel_get_ctx_plugin_name(ctx)) << "bound as before";
    EXPECT_EQ(7, ombrel_ctx_get_plugin_descriptor(ctx));
    EXPECT_EQ(0, ombrel_close_ctx(ctx));
    EXPECT_EQ(1, b->closed);
    EXPECT_EQ(-1, ombrel_ctx_get_plugin_descriptor(ctx));
    EXPECT_EQ(nullptr, ombrel_ctx_get_plugin_data(ctx));
    EXPECT_EQ(nullptr, ombrel_get_ctx_mime_type(ctx));
    EXPECT_EQ(-1, ombrel_check_ctx_mime_type(ctx, "test/other"));
}

TEST_F(CtxTest, ARefusalGoesOnToTheNextPluginOnlyWhenNotSupported) {
    const loaded_probe a("probe_a"), b("probe_b");
    const std::pair<const char*, int> cases[] = {
        {"3", ctx_error::not_supported}, {"5", ctx_error::not_found}, {"0", ctx_error::not_supported}};
    for (const auto& [refusal, error] : cases) {
        ombrel_ctx_set_option(ctx, "refuse", refusal);
        EXPECT_EQ(-3, ombrel_open_ctx(ctx, "test/shared")) << "the result of the last one asked";
        EXPECT_EQ(error, ombrel_ctx_get_last_error(ctx));
        EXPECT_EQ(nullptr, ombrel_get_ctx_plugin_name(ctx));
    }
    EXPECT_EQ(0, a->opened + b->opened + a->closed + b->closed);
    EXPECT_EQ(1, a->refused) << "the first time alone";
    EXPECT_EQ(3, b->refused) << "each time once";
    const int bare = ombrel_load_plugin(module_path("bare").c_str(), nullptr);
    EXPECT_EQ(0, ombrel_open_ctx(ctx, "test/bare"));
    EXPECT_EQ(-1, ombrel_ctx_write(ctx, "", 0));
    EXPECT_EQ(ctx_error::not_supported, ombrel_ctx_get_last_error(ctx)) << "a null slot";
    EXPECT_EQ(0, ombrel_close_ctx(ctx));
    EXPECT_EQ(0, ombrel_unload_plugin(bare));
}

TEST_F(CtxTest, AnOpenOperationMayUseContextsButNotCloseItsOwn) {
    const loaded_probe a("probe_a");
    ombrel_ctx_set_option(ctx, "nested", "1");
    ombrel_ctx_set_option(ctx, "close", "1");
    EXPECT_EQ(0, ombrel_open_ctx(ctx, "test/text"));
    EXPECT_EQ(ctx_error::busy, ombrel_ctx_get_last_error(ctx));
    EXPECT_EQ(2, a->opened);
}

TEST_F(CtxTest, TheRecordOfAPluginIsHeldWhileItOpensAndCloses) {
    const loaded_probe a("probe_a");
    ombrel_ctx_set_option(ctx, "held", "1");
    EXPECT_EQ(0, ombrel_open_ctx(ctx, "test/text"));
    EXPECT_EQ(0, ombrel_close_ctx(ctx));
}

TEST_F(CtxTest, OptionsThatGoAreWipedAndTheirRoomComesBack) {
    const std::string text(100, 's');
    size_t first_count = 0;
    for (int round = 0; round < 3; round++) {
        const size_t before = ombrel_get_alloc_count();
        for (const char* name : {"near", "apart"})
            EXPECT_EQ(0, ombrel_ctx_set_option(ctx, name, text.c_str()));
        const size_t count = ombrel_get_alloc_count() - before;
        first_count = round == 0 ? count : first_count;
        EXPECT_EQ(first_count, count) << round;
        EXPECT_TRUE(is_in_live_blocks(text));
        if (round == 1) {
            EXPECT_EQ(0, ombrel_ctx_set_option(ctx, "near", "x"));
            EXPECT_EQ(0, ombrel_ctx_set_option(ctx, "apart", nullptr));
        } else {
            EXPECT_EQ(0, ombrel_close_ctx(ctx));
        }
        EXPECT_FALSE(is_in_live_blocks(text)) << round;
        EXPECT_EQ(0, ombrel_close_ctx(ctx));
    }
}

TEST_F(CtxTest, FormattedOptionsLeaveNoTextInFreedMemory) {
    const std::string secret(1000, 's');
    EXPECT_EQ(0, ombrel_ctx_set_option_fstring(ctx, "password", "%s", secret.c_str()));
    EXPECT_EQ(secret, ombrel_ctx_get_option(ctx, "password"));
    for (const unsigned size : {256u, 512u, 1024u}) // the formatter's attempts
        EXPECT_EQ(std::string::npos, freed_bytes(size).find("ssss")) << size;
}

TEST_F(CtxTest, OptionsAreFoundInEitherCaseUntilTheContextIsClosed) {
    EXPECT_EQ(nullptr, ombrel_ctx_get_option(ctx, "mode"));
    EXPECT_STREQ("none", ombrel_ctx_get_option_string_ex(ctx, "mode", "none"));
    EXPECT_EQ(0, ombrel_ctx_set_option(ctx, "Mode", "rb"));
    EXPECT_EQ(0, ombrel_ctx_set_option_string(ctx, "mode", "r+b"));
    EXPECT_STREQ("r+b", ombrel_ctx_get_option_string(ctx, "MODE"));
    EXPECT_EQ(0, ombrel_ctx_set_option_fstring(ctx, "xywh", "%d,%s", 5, "a"));
    EXPECT_STREQ("5,a", ombrel_ctx_get_option(ctx, "xywh"));
    EXPECT_EQ(0, ombrel_ctx_set_option_int_string(ctx, "debug", INT32_MIN));
    EXPECT_STREQ("-2147483648", ombrel_ctx_get_option(ctx, "debug"));
    EXPECT_EQ(0, ombrel_ctx_set_option(ctx, "mode", ombrel_ctx_get_option(ctx, "debug"))) << "another's text";
    EXPECT_STREQ("-2147483648", ombrel_ctx_get_option(ctx, "mode"));
    EXPECT_EQ(0, ombrel_ctx_set_option(ctx, "debug", nullptr));
    EXPECT_EQ(nullptr, ombrel_ctx_get_option(ctx, "debug"));
    EXPECT_EQ(0, ombrel_ctx_set_option_string(ctx, "debug", nullptr));
    EXPECT_STREQ("", ombrel_ctx_get_option(ctx, "debug"));
    for (const char* name : {static_cast<const char*>(nullptr), ""})
        EXPECT_EQ(-1, ombrel_ctx_set_option(ctx, name, "x"));
    EXPECT_EQ(0, ombrel_close_ctx(ctx));
    EXPECT_EQ(nullptr, ombrel_ctx_get_option(ctx, "mode"));
}

TEST_F(CtxTest, OperationsReachThePlugin) {
    const loaded_probe a("probe_a");
    ASSERT_EQ(0, open("hello world"));
    char text[32] = "";
    EXPECT_EQ(0, ombrel_ctx_is_readable(ctx, 0));
    EXPECT_EQ(1, ombrel_ctx_is_writable(ctx, -1));
    EXPECT_EQ(5, ombrel_ctx_read(ctx, text, SIZE_MAX));
    EXPECT_EQ(6, ombrel_ctx_seek(ctx, 6, def_ombrel_ctx_seek_set));
    EXPECT_EQ(4, ombrel_ctx_printf(ctx, "%s%d", "WOR", 1)) << "in pieces of 3";
    EXPECT_EQ(-1, ombrel_ctx_puts(ctx, "!"));
    EXPECT_EQ(0, ombrel_ctx_rewind(ctx));
    EXPECT_EQ(3, ombrel_ctx_puts(ctx, "HEL!O")) << "what was written before it stopped";
    EXPECT_EQ(0, ombrel_ctx_puts(ctx, nullptr));
    EXPECT_STREQ("HELlo WOR1d", static_cast<char*>(ombrel_ctx_get_plugin_data(ctx)));
    EXPECT_EQ(0, ombrel_ctx_sync(ctx));
    EXPECT_EQ(77, ombrel_ctx_get_last_error(ctx));
    EXPECT_EQ(-1, ombrel_ctx_read(ctx, nullptr, 1));
    EXPECT_EQ(ctx_error::invalid, ombrel_ctx_get_last_error(ctx));
    char argument[] = "5";
    char* argv[] = {argument, nullptr};
    EXPECT_EQ(1, ombrel_ctx_is_executable_main(ctx));
    EXPECT_EQ(15, ombrel_ctx_execute_main(ctx, 1, argv));
}

TEST_F(CtxTest, WhatIsMissingIsNotSupported) {
    const loaded_probe old("probe_old");
    char byte;
    const auto missing = [this](int result, int expected) {
        EXPECT_EQ(result, expected);
        EXPECT_EQ(ctx_error::not_supported, ombrel_ctx_get_last_error(ctx));
        EXPECT_EQ(0, ombrel_ctx_set_last_error(ctx, 0));
    };
    missing(ombrel_ctx_read(ctx, &byte, 1), -1);
    missing(ombrel_ctx_read(ctx, nullptr, 1), -1);
    missing(ombrel_ctx_puts(ctx, ""), -1);
    missing(ombrel_ctx_execute_main(ctx, 0, nullptr), 1);
    ASSERT_EQ(0, open("x"));
    missing(ombrel_ctx_is_executable_main(ctx), 0);
    missing(ombrel_ctx_db_get_query_puts(ctx, "1") != nullptr, 0);
    missing(static_cast<int>(ombrel_ctx_db_set_query_puts(ctx, "1")), -1);
    missing(ombrel_ctx_db_get_field_count(ctx, nullptr), -1);
    missing(ombrel_ctx_db_free_result(ctx, nullptr), -1);
    missing(ombrel_ctx_get_fbinfo(ctx, nullptr), -1);
    for (const int handle : {unknown, 0, -1, old.handle}) {
        EXPECT_EQ(-1, ombrel_ctx_read(handle, &byte, 1));
        EXPECT_EQ(-1, ombrel_ctx_puts(handle, ""));
        EXPECT_EQ(-1, ombrel_ctx_db_free_result(handle, nullptr));
        EXPECT_EQ(-1, ombrel_open_ctx(handle, "test/text"));
        EXPECT_EQ(-1, ombrel_ctx_get_last_error(handle));
        EXPECT_EQ(-1, ombrel_ctx_set_option(handle, "a", "b"));
        EXPECT_EQ(-1, ombrel_destroy_ctx(handle));
    }
    EXPECT_EQ(nullptr, ombrel_plugin_get_name(ctx)) << "the handle of another type";
}

TEST_F(CtxTest, APluginMayKeepItsOwnErrorWord) {
    const loaded_probe own("probe_errors");
    ASSERT_EQ(0, open("x"));
    EXPECT_EQ(0, ombrel_ctx_set_last_error(ctx, 12));
    EXPECT_EQ(12, own->own_error);
    EXPECT_EQ(12, ombrel_ctx_get_last_error(ctx));
    EXPECT_EQ(0, ombrel_ctx_get_error_word(ctx));
    EXPECT_EQ(0, ombrel_close_ctx(ctx));
    EXPECT_EQ(12, ombrel_ctx_get_last_error(ctx)) << "it stays with the context";
    ombrel_ctx_set_option(ctx, "refuse", "3");
    const loaded_probe newest("probe_errors");
    EXPECT_EQ(-3, open("x"));
    EXPECT_EQ(ctx_error::not_supported, ombrel_ctx_get_last_error(ctx));
}

TEST_F(CtxTest, WordsOfAFailureStayUntilTheNext) {
    const loaded_probe a("probe_a");
    const auto words = [this](size_t room = def_ombrel_ctx_error_text_size) {
        std::string text(def_ombrel_ctx_error_text_size, '?');
        const int size = ombrel_ctx_get_last_error_text(ctx, text.data(), room);
        return std::pair(size, std::string(text.c_str()));
    };
    EXPECT_EQ(std::pair(0, std::string()), words());
    EXPECT_EQ(0, ombrel_ctx_set_last_error_text(ctx, ctx_error::corrupt, "page 7\nis\tgone"));
    for (int asked = 0; asked < 2; asked++)
        EXPECT_EQ(std::pair(14, std::string("page 7 is gone")), words());
    EXPECT_EQ(std::pair(14, std::string("pag")), words(4));
    EXPECT_EQ(14, ombrel_ctx_get_last_error_text(ctx, nullptr, 0));
    EXPECT_EQ(-1, ombrel_ctx_get_last_error_text(ctx, nullptr, 1));
    // Another failure with the same code has not the words of the one before.
    EXPECT_EQ(0, ombrel_ctx_set_last_error(ctx, ctx_error::corrupt));
    EXPECT_EQ(ombrel_ctx_error_text(ctx_error::corrupt), words().second);
    // In whole characters.
    std::string longer(def_ombrel_ctx_error_text_size - 2, 'x');
    ombrel_ctx_set_last_error_text(ctx, ctx_error::io, (longer + "\xc3\xa4").c_str());
    EXPECT_EQ(longer, words().second);
    EXPECT_EQ(-1, ombrel_open_ctx(ctx, "nobody/serves"));
    EXPECT_EQ(ombrel_ctx_error_text(ctx_error::not_supported), words().second);
    EXPECT_EQ(0, open("x"));
    EXPECT_EQ(std::pair(0, std::string()), words());
    EXPECT_EQ(-1, ombrel_ctx_get_last_error_text(unknown, nullptr, 0));
    EXPECT_EQ(-1, ombrel_ctx_set_last_error_text(unknown, 1, "x"));
    EXPECT_STREQ("connection refused", ombrel_ctx_error_text(ctx_error::refused));
    for (const int other : {-1, 1, 22, 0x10000})
        EXPECT_STREQ("it failed", ombrel_ctx_error_text(other)) << other;
}

TEST_F(CtxTest, OnlyTheNamedSchemesAreOpened) {
    const loaded_probe a("probe_a");
    ombrel_ctx_set_option(ctx, "schemes", "HTTPS|file");
    for (const char* source : {"pipe:true", "http://a", "httpsx://a"}) {
        EXPECT_EQ(-1, open(source)) << source;
        EXPECT_EQ(ctx_error::access_denied, ombrel_ctx_get_last_error(ctx)) << source;
    }
    for (const char* source : {"https://a", "plain/path", "", "c:\\path"}) {
        EXPECT_EQ(0, open(source)) << source;
        EXPECT_EQ(0, ombrel_close_ctx(ctx));
        ombrel_ctx_set_option(ctx, "schemes", "https|file");
    }
}

TEST_F(CtxTest, WhatNobodyServesIsReportedToWhoDebugs) {
    ombrel_ctx_set_option(ctx, "source", "gopher://a");
    for (const char* debug : {"0", "1"}) {
        ombrel_ctx_set_option(ctx, "debug", debug);
        capture errors(stderr);
        EXPECT_EQ(-1, ombrel_open_ctx(ctx, "nobody/serves"));
        EXPECT_EQ(*debug == '0' ? ""
                                : "ombrel_open_ctx: [ERROR] no plug-in serves it ! "
                                  "(mime_type=\"nobody/serves\", source=\"gopher://a\")\n",
                  errors.text());
    }
}

TEST_F(CtxTest, AStaleHandleReachesNothing) {
    std::set<int> living;
    while (living.size() < 3000)
        living.insert(ombrel_new_ctx());
    const int stale = *living.begin();
    for (const int handle : living)
        EXPECT_EQ(0, ombrel_destroy_ctx(handle));
    for (int i = 0; i < def_ombrel_plugin_most_handles + 2; i++) {
        const int next = ombrel_new_ctx();
        ASSERT_GT(next, 0);
        ASSERT_EQ(0u, living.count(next));
        ASSERT_EQ(-1, ombrel_ctx_set_last_error(stale, 1));
        ASSERT_EQ(0, ombrel_destroy_ctx(next));
    }
}

TEST_F(CtxTest, AllHandlesCanBeInUseAndComeBack) {
    capture output(stderr);
    std::vector<int> living;
    for (int next = ombrel_new_ctx(); next > 0; next = ombrel_new_ctx())
        living.push_back(next);
    EXPECT_EQ(living.size(), def_ombrel_plugin_most_handles - 2u)
        << "beside the built-in plug-in and the fixture";
    EXPECT_EQ(-1, ombrel_load_plugin(module_path("bare").c_str(), nullptr));
    for (const int handle : living)
        ombrel_destroy_ctx(handle);
    const int next = ombrel_new_ctx();
    EXPECT_GT(next, 0);
    ombrel_destroy_ctx(next);
    EXPECT_EQ("ombrel_new_ctx: [ERROR] no handle left ! (limit=262144)\n"
              "ombrel_load_plugin_ex: [ERROR] no handle left ! (limit=262144)\n",
              output.text());
}

TEST_F(CtxTest, AContextInUseGoesWhenTheLastCallLeavesIt) {
    const loaded_probe a("probe_a");
    ASSERT_EQ(0, open("hello"));
    PROBE_WRITE(a->hold, 1);
    char text[8] = "";
    std::thread reader([&] { EXPECT_EQ(5, ombrel_ctx_read(ctx, text, sizeof text)); });
    a.await(a->inside);
    EXPECT_EQ(-1, ombrel_close_ctx(ctx));
    EXPECT_EQ(ctx_error::busy, ombrel_ctx_get_last_error(ctx));
    EXPECT_EQ(-1, ombrel_open_ctx(ctx, "test/text"));
    EXPECT_EQ(ctx_error::already_open, ombrel_ctx_get_last_error(ctx));
    EXPECT_EQ(0, ombrel_destroy_ctx(ctx));
    EXPECT_EQ(-1, ombrel_destroy_ctx(ctx));
    EXPECT_EQ(-1, ombrel_ctx_sync(ctx));
    EXPECT_EQ(-1, ombrel_open_ctx(ctx, "test/text"));
    EXPECT_EQ(0, a->closed);
    PROBE_WRITE(a->hold, 0);
    reader.join();
    EXPECT_STREQ("hello", text);
    EXPECT_EQ(1, a->closed);
    EXPECT_EQ(-1, ombrel_ctx_get_last_error(ctx));
}

TEST_F(CtxTest, AnOperationMayDestroyItsOwnContext) {
    const loaded_probe a("probe_a");
    ASSERT_EQ(0, open("hello"));
    ombrel_ctx_set_option(ctx, "destroy", "1");
    EXPECT_EQ(5, ombrel_ctx_sync(ctx));
    EXPECT_EQ(1, a->closed);
    EXPECT_EQ(nullptr, ombrel_ctx_get_plugin_data(ctx));
}

// For the sanitizers: whatever comes at the same moment as opening, closing and destroying.
TEST_F(CtxTest, CallsMayMeetTheEndOfTheirContext) {
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
        [](int c) { ombrel_ctx_get_plugin_descriptor(c), ombrel_ctx_get_plugin_data(c); }};
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
        EXPECT_EQ(-1, ombrel_ctx_get_last_error(shared));
    }
    EXPECT_EQ(a->opened, a->closed);
}

TEST_F(CtxTest, AResultIsPrintedAsAnAlignedTable) {
    const loaded_probe a("probe_a");
    ASSERT_EQ(0, open(""));
    const query two(ctx, 2), none(ctx, 0);
    EXPECT_EQ(nullptr, ombrel_ctx_db_get_query_ex(ctx, "4", nullptr, 1));
    EXPECT_EQ(ctx_error::invalid, ombrel_ctx_get_last_error(ctx));
    capture output(stdout);
    EXPECT_EQ(2, ombrel_ctx_db_dump_result(ctx, two));
    EXPECT_EQ(0, ombrel_ctx_db_dump_result(ctx, none)) << "an error from before is not its own";
    EXPECT_EQ("none | n  | text | blob\n"
              "-----+----+------+----------\n"
              "NULL |  7 | \xC3\xA9.0  | (9 bytes)\n"
              "NULL | 12 | NULL | NULL\n"
              "none | n | text | blob\n"
              "-----+---+------+-----\n",
              output.text());
}

// The forms with a list of arguments and with a format, which come down to the plain ones.
TEST_F(CtxTest, FormatsAndListsReachThePlugin) {
    const loaded_probe a("probe_a");
    ASSERT_EQ(0, open("hello world"));
    int number = 0;
    char text[8] = "";
    const auto control = [this](va_list list) { return ombrel_ctx_vcontrol(ctx, 0x10002, list); };
    const auto xcontrol = [this](va_list list) { return ombrel_ctx_vxcontrol(ctx, "get", list); };
    const auto bcontrol = [this](va_list list) { return ombrel_ctx_vbcontrol(ctx, 0x10001, list); };
    EXPECT_EQ(0, with_list(control, &number, sizeof number));
    EXPECT_EQ(42, number);
    EXPECT_EQ(0, with_list(xcontrol, &number, sizeof number));
    EXPECT_EQ(41, number);
    EXPECT_EQ(5, with_list(bcontrol, "abcd", size_t{5}, text, sizeof text));
    EXPECT_STREQ("abcd", text);
    EXPECT_EQ(4, with_list([this](va_list list) { return ombrel_ctx_vprintf(ctx, "%s-%d", list); }, "J", 12));
    EXPECT_STREQ("J-12o world", static_cast<char*>(ombrel_ctx_get_plugin_data(ctx)));
    const auto option = [this](va_list list) {
        return ombrel_ctx_set_option_vfstring(ctx, "x", "%d,%s", list);
    };
    EXPECT_EQ(0, with_list(option, 5, "a"));
    EXPECT_STREQ("5,a", ombrel_ctx_get_option(ctx, "x"));

    EXPECT_EQ(1234, ombrel_ctx_db_set_query(ctx, "%d%s", 12, "34"));
    const auto change = [this](va_list list) { return ombrel_ctx_db_set_vquery(ctx, "%s%d", list); };
    EXPECT_EQ(90000000123, with_list(change, "90000000", 123));
    const auto ask = [this](va_list list) { return ombrel_ctx_db_get_vquery(ctx, "%d", list); };
    ombrel_ctx_db_result_t* const one = with_list(ask, 1);
    EXPECT_NE(nullptr, ombrel_ctx_db_fetch_row(ctx, one));
    EXPECT_EQ(nullptr, ombrel_ctx_db_fetch_row(ctx, one));
    EXPECT_EQ(2, ombrel_ctx_db_get_field_index_f(ctx, one, "%sX%c", "te", 'T'));
    const auto place = [&](va_list list) { return ombrel_ctx_db_get_field_index_v(ctx, one, "%s%s", list); };
    EXPECT_EQ(3, with_list(place, "BL", "ob"));
    EXPECT_EQ(-1, with_list(place, "blob", "b"));
    EXPECT_EQ(0, ombrel_ctx_db_free_result(ctx, one));
}

TEST(SimpleDigestTest, WhateverAStreamGivesIsDigested) {
    const int builtin = ombrel_load_plugin(nullptr, nullptr); // first, so that the probe is asked before it
    const loaded_probe stream("probe_stream");
    ombrel_md5_t md5;
    ombrel_sha1_t sha1;
    ombrel_sha256_t sha256;
    EXPECT_EQ(0, ombrel_simple_md5("123456789", &md5));
    EXPECT_STREQ("25F9E794323B453885F5181F1B624D0B", ombrel_md5_digest(&md5, nullptr));
    EXPECT_EQ(0, ombrel_simple_sha1("123456789", &sha1));
    EXPECT_STREQ("F7C3BC1D808E04732ADF679965CCC34CA7AE3441", ombrel_sha1_digest(&sha1, nullptr));
    EXPECT_EQ(0, ombrel_simple_sha256("123456789", &sha256));
    EXPECT_STREQ("15E2B0D3C33891EBB0F1EF609EC419420C20E320CE94C65FBC8C3312448EB225",
                 ombrel_sha256_digest(&sha256, nullptr));
    EXPECT_EQ(0, ombrel_simple_md5("12345678!", nullptr));
    EXPECT_EQ(-1, ombrel_simple_md5("12345!", &md5)) << "reading gives -2 there";
    EXPECT_EQ(-1, ombrel_simple_md5(nullptr, &md5));
    size_t size = 1;
    void* body = ombrel_ctx_simple_http_get("123456789", "Accept: text/plain", 0, &size);
    EXPECT_EQ(9u, size);
    EXPECT_STREQ("123456789", static_cast<char*>(body));
    ombrel_check_free(body);
    ombrel_check_free(ombrel_ctx_simple_http_get_ex("123456789", nullptr, 0, 9, &size));
    EXPECT_EQ(9u, size);
    EXPECT_EQ(nullptr, ombrel_ctx_simple_http_get_ex("123456789", nullptr, 0, 8, &size));
    EXPECT_EQ(0u, size);
    EXPECT_EQ(nullptr, ombrel_ctx_simple_http_get("12345!", nullptr, 0, &size));
    EXPECT_EQ(0u, size);
    EXPECT_EQ(stream->opened, stream->closed);
    EXPECT_EQ(0, ombrel_unload_plugin(builtin));
}

#if defined(OMBREL_EXAMPLE_PLUGIN)
TEST_F(CtxTest, TheExamplePluginWorksAsItsPageSays) {
    const int handle = ombrel_load_plugin(OMBREL_EXAMPLE_PLUGIN, nullptr);
    ASSERT_GT(handle, 0);
    ASSERT_EQ(0, ombrel_open_ctx(ctx, "application/example_hex"));
    char text[16] = "";
    EXPECT_EQ(4, ombrel_ctx_puts(ctx, "Hex\xFF"));
    EXPECT_EQ(1, ombrel_ctx_is_readable(ctx, 0));
    EXPECT_EQ(2, ombrel_ctx_read(ctx, text, 3));
    EXPECT_STREQ("48", text);
    EXPECT_EQ(0, ombrel_ctx_set_option(ctx, "case", "upper"));
    EXPECT_EQ(6, ombrel_ctx_read(ctx, text, sizeof text));
    EXPECT_STREQ("6578FF", text);
    EXPECT_EQ(-1, ombrel_ctx_read(ctx, text, 1));
    EXPECT_EQ(-1, ombrel_ctx_seek(ctx, 0, 0));
    EXPECT_EQ(0, ombrel_close_ctx(ctx));
    EXPECT_EQ(0, ombrel_unload_plugin(handle));
}
#endif
