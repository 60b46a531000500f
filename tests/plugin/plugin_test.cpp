#include <atomic>
#include <cstring>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include <ombrel/builtin_plugin.h>
#include <ombrel/ctx.h>
#include <ombrel/ctx_interface.h>
#include <ombrel/environment.h>
#include <ombrel/short_lock.h>

#include "plugin/probe_library.h"
#include "support/capture.h"
#include "support/heap_balance.h"
#include "support/threads.h"
#include "support/waiting_call.h"

using namespace ombrel_test;

namespace {

/// Holds the lock of the newest plug-in's record for a scope.
class record_holder : no_copy {
public:
    explicit record_holder(uint32_t mode)
        : lock_(const_cast<ombrel_plugin_t*>(ombrel_get_plugin_info())->m_lock) {
        EXPECT_EQ(1, ombrel_reference_spin_lock(&lock_, mode));
    }
    ~record_holder() { EXPECT_EQ(0, ombrel_reference_spin_unlock(&lock_)); }

private:
    ombrel_spin_lock_t& lock_;
};

size_t uses_of_all() {
    size_t uses = 0;
    for (const ombrel_plugin_t* at = ombrel_get_plugin_info(); at != nullptr; at = at->m_next)
        uses += static_cast<size_t>(at->m_used_count) + at->m_bound_count;
    return uses;
}

/// Makes the calls one after the other while the newest record is held; each has to wait before it changes
/// anything.
void all_wait(const std::vector<std::function<void()>>& calls) {
    std::vector<std::unique_ptr<waiting_call>> waiting;
    const record_holder writer(def_ombrel_spin_lock_exclusive);
    const size_t uses = uses_of_all();
    for (const auto& call : calls) {
        waiting.push_back(std::make_unique<waiting_call>(call));
        EXPECT_TRUE(waiting.back()->is_waiting()) << waiting.size();
        EXPECT_EQ(uses, uses_of_all());
    }
}

class PluginTest : public balanced_test {
protected:
    ~PluginTest() override { EXPECT_EQ(nullptr, ombrel_get_plugin_info()) << "a plug-in was left behind"; }

    char number_[2] = "4";
    char* argv_[2] = {number_, nullptr};
};

} // namespace

TEST(DlTest, ALibraryIsFoundByItsPathOrInTheSearchList) {
    const std::string list = std::string("/nonexistent::") + OMBREL_TEST_MODULES;
    EXPECT_EQ(nullptr, ombrel_open_dl("nowhere/bare.so"));
    EXPECT_NE(nullptr, ombrel_dl_error());
    EXPECT_EQ(nullptr, ombrel_open_dl_ex("nowhere/bare.so", "/nonexistent:", 0));
    void* library = ombrel_open_dl_ex("nowhere/bare.so", list.c_str(), 0);
    ASSERT_NE(nullptr, library);
    EXPECT_NE(nullptr, ombrel_import_dl(library, "ombrel_plugin_initialize"));
    EXPECT_EQ(nullptr, ombrel_import_dl(library, "no_such_symbol"));
    EXPECT_EQ(0, ombrel_close_dl(library));
    EXPECT_EQ(-1, ombrel_close_dl(nullptr));
}

TEST_F(PluginTest, TheRecordSaysWhatWasLoaded) {
    loaded_probe probe("probe_a");
    const ombrel_plugin_t* record = ombrel_get_plugin_info();
    ASSERT_NE(nullptr, record);
    EXPECT_EQ(0, memcmp(&record->m_magic, "WULP", 4));
    EXPECT_EQ(record->m_flags, def_ombrel_plugin_flag_initialized | def_ombrel_plugin_flag_ctx_interface);
    EXPECT_EQ(record->m_handle, probe.handle);
    EXPECT_STREQ(record->m_path, probe.path());
    EXPECT_STREQ("probe_a.so", record->m_name);
    EXPECT_EQ(record->m_interface_size, sizeof(ombrel_ctx0_v1_interface_t));
    EXPECT_STREQ("probe_a.so", ombrel_plugin_get_name(probe.handle));
    EXPECT_STREQ("test/text|test/shared*", ombrel_plugin_get_mime_type_hint(probe.handle));
    EXPECT_EQ(ombrel_plugin_get_interface(probe.handle), record->m_interface);
}

