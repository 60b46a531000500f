#include <cstdlib>
#include <string>
#include <thread>

#include <unistd.h>

#if !defined(_WIN32)
#include <sys/resource.h>
#endif

#include <ombrel/builtin_plugin.h>
#include <ombrel/ctx_interface.h>
#include <ombrel/environment.h>
#include <ombrel/short_lock.h>

#include "builtin/stream_support.h"
#include "plugin/probe_library.h"
#include "support/capture.h"
#include "support/scratch_directory.h"
#include "support/threads.h"

using namespace ombrel_test;

namespace {

class BuiltinPluginTest : public stream_test {};

bool is_loaded(const std::string& name) {
    for (const ombrel_plugin_t* one = ombrel_get_plugin_info(); one != nullptr; one = one->m_next) {
        if (name == one->m_name)
            return true;
    }
    return false;
}

TEST_F(BuiltinPluginTest, GivesItsTable) {
    const char* hint = nullptr;
    const void* address = nullptr;
    size_t size = 0;
    EXPECT_EQ(-1, ombrel_plugin_initialize_builtin_plugin(&hint, nullptr, &size));
    EXPECT_EQ(-1, ombrel_plugin_initialize_builtin_plugin(&hint, &address, nullptr));
    ASSERT_EQ(0, ombrel_plugin_initialize_builtin_plugin(&hint, &address, &size));
    EXPECT_EQ(0, ombrel_plugin_uninitialize_builtin_plugin());
    EXPECT_STREQ("application/tuk_base;application/tuk_stream*;application/tuk_fb;application/tuk_linuxfb;"
                 "application/tuk_windows_dib;application/tuk_multicall*",
                 hint);
    const auto* const table = static_cast<const ombrel_ctx0_v1_interface_t*>(address);
    EXPECT_EQ(sizeof *table, size);
    EXPECT_EQ(size, table->m_v0.m_size);
    EXPECT_EQ(1u, table->m_v0.m_version);
    EXPECT_NE(nullptr, table->m_v0.m_main);
}

TEST_F(BuiltinPluginTest, TellsTheKindOfAContext) {
    const struct {
        const char* mime_type;
        intptr_t kind;
    } cases[] = {{"application/tuk_base", 0},     {"application/tuk_multicall", 1},
                 {"application/tuk_stream", 100}, {"application/tuk_stream_file", 101},
                 {"application/tuk_fb", 200},     {"application/TUK_fb", -1}};
    for (const auto& one : cases) {
        const bool is_multicall = one.kind == 1;
        const stream s(is_multicall ? "cat" : null_device, "r", {}, one.mime_type);
        EXPECT_EQ(one.kind, ombrel_ctx_get_plugin_descriptor(s.handle())) << one.mime_type;
    }
}

TEST_F(BuiltinPluginTest, AnOptionThatIsNoNumberIsRefused) {
    const char *const file = null_device, *const tftp = "tftp://127.0.0.1:1/file", *const pipe = "pipe:cat",
                      *const ftp = "ftp://127.0.0.1:1/f", *const tcp = "tcp://127.0.0.1:1",
                      *const udp = "udp://127.0.0.1:9";
    const struct {
        const char *source, *option, *beyond; // a number that is outside of the range
    } cases[] = {{file, "debug", "2147483648"},
                 {file, "verbose", "-2147483649"},
                 {file, "missed_time", "99999999999"},
                 {file, "timeout", "99999999999"},
                 {pipe, "close_timeout", "1e9"},
                 {tcp, "listen", "4294967296"},
                 {udp, "ttl", "256"},
                 {tftp, "block_size", "65465"},
                 {tftp, "block_size", "7"},
                 {tftp, "interval", "4294967296"},
                 {tftp, "tries", "4294967297"},
                 {tftp, "size", "9223372036854775808"},
                 {ftp, "offset", "-1"}};
    for (const auto& one : cases) {
        for (const char* const text : {one.beyond, "", "5x", "abc", " 5", "5 ", "+5", "0x5", "--5", "-"}) {
            const capture errors(stderr); // of "verbose"
            const stream s(one.source, "r", {{one.option, text}});
            EXPECT_FALSE(s.is_open());
            EXPECT_EQ(ctx_error::invalid, s.error()) << one.option << " \"" << text << '"';
        }
    }
    const stream s(file, "r", {{"timeout", "-0020"}, {"missed_time", "2147483647"}, {"verbose", "0"}});
    EXPECT_EQ("-20", s.property("timeout"));
    for (const char* const text : {"99999999999", "-2147483649", "", "5x", "soon", " 5", "+5"}) {
        EXPECT_EQ(-1, ombrel_ctx_set_env(s.handle(), "timeout", text));
        EXPECT_EQ(ctx_error::invalid, s.error()) << text;
    }
    EXPECT_EQ("-20", s.property("timeout"));
    EXPECT_EQ(-1, ombrel_ctx_set_env(s.handle(), "size", "1"));
    EXPECT_EQ(ctx_error::not_found, s.error());
    EXPECT_EQ(file, s.property("Source"));
    EXPECT_EQ("application/tuk_stream", s.property("mime_TYPE"));
    EXPECT_EQ(0, ombrel_ctx_set_env(s.handle(), "timeout", nullptr)) << "the usual one";
    EXPECT_NE("-20", s.property("timeout"));
}

TEST_F(BuiltinPluginTest, AWrongRecordIsReportedUnderTheFunctionThatWasCalled) {
    const stream s(null_device, "r");
    constexpr uint32_t code = def_ombrel_stream_control_get_timeout;
    ombrel_stream_timeout_t record;
    testing::internal::CaptureStderr();
    EXPECT_EQ(-1, ombrel_ctx_control(s.handle(), code, &record, size_t{1}));
    EXPECT_EQ(-1, ombrel_ctx_xcontrol(s.handle(), "get_timeout", &record, size_t{1}));
    EXPECT_EQ(-1, ombrel_ctx_bcontrol(s.handle(), code, nullptr, size_t{0}, &record, size_t{1}));
    const std::string report = testing::internal::GetCapturedStderr(),
                      place = "ASSERT:source/builtin_plugin:";
    for (const char* function : {"ombrel_ctx_control:", "ombrel_ctx_xcontrol:", "ombrel_ctx_bcontrol:"})
        EXPECT_NE(std::string::npos, report.find(place + function)) << report;
    EXPECT_NE(std::string::npos, report.find("s_arg_size == sizeof(*s_arg)")) << report;
    EXPECT_EQ(ctx_error::invalid, s.error());
    EXPECT_EQ(-1, ombrel_ctx_xcontrol(s.handle(), "no_such_thing", nullptr, size_t{0}));
}

// Each kind of stream knows its own operations, by their codes, and looks at the records of all of them.
TEST_F(BuiltinPluginTest, EachControlOfAStreamLooksAtItsRecord) {
    const std::pair<uint32_t, size_t> sizes[] = {
        {def_ombrel_stream_control_get_size, sizeof(ombrel_stream_size_t)},
        {def_ombrel_stream_control_set_size, sizeof(ombrel_stream_size_t)},
        {def_ombrel_stream_control_get_timeout, sizeof(ombrel_stream_timeout_t)},
        {def_ombrel_stream_control_set_timeout, sizeof(ombrel_stream_timeout_t)},
        {def_ombrel_stream_control_get_fd, sizeof(ombrel_stream_fd_t)},
        {def_ombrel_stream_control_get_local_address, sizeof(ombrel_stream_address_t)},
        {def_ombrel_stream_control_get_peer_address, sizeof(ombrel_stream_address_t)},
        {def_ombrel_stream_control_close_write, 0},
        {def_ombrel_stream_control_get_exit_status, sizeof(ombrel_stream_exit_t)},
        {def_ombrel_stream_control_get_exit_status + 1, 0}};
    const struct {
        const char *source, *mode, *known; ///< a letter for each operation in that order: y or n
        std::vector<stream::option> options = {};
    } cases[] = {{null_device, "r+", "yyyyynnnnn"},
                 {"pipe:exit 0", "r+", "nnyyynnyyn"},
                 {"tcp://127.0.0.1:0", "r", "nnyyyyyynn", {{"listen", "1"}, {"timeout", "0"}}},
                 {"udp://127.0.0.1:9", "w", "nnyyyyynnn"}};
    union {
        uint64_t aligned;
        char bytes[sizeof(ombrel_stream_address_t) + 1];
    } room{};
    for (const auto& each : cases) {
        const stream s(each.source, each.mode, each.options);
        ASSERT_TRUE(s.is_open()) << each.source << s.error();
        for (size_t i = 0; i < std::size(sizes); i++) {
            SCOPED_TRACE(std::string(each.source) + " " + std::to_string(i));
            const auto [code, size] = sizes[i];
            const int error = each.known[i] == 'y' ? ctx_error::invalid : ctx_error::not_supported;
            const capture errors(stderr);
            const auto expect_refused = [&](void* record, size_t given) {
                ombrel_ctx_set_last_error(s.handle(), 0);
                EXPECT_EQ(-1, ombrel_ctx_control(s.handle(), code, record, given));
                EXPECT_EQ(error, s.error());
            };
            expect_refused(room.bytes, size + 1);
            if (size > 0)
                expect_refused(nullptr, size);
        }
    }
}

TEST_F(BuiltinPluginTest, NothingIsReadAndWrittenWhereSomethingCouldBe) {
    const struct {
        const char *source, *mode;
        int read, write;
        const char* mime_type = "application/tuk_stream";
    } cases[] = {{null_device, "r", 0, -1},
                 {null_device, "w", -1, 0},
                 {null_device, "r+", 0, 0},
                 {"pipe:exit 0", "r", 0, -1},
                 {"udp://127.0.0.1:9", "w", 0, 0},
                 {"", "r", -1, -1, "application/tuk_multicall"},
                 {"", "r", -1, -1, "application/tuk_base"}};
    for (const auto& one : cases) {
        const stream s(one.source, one.mode, {}, one.mime_type);
        EXPECT_EQ(one.read, ombrel_ctx_read(s.handle(), nullptr, 0)) << one.source;
        EXPECT_EQ(one.read == 0 ? 0 : ctx_error::not_supported, s.error()) << one.source;
        ombrel_ctx_set_last_error(s.handle(), 0);
        EXPECT_EQ(one.write, ombrel_ctx_puts(s.handle(), "")) << one.source;
        EXPECT_EQ(one.write == 0 ? 0 : ctx_error::not_supported, s.error()) << one.source;
    }
}

TEST_F(BuiltinPluginTest, FormattedTextsMayBeLong) {
    const std::string text(100000, 'x');
    const stream s(null_device, "w");
    EXPECT_EQ(100003, ombrel_ctx_printf(s.handle(), "%s%d", text.c_str(), 123));
    EXPECT_EQ(0, ombrel_ctx_set_option_fstring(s.handle(), "name", "%s", text.c_str()));
    EXPECT_EQ(text, ombrel_ctx_get_option(s.handle(), "name"));
}

TEST_F(BuiltinPluginTest, AWantOfDescriptorsHasItsOwnError) {
#if defined(_WIN32)
    GTEST_SKIP() << "Windows has no RLIMIT_NOFILE";
#else
    rlimit before;
    getrlimit(RLIMIT_NOFILE, &before);
    const int next = dup(0);
    close(next);
    const rlimit none{static_cast<rlim_t>(next), before.rlim_max};
    for (const char* source : {null_device, "fd:0", "pipe:true", "tcp://127.0.0.1:1", "udp://127.0.0.1:9"}) {
        setrlimit(RLIMIT_NOFILE, &none);
        const stream s(source, "r");
        setrlimit(RLIMIT_NOFILE, &before);
        EXPECT_EQ(ctx_error::no_descriptor, s.error()) << source;
    }
#endif
}

/// A probe where auto-loading looks, or nothing there yet.
class installed_probe : no_copy {
public:
    explicit installed_probe(bool is_there = true) {
        ombrel_putenv(("OMBREL_PLUGIN_PATH=/nowhere:" + (directory_ / "")).c_str());
        if (is_there)
            install();
    }
    ~installed_probe() { ombrel_putenv("OMBREL_PLUGIN_PATH"); }

#if defined(_WIN32)
    void install() const {
        directory_.write(name, read_file(module_path("probe_a")));
    }
    static constexpr bool is_a_copy = true; ///< which is a library of its own
    static constexpr char name[] = "ombrel_plugin_curl.dll";
#else
    void install() const {
        EXPECT_EQ(0, symlink(module_path("probe_a").c_str(), (directory_ / name).c_str()));
    }
    static constexpr bool is_a_copy = false;
    static constexpr char name[] = "ombrel_plugin_curl.so";
#endif

private:
    const scratch_directory directory_;
};

TEST_F(BuiltinPluginTest, BringsAnotherWhereItIsInstalled) {
    const installed_probe installed(false);
    for (const bool is_there : {false, true, true}) {
        const int first = ombrel_new_ctx(), second = ombrel_new_ctx();
        EXPECT_EQ(is_there, is_loaded(installed.name));
        ombrel_destroy_ctx(first);
        EXPECT_EQ(is_there, is_loaded(installed.name)) << "while a context is there";
        ombrel_destroy_ctx(second);
        EXPECT_FALSE(is_loaded(installed.name));
        if (!is_there)
            installed.install();
    }
}

TEST_F(BuiltinPluginTest, AsksTheLoaderOnceForWhatIsNowhere) {
    const installed_probe nothing(false);
    ombrel_destroy_ctx(ombrel_new_ctx());
    ombrel_dl_error();
    ombrel_destroy_ctx(ombrel_new_ctx());
    EXPECT_EQ(nullptr, ombrel_dl_error()) << "it has been asked again";
}

TEST_F(BuiltinPluginTest, WhatItBringsMayUseContexts) {
    if (installed_probe::is_a_copy)
        GTEST_SKIP() << "without symbolic links there is no second name of a library";
    const installed_probe installed;
    const probe_library probe("probe_a");
    probe->makes_ctx = 1;
    ombrel_destroy_ctx(ombrel_new_ctx());
    const void* table;
    size_t size;
    EXPECT_EQ(0, ombrel_plugin_initialize_builtin_plugin(nullptr, &table, &size));
    EXPECT_EQ(0, ombrel_plugin_uninitialize_builtin_plugin());
    EXPECT_EQ(2, probe->initialized);
    EXPECT_EQ(2, probe->uninitialized);
    EXPECT_EQ(4, probe->opened);
    EXPECT_EQ(4, probe->closed);
}

// What it brings may be what is just being loaded or unloaded, and that may use contexts.
TEST_F(BuiltinPluginTest, DoesNotWaitForWhatWaitsForIt) {
    if (installed_probe::is_a_copy)
        GTEST_SKIP() << "without symbolic links there is no second name of a library";
    const installed_probe installed;
    const probe_library probe("probe_a"), other("probe_b");
    const std::string path = module_path("bare");
    probe->makes_ctx = 1;
    probe->loads = path.c_str();
    EXPECT_EQ(0, ombrel_unload_plugin(probe.load()));
    EXPECT_EQ(1, probe->uninitialized);
    EXPECT_EQ(2, probe->listed);
    in_threads(4, [&](int i) {
        for (int round = 0; round < 20; round++) {
            const int handle = (i + round) % 2 == 0 ? probe.load() : -1, ctx = ombrel_new_ctx();
            EXPECT_GT(ctx, 0);
            EXPECT_EQ(0, ombrel_destroy_ctx(ctx));
            ombrel_unload_plugin(handle);
        }
    });
    EXPECT_EQ(probe->initialized, probe->uninitialized);
    EXPECT_EQ(probe->opened, probe->closed);
}

TEST_F(BuiltinPluginTest, OpeningWaitsForWhatAnotherThreadBrings) {
    if (installed_probe::is_a_copy)
        GTEST_SKIP() << "without symbolic links there is no second name of a library";
    const installed_probe installed;
    const probe_library probe("probe_a");
    PROBE_WRITE(probe->gate, 1);
    std::thread first([] { ombrel_destroy_ctx(ombrel_new_ctx()); });
    probe.await(probe->entered);
    const int ctx = ombrel_new_ctx();
    EXPECT_EQ(-1, ombrel_open_ctx(ctx, "test/text")) << "the plug-in may wait for this thread, so it goes on";
    EXPECT_EQ(0, ombrel_open_ctx(ctx, "application/tuk_base")) << "what needs nothing of it does not wait";
    ombrel_close_ctx(ctx);
    std::thread opening([=] { EXPECT_EQ(0, ombrel_open_ctx(ctx, "test/text")); });
    ombrel_load_balance(); // so that it is there as a rule
    PROBE_WRITE(probe->gate, 0);
    opening.join();
    first.join();
    ombrel_destroy_ctx(ctx);
}

} // namespace