TEST_F(PluginTest, EachLoadIsAUseAndTheLastUnloadEndsIt) {
    const probe_library probe("probe_a");
    const int handle = probe.load();
    capture complaints(stderr);
    EXPECT_EQ(probe.load(), handle);
    EXPECT_EQ(ombrel_load_plugin(module_path("other/probe_a").c_str(), nullptr), handle) << "same base name";
    EXPECT_EQ("", complaints.text());
    EXPECT_EQ(3u, ombrel_get_plugin_info()->m_used_count);
    for (int uses = 3; uses > 0; uses--) {
        EXPECT_EQ(0, probe->uninitialized);
        EXPECT_EQ(0, ombrel_unload_plugin(handle));
    }
    EXPECT_EQ(1, probe->initialized);
    EXPECT_EQ(1, probe->uninitialized);
    const int next = probe.load();
    EXPECT_NE(next, handle);
    EXPECT_EQ(-1, ombrel_unload_plugin(handle)) << "a stale handle";
    EXPECT_EQ(nullptr, ombrel_plugin_get_name(handle));
    EXPECT_EQ(1, ombrel_plugin_execute_main(handle, 0, nullptr));
    EXPECT_EQ(0, ombrel_unload_plugin(next));
}

TEST_F(PluginTest, ANameIsFoundInTheListAndInTheUsualPlaces) {
    EXPECT_EQ(-1, ombrel_load_plugin("probe_named", nullptr));
    const std::string modules = OMBREL_TEST_MODULES;
    for (const char* name : {"probe_named", "probe_a.so"}) {
        const int listed = ombrel_load_plugin(name, ("/nowhere:" + modules).c_str());
        EXPECT_STREQ("test/text|test/shared*", ombrel_plugin_get_mime_type_hint(listed)) << name;
        EXPECT_EQ(0, ombrel_unload_plugin(listed)) << name;
        ombrel_putenv(("OMBREL_PLUGIN_PATH=/nowhere:" + modules).c_str());
        const int named = ombrel_load_plugin(name, "/nowhere");
        EXPECT_EQ(0, ombrel_unload_plugin(named)) << name;
        EXPECT_EQ(-1, ombrel_load_plugin(("other/place/" + std::string(name)).c_str(), nullptr)) << "no name";
        ombrel_putenv("OMBREL_PLUGIN_PATH");
    }
    const int with_suffix = ombrel_load_plugin((modules + "probe_named").c_str(), nullptr);
    EXPECT_EQ(0, ombrel_unload_plugin(with_suffix));
    // Of a file that is there the loader's complaint is about that file.
    EXPECT_EQ(-1, ombrel_load_plugin((modules + "CMakeFiles").c_str(), nullptr));
    const char* const why = ombrel_dl_error();
    EXPECT_NE(nullptr, why != nullptr ? strstr(why, "CMakeFiles") : nullptr) << why;
}

TEST_F(PluginTest, ALoadThatFailsLeavesNothing) {
    const probe_library probe("probe_a");
    for (const auto& [result, expected] : {std::pair{5, -1}, std::pair{-7, -7}}) {
        probe->initialize_result = result;
        EXPECT_EQ(probe.load(), expected);
    }
    EXPECT_EQ(2, probe->initialized);
    EXPECT_EQ(0, probe->uninitialized);
    EXPECT_EQ(-1, ombrel_load_plugin(module_path("probe_half").c_str(), nullptr));
    EXPECT_EQ(-1, ombrel_load_plugin_ex(probe.path(), nullptr, "no_such_symbol", nullptr));
    EXPECT_EQ(-1, ombrel_load_plugin("/nonexistent.so", nullptr));
    EXPECT_EQ(-1, ombrel_load_plugin("", nullptr));
    const int half =
        ombrel_load_plugin_ex(module_path("probe_half").c_str(), nullptr, nullptr, "probe_finish");
    EXPECT_GT(half, 0);
    EXPECT_EQ(0, ombrel_unload_plugin(half));
}

TEST_F(PluginTest, TheBuiltinPluginHasANameAndNoLibrary) {
    const int handle = ombrel_load_plugin(nullptr, nullptr);
    EXPECT_GT(handle, 0);
    EXPECT_EQ(ombrel_load_plugin("some/where/" def_ombrel_builtin_plugin_name, nullptr), handle);
    EXPECT_STREQ(def_ombrel_builtin_plugin_name, ombrel_plugin_get_name(handle));
    for (int turn = 0; turn < 2; turn++) // the second has nothing to do
        EXPECT_EQ(0, ombrel_unload_all_plugin());
    EXPECT_EQ(-1, ombrel_unload_plugin(handle));
}

TEST_F(PluginTest, TheMainEntryRunsThePluginAsAProgram) {
    {
        const loaded_probe probe("probe_a"), old("probe_old");
        EXPECT_EQ(1, ombrel_plugin_is_executable_main(probe.handle));
        EXPECT_EQ(14, ombrel_plugin_execute_main(probe.handle, 1, argv_));
        EXPECT_EQ(0, ombrel_plugin_is_executable_main(old.handle));
        EXPECT_EQ(1, ombrel_plugin_execute_main(old.handle, 1, argv_));
    }
    EXPECT_EQ(14, ombrel_plugin_execute_main_by_plugin_name(module_path("probe_a").c_str(), 1, argv_));
    EXPECT_EQ(1, ombrel_plugin_execute_main_by_plugin_name("/nonexistent.so", 1, argv_));
}

TEST_F(PluginTest, ATableTooSmallForWhatItClaimsIsReported) {
    constexpr size_t v0 = sizeof(ombrel_ctx0_v0_interface_t), header = 16;
    const auto expect = [](const char* place, size_t size, int expected, auto call) {
        SCOPED_TRACE(place);
        probe_library probe("probe_a");
        probe->table_size = static_cast<unsigned>(size);
        const int handle = probe.load(), ctx = ombrel_new_ctx();
        if (size != header) {
            EXPECT_EQ(0, ombrel_open_ctx(ctx, "test/text"));
        }
        capture output(stderr);
        EXPECT_EQ(expected, static_cast<int>(call(handle, ctx)));
        const std::string text = output.text();
        EXPECT_EQ(0u, text.find(std::string("ombrel [ASSERT:source/") + place + ":")) << text;
        EXPECT_NE(text.find(std::string("<s_interface_header->m_size >= ") +
                            (expected < 0 ? "((ombrel_uint32_t)sizeof(ombrel_ctx0_v0_interface_t))>"
                                          : "sizeof(ombrel_ctx0_v1_interface_t)>")),
                  text.npos)
            << text;
        ombrel_destroy_ctx(ctx);
        ombrel_unload_plugin(handle);
    };
    expect("plugin:ombrel_plugin_get_main_entry", header, 0,
           [](int plugin, int) { return ombrel_plugin_get_main_entry(plugin) != nullptr; });
    expect("plugin:ombrel_plugin_is_executable_main", header, 0,
           [](int plugin, int) { return ombrel_plugin_is_executable_main(plugin); });
    expect("plugin:ombrel_plugin_execute_main", header, 1,
           [](int plugin, int) { return ombrel_plugin_execute_main(plugin, 0, nullptr); });
    expect("interface:ombrel_open_ctx", header, -1,
           [](int, int ctx) { return ombrel_open_ctx(ctx, "test/text"); });
    expect("interface:ombrel_ctx_get_main_entry", v0, 0,
           [](int, int ctx) { return ombrel_ctx_get_main_entry(ctx) != nullptr; });
    expect("interface:ombrel_ctx_is_executable_main", v0, 0,
           [](int, int ctx) { return ombrel_ctx_is_executable_main(ctx); });
    expect("interface:ombrel_ctx_execute_main", v0, 1,
           [](int, int ctx) { return ombrel_ctx_execute_main(ctx, 0, nullptr); });
}

TEST_F(PluginTest, ATableCountsAsFarAsItsSizeGoes) {
    constexpr size_t v0 = sizeof(ombrel_ctx0_v0_interface_t), v1 = sizeof(ombrel_ctx0_v1_interface_t);
    const struct {
        const char* name;
        size_t size;
        bool serves_ctx;
        int has_main;
    } cases[] = {{"probe_a", 1, false, 0},      {"probe_a", sizeof(ombrel_interface_header_t), false, 0},
                 {"probe_a", v1 - 1, false, 0}, {"probe_a", v1, true, 1},
                 {"probe_a", v1 + 1, true, 1},  {"probe_old", v0 - 1, false, 0},
                 {"probe_old", v0, true, 0}};
    for (const auto& each : cases) {
        const probe_library probe(each.name);
        probe->interface_size = each.size;
        probe->table_size = v1;
        const int handle = probe.load(), ctx = ombrel_new_ctx();
        EXPECT_EQ(ombrel_plugin_is_executable_main(handle), each.has_main) << each.name << each.size;
        EXPECT_EQ(ombrel_open_ctx(ctx, "test/text"), each.serves_ctx ? 0 : -1) << each.name << each.size;
        EXPECT_EQ(0, ombrel_destroy_ctx(ctx));
        EXPECT_EQ(0, ombrel_unload_plugin(handle));
    }
}

TEST_F(PluginTest, ATableOfAnotherKindServesNoContext) {
    const probe_library probe("probe_a");
    uint32_t* kind = nullptr;
    const int ctx = ombrel_new_ctx();
    for (const bool is_late : {true, false}) {
        const int handle = probe.load();
        EXPECT_EQ(def_ombrel_plugin_flag_initialized | (is_late ? def_ombrel_plugin_flag_ctx_interface : 0),
                  ombrel_get_plugin_info()->m_flags);
        kind = static_cast<uint32_t*>(const_cast<void*>(ombrel_plugin_get_interface(handle)));
        *kind = def_ombrel_interface_kind_ctx + 1;
        EXPECT_EQ(-1, ombrel_open_ctx(ctx, "test/text")) << is_late;
        EXPECT_EQ(0, ombrel_plugin_is_executable_main(handle)) << is_late;
        EXPECT_EQ(0, ombrel_unload_plugin(handle));
    }
    *kind = def_ombrel_interface_kind_ctx;
    EXPECT_EQ(0, ombrel_destroy_ctx(ctx));
}

TEST_F(PluginTest, APluginStaysWhileItsMainEntryRuns) {
    for (const bool by_ctx : {false, true}) {
        const probe_library probe("probe_a");
        const int handle = probe.load(), ctx = ombrel_new_ctx();
        ASSERT_EQ(0, ombrel_open_ctx(ctx, "test/text"));
        PROBE_WRITE(probe->hold, 1);
        std::thread program([&] {
            EXPECT_EQ(14, by_ctx ? ombrel_ctx_execute_main(ctx, 1, argv_)
                                 : ombrel_plugin_execute_main(handle, 1, argv_));
        });
        probe.await(probe->inside);
        EXPECT_EQ(0, ombrel_unload_plugin(handle));
        EXPECT_EQ(0, ombrel_close_ctx(ctx)) << "the program does not need it";
        EXPECT_EQ(0, ombrel_destroy_ctx(ctx));
        EXPECT_EQ(0, probe->uninitialized);
        PROBE_WRITE(probe->hold, 0);
        program.join();
        EXPECT_EQ(1, probe->uninitialized);
    }
}

TEST_F(PluginTest, ContextsOpenWhileAPluginIsBeingInitialised) {
    const loaded_probe b("probe_b");
    const probe_library a("probe_a");
    PROBE_WRITE(a->gate, 1);
    waiting_call loader([&] { EXPECT_EQ(0, ombrel_unload_plugin(a.load())); });
    a.await(a->entered);
    const int ctx = ombrel_new_ctx();
    EXPECT_EQ(-1, ombrel_open_ctx(ctx, "test/text")) << "it is not there yet";
    EXPECT_EQ(0, ombrel_open_ctx(ctx, "test/shared"));
    EXPECT_STREQ("probe_b.so", ombrel_get_ctx_plugin_name(ctx));
    EXPECT_EQ(0, ombrel_destroy_ctx(ctx));
    const record_holder reader(def_ombrel_spin_lock_shared);
    PROBE_WRITE(a->gate, 0);
    EXPECT_TRUE(loader.is_waiting()) << "its record is read";
}

TEST_F(PluginTest, OpeningWaitsForTheRecordAndChangesOfTheRegistryForTheOpening) {
    const int ctx = ombrel_new_ctx(); // the built-in plug-in is older then
    const loaded_probe a("probe_a"), b("probe_b");
    const auto open = [=] { EXPECT_EQ(0, ombrel_open_ctx(ctx, "test/shared")); };
    const auto close = [=] { EXPECT_EQ(0, ombrel_close_ctx(ctx)); };
    all_wait({open, [&] { EXPECT_EQ(0, ombrel_unload_plugin(a.load())); }});
    all_wait({close});
    all_wait({open, [&] { EXPECT_EQ(14, ombrel_plugin_execute_main(a.handle, 1, argv_)); }});
    EXPECT_EQ(0, ombrel_destroy_ctx(ctx));
}

TEST_F(PluginTest, APluginStaysWhileAContextIsBoundToIt) {
    const probe_library probe("probe_a");
    const int handle = probe.load(), ctx = ombrel_new_ctx(), other = ombrel_new_ctx();
    ASSERT_EQ(0, ombrel_open_ctx(ctx, "test/text"));
    EXPECT_EQ(0, ombrel_unload_plugin(handle));
    EXPECT_EQ(0, probe->uninitialized);
    EXPECT_EQ(-1, ombrel_open_ctx(other, "test/text")) << "it takes no new contexts";
    {
        capture output(stderr);
        EXPECT_EQ(-1, ombrel_unload_plugin(handle));
        EXPECT_NE(output.text().find("<s_plugin->m_used_count > ((ombrel_uintmax_t)0u)>"), std::string::npos);
    }
    EXPECT_EQ(probe.load(), handle) << "taken up again";
    EXPECT_EQ(0, ombrel_open_ctx(other, "test/text"));
    ombrel_unload_all_plugin();
    ombrel_destroy_ctx(other);
    EXPECT_EQ(0, ombrel_ctx_sync(ctx));
    EXPECT_EQ(0, ombrel_close_ctx(ctx));
    EXPECT_EQ(1, probe->uninitialized);
    EXPECT_EQ(1, probe->initialized);
    ombrel_destroy_ctx(ctx);
}

TEST_F(PluginTest, AContextWhoseUseWasDroppedDoesNotDropAnother) {
    const int old = ombrel_new_ctx(), ctx = ombrel_new_ctx();
    ASSERT_EQ(0, ombrel_open_ctx(old, "application/tuk_base"));
    ASSERT_EQ(0, ombrel_open_ctx(ctx, "application/tuk_base"));
    ombrel_unload_all_plugin();
    const int handle = ombrel_load_plugin(nullptr, nullptr);
    ombrel_destroy_ctx(old);
    ombrel_destroy_ctx(ctx);
    EXPECT_STREQ(def_ombrel_builtin_plugin_name, ombrel_plugin_get_name(handle));
    EXPECT_EQ(0, ombrel_unload_plugin(handle));
}

TEST_F(PluginTest, ConcurrentLoadersWaitForTheFirst) {
    for (const int initialize_result : {0, -7}) {
        const probe_library probe("probe_a");
        PROBE_WRITE(probe->gate, 1);
        probe->initialize_result = initialize_result;
        std::atomic<int> started{0}, returned{0};
        int handles[4];
        in_threads(5, [&](int i) {
            if (i < 4) {
                started++;
                handles[i] = probe.load();
                returned++;
                return;
            }
            while (PROBE_READ(probe->entered) == 0 || started != 4)
                ombrel_load_balance_short();
            EXPECT_EQ(0, returned);
            PROBE_WRITE(probe->gate, 0);
        });
        for (const int handle : handles) {
            // Who comes when the first has failed already is a first loader too.
            EXPECT_TRUE(initialize_result == 0 ? handle == handles[0] && handle > 0
                                               : handle == -1 || handle == -7);
            EXPECT_EQ(ombrel_unload_plugin(handle), initialize_result == 0 ? 0 : -1);
        }
        EXPECT_EQ(probe->uninitialized, initialize_result == 0 ? 1 : 0);
        EXPECT_EQ(nullptr, ombrel_get_plugin_info());
    }
}

// Where they wait for one another none would come back.
TEST_F(PluginTest, PluginsMayLoadEachOtherAndThemselves) {
    const probe_library a("probe_a"), b("probe_b");
    const std::string nowhere = "/nonexistent.so";
    const struct {
        const char *by_a, *by_b;
        int listed; // each time while initialising and while uninitialising, unless it is leaving itself
    } cases[] = {{b.path(), nullptr, 2}, {a.path(), nullptr, 1}, {nowhere.c_str(), nullptr, 0}};
    for (const auto& each : cases) {
        a->listed = 0;
        a->loads = each.by_a;
        b->loads = each.by_b;
        EXPECT_EQ(0, ombrel_unload_plugin(a.load()));
        EXPECT_EQ(a->listed, each.listed);
    }
    a->loads = b.path();
    b->loads = a.path();
    a->makes_ctx = b->makes_ctx = 1;
    in_threads(6, [&](int i) {
        for (int round = 0; round < 20; round++) {
            const int handle = ((i + round) % 2 == 0 ? a : b).load();
            EXPECT_TRUE(handle > 0 || handle == -1);
            ombrel_unload_plugin(handle);
        }
    });
}

TEST_F(PluginTest, LoadersOpenersAndUnloadersMayMeet) {
    const probe_library a("probe_a"), b("probe_b");
    capture output(stderr); // of uses that are gone already
    for (const bool all_go : {false, true}) {
        in_threads(6, [&](int i) {
            for (int round = 0; round < 60; round++) {
                if (all_go && i == 0)
                    ombrel_unload_all_plugin();
                const int handle = ((i + round) % 2 == 0 ? a : b).load(), ctx = ombrel_new_ctx();
                EXPECT_GT(handle, 0);
                EXPECT_TRUE(ombrel_open_ctx(ctx, "test/shared") == 0 || all_go);
                if (round % 3 == 0)
                    ombrel_close_ctx(ctx);
                EXPECT_TRUE(ombrel_unload_plugin(handle) == 0 || all_go);
                EXPECT_EQ(0, ombrel_destroy_ctx(ctx));
            }
        });
        ombrel_unload_all_plugin();
        for (const probe_library* probe : {&a, &b}) {
            EXPECT_EQ((*probe)->initialized, (*probe)->uninitialized);
            EXPECT_EQ((*probe)->opened, (*probe)->closed);
        }
    }
}
