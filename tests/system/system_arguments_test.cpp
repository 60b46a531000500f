// What makes no sense is refused by each call of each family, and nothing comes of it.
#include <ombrel/calendar.h>
#include <ombrel/directory.h>
#include <ombrel/file_stream.h>
#include <ombrel/launcher.h>
#include <ombrel/match_filter.h>
#include <ombrel/process.h>
#include <ombrel/process_service.h>
#include <ombrel/pseudo_terminal.h>
#include <ombrel/uuid.h>

#include "support/heap_balance.h"
#include "support/option_ranges.h"
#include "support/refused.h"
#include "support/scratch_directory.h"

using namespace ombrel_test;

namespace {

class SystemArguments : public balanced_test {};

TEST_F(SystemArguments, OfTimes) {
    ombrel_instant_t instant{0, 0};
    const ombrel_instant_t wrong{0, 1'000'000'000}, last{INT64_MAX, 999'999'999};
    ombrel_civil_time_t civil{};
    int64_t nanoseconds;
    int32_t year;
    size_t fault_at;
    expect_refused({
        [] { return ombrel_get_instant(nullptr); },
        [] { return ombrel_make_instant(0, 0, nullptr); },
        [] { return ombrel_add_duration(nullptr, 1); },
        [&] { return ombrel_get_duration(nullptr, &instant, &nanoseconds); },
        [&] { return ombrel_get_duration(&instant, nullptr, &nanoseconds); },
        [&] { return ombrel_get_duration(&instant, &wrong, &nanoseconds); },
        [&] { return ombrel_get_duration(&instant, &instant, nullptr); },
        [&] { return ombrel_make_local_time(nullptr, &civil); },
        [&] { return ombrel_make_local_time(&wrong, &civil); },
        [&] { return ombrel_make_local_time(&instant, nullptr); },
        [] { return ombrel_normalize_civil_time(nullptr); },
        [&] { return ombrel_get_iso_week(2026, 2, 30, &year); },
        [&] { return ombrel_parse_duration(nullptr, &nanoseconds, &fault_at); },
        [&] { return ombrel_parse_duration("1s", nullptr, &fault_at); },
        [&] { return ombrel_parse_instant(nullptr, 0, &instant, &fault_at); },
        [&] { return ombrel_parse_instant("2026-01-01", 0, nullptr, &fault_at); },
        [&] { return ombrel_make_custom_uuid(nullptr, nullptr); },
    });
    EXPECT_EQ(0, instant.m_seconds);
    instant = last;
    expect_refused({[&] { return ombrel_add_duration(&instant, 1); }}, def_ombrel_fault_too_large);
    EXPECT_EQ(last.m_seconds, instant.m_seconds);
    EXPECT_EQ(last.m_nanoseconds, instant.m_nanoseconds);
}

TEST_F(SystemArguments, OfFiles) {
    const scratch_directory directory;
    const std::string kept = directory / "file";
    directory.write("file", "kept");
    const char* const file = kept.c_str();
    const ombrel_instant_t moment{0, 0}, wrong{0, -1}, late{0, 1'000'000'000};
    ombrel_file_info_t info;
    ombrel_file_space_t space;
    size_t size;
    char* made = nullptr;
    constexpr uint32_t unknown = 1u << 31, beyond = 010000;
    for (const char* const path : {static_cast<const char*>(nullptr), ""})
        expect_refused({
            [&] { return ombrel_get_file_info(path, 0, &info); },
            [=] { return ombrel_check_file_access(path, 0); },
            [=] { return ombrel_set_file_mode(path, 0600); },
            [=] { return ombrel_set_file_owner(path, 0, 0, 0); },
            [&] { return ombrel_set_file_times(path, 0, &moment, &moment); },
            [=] { return ombrel_open_file(path, def_ombrel_file_read, 0); },
            [=] { return ombrel_set_file_size(path, 1); },
            [=] { return ombrel_sync_directory(path); },
            [&] { return ombrel_alloc_load_file(path, SIZE_MAX, &size); },
            [=] { return ombrel_store_file(path, "x", 1, 0, 0600); },
            [=] { return ombrel_copy_file(path, file, 0, nullptr, nullptr); },
            [=] { return ombrel_copy_file(file, path, 0, nullptr, nullptr); },
            [=] { return ombrel_rename_file(path, file, 0); },
            [=] { return ombrel_rename_file(file, path, 0); },
            [=] { return ombrel_move_file(path, file, 0, nullptr, nullptr); },
            [=] { return ombrel_move_file(file, path, 0, nullptr, nullptr); },
            [=] { return ombrel_remove_file(path); },
            [=] { return ombrel_remove_directory(path); },
            [=] { return ombrel_make_directory(path, 0700); },
            [=] { return ombrel_make_directories(path, 0700); },
            [=] { return ombrel_make_link(path, file); },
            [=] { return ombrel_make_link(file, path); },
            [=] { return ombrel_make_symbolic_link(path, "new"); },
            [=] { return ombrel_make_symbolic_link(file, path); },
            [=] { return ombrel_alloc_link_text(path); },
            [&] { return ombrel_get_file_space(path, &space); },
            [=] { return ombrel_set_current_directory(path); },
            [=] { return ombrel_alloc_canonical_path(path); },
            [=] { return ombrel_open_directory(path); },
            [&] { return ombrel_alloc_directory_list(path, &size); },
            [=] { return ombrel_open_walk(path, nullptr); },
            [=] { return ombrel_remove_tree(path, nullptr, nullptr); },
            [=] { return ombrel_sync_trees(path, ".", nullptr, nullptr, nullptr); },
            [=] { return ombrel_sync_trees(".", path, nullptr, nullptr, nullptr); },
        });
    const int fd = ombrel_open_file(file, def_ombrel_file_read | def_ombrel_file_write, 0);
    expect_refused({
        [&] { return ombrel_get_file_info(file, 1, &info); },
        [=] { return ombrel_get_file_info(file, 0, nullptr); },
        [=] { return ombrel_file_get_info(fd, nullptr); },
        [=] { return ombrel_get_file_kind(nullptr, 0); },
        [=] { return ombrel_get_file_space(file, nullptr); },
        [=] { return ombrel_check_file_access(file, -1); },
        [=] { return ombrel_check_file_access(file, 8); },
        [=] { return ombrel_set_file_mode(file, beyond); },
        [=] { return ombrel_file_set_mode(fd, beyond); },
        [=] { return ombrel_set_file_owner(file, unknown, 0, 0); },
        [&] { return ombrel_set_file_times(file, unknown, &moment, &moment); },
        [&] { return ombrel_set_file_times(file, 0, &wrong, &moment); },
        [&] { return ombrel_set_file_times(file, 0, &moment, &late); },
        [&] { return ombrel_file_set_times(fd, &late, &moment); },
        [&] { return ombrel_file_set_times(fd, &moment, &wrong); },
        [=] { return ombrel_open_file(file, unknown | def_ombrel_file_read, 0); },
        [=] { return ombrel_open_file(file, def_ombrel_file_write | def_ombrel_file_create, beyond); },
        [=] { return ombrel_open_file(file, 0, 0); },
        [=] { return ombrel_open_file(file, def_ombrel_file_read | def_ombrel_file_create, 0); },
        [=] { return ombrel_open_file(file, def_ombrel_file_read | def_ombrel_file_truncate, 0); },
        [=] { return ombrel_open_file(file, def_ombrel_file_write | def_ombrel_file_exclusive, 0); },
        [=] { return ombrel_file_read(fd, nullptr, 1); },
        [=] { return ombrel_file_read_all(fd, nullptr, 1); },
        [=] { return ombrel_file_read_all_at(fd, nullptr, 1, 0); },
        [&] { return ombrel_file_read_all_at(fd, &space, 1, -1); },
        [&] { return ombrel_file_read_all_at(fd, &space, 2, INT64_MAX - 1); },
        [=] { return ombrel_file_write(fd, nullptr, 1); },
        [=] { return ombrel_file_write_all(fd, nullptr, 1); },
        [=] { return ombrel_file_write_all_at(fd, nullptr, 1, 0); },
        [=] { return ombrel_file_write_all_at(fd, "x", 1, -1); },
        [=] { return ombrel_file_write_all_at(fd, "xy", 2, INT64_MAX - 1); },
        [=] { return ombrel_file_seek(fd, 0, -1); },
        [=] { return ombrel_file_seek(fd, 0, 3); },
        [=] { return ombrel_file_seek(fd, -1, def_ombrel_file_seek_start); },
        [=] { return ombrel_file_set_size(fd, -1); },
        [=] { return ombrel_file_lock_region(fd, -1, 1, 0, 0); },
        [=] { return ombrel_file_lock_region(fd, 0, -1, 0, 0); },
        [=] { return ombrel_file_lock_region(fd, 2, INT64_MAX - 1, 0, 0); },
        [=] { return ombrel_file_lock_region(fd, 0, 1, unknown, 0); },
        [=] { return ombrel_file_unlock_region(fd, -1, 1); },
        [=] { return ombrel_store_file(file, nullptr, 1, 0, 0600); },
        [=] { return ombrel_store_file(file, "x", 1, unknown, 0600); },
        [=] { return ombrel_store_file(file, "", 0, def_ombrel_file_read, 0600); },
        [=] { return ombrel_file_store_commit(nullptr); },
        [=] { return ombrel_file_store_get_descriptor(nullptr); },
        [=] { return ombrel_copy_file(file, file, 0, nullptr, nullptr); },
        [=] { return ombrel_store_file(file, "x", 1, 0, beyond); },
        [=] { return ombrel_copy_file(file, "to", unknown, nullptr, nullptr); },
        [=] { return ombrel_rename_file(file, "to", unknown); },
        [=] { return ombrel_move_file(file, "to", unknown, nullptr, nullptr); },
        [&] { return ombrel_open_temporary_file(nullptr, "a/b", &made); },
        [&] { return ombrel_open_temporary_file("", "a", &made); },
        [=] { return ombrel_alloc_temporary_directory(nullptr, "a/b"); },
        [=] {
            return ombrel_sync_trees(
                ".", "to",
                [] {
                    static ombrel_sync_options_t o;
                    ombrel_init_sync_options(&o);
                    o.m_flags = unknown;
                    return &o;
                }(),
                nullptr, nullptr);
        },
    });
    EXPECT_EQ(nullptr, made);
    EXPECT_EQ(0, ombrel_close_file_store(nullptr));
    EXPECT_EQ(0, ombrel_close_file(fd));
    EXPECT_EQ("kept", directory.read("file"));
    for (const char* const path : {static_cast<const char*>(nullptr), ""})
        EXPECT_EQ(0, ombrel_file_exists(path));
}

TEST_F(SystemArguments, OfStreams) {
    const scratch_directory directory;
    ombrel_file_stream_t* const writer = ombrel_open_file_stream((directory / "file").c_str(), "w", nullptr);
    ASSERT_NE(nullptr, writer);
    char byte, *text = nullptr;
    size_t size = 0;
    int number;
    ombrel_file_stream_t* const none = nullptr;
    expect_refused({
        [] { return ombrel_init_file_stream_options(nullptr); },
        [=] { return ombrel_file_stream_flush(none); },
        [=] { return ombrel_file_stream_clear(none); },
        [=] { return ombrel_file_stream_seek(none, 0, def_ombrel_file_seek_start); },
        [=] { return ombrel_file_stream_seek(writer, 0, def_ombrel_file_seek_start - 1); },
        [=] { return ombrel_file_stream_seek(writer, 0, def_ombrel_file_seek_end + 1); },
        [=] { return ombrel_file_stream_tell(none); },
        [&] { return ombrel_file_stream_read(none, &byte, 1); },
        [&] { return ombrel_file_stream_read_some(none, &byte, 1); },
        [=] { return ombrel_file_stream_read(writer, nullptr, 1); },
        [=] { return ombrel_file_stream_read_some(writer, nullptr, 1); },
        [&] { return ombrel_file_stream_read_until(none, 'x', &text, &size); },
        [&] { return ombrel_file_stream_read_until(writer, -1, &text, &size); },
        [&] { return ombrel_file_stream_read_until(writer, 256, &text, &size); },
        [&] { return ombrel_file_stream_read_until(writer, 'x', nullptr, &size); },
        [&] { return ombrel_file_stream_scanf(none, "%d", &number); },
        [=] { return ombrel_file_stream_write_text(writer, nullptr); },
        [=] { return ombrel_file_stream_printf(none, "x"); },
    });
    expect_refused({[&] { return ombrel_file_stream_read(writer, &byte, 1); },
                    [&] { return ombrel_file_stream_read_some(writer, &byte, 1); }},
                   def_ombrel_fault_bad_descriptor);
    EXPECT_EQ(nullptr, text);
    ombrel_file_stream_options_t options;
    ombrel_init_file_stream_options(&options);
    options.m_flags = 1u << 31;
    expect_refused({[&] { return ombrel_open_file_stream_growing(&options); }});
    EXPECT_EQ(0, ombrel_close_file_stream(writer));
}

TEST_F(SystemArguments, OfOptions) {
    using stream_t = ombrel_file_stream_options_t;
    auto stream = ranges_of<stream_t>(ombrel_init_file_stream_options, [](const stream_t& options) {
        ombrel_file_stream_t* const opened = ombrel_open_file_stream_growing(&options);
        return opened != nullptr && ombrel_close_file_stream(opened) == 0;
    });
    stream.within(&stream_t::m_buffer_size, 1, size_t{1} << 30);
    stream.at_least(&stream_t::m_line_limit, 1);
    stream.within(&stream_t::m_buffering, def_ombrel_file_stream_buffering_automatic,
                  def_ombrel_file_stream_buffering_none);
    stream.set(&stream_t::m_flags, 1u << 31, false);

    using launcher_t = ombrel_launcher_options_t;
    auto launcher = ranges_of<launcher_t>(ombrel_init_launcher_options, [](const launcher_t& options) {
        // What is good fails by the program, which is not there.
        const char* const program[] = {"/none/such", nullptr};
        return ombrel_open_launcher(program, &options) == nullptr &&
               ombrel_last_fault() != def_ombrel_fault_invalid;
    });
    launcher.set(&launcher_t::m_flags, 1u << 31, false);
    launcher.within(&launcher_t::m_restart, def_ombrel_launcher_restart_always,
                    def_ombrel_launcher_restart_never);
    launcher.at_least(&launcher_t::m_first_pause_ms, 1);
    launcher.at_least(&launcher_t::m_pause_factor, 1);
    launcher.at_least(&launcher_t::m_well_ms, 0);
    launcher.within(&launcher_t::m_restart_limit, 0, 1000);
    launcher.at_least(&launcher_t::m_log_size, 0);
    launcher.within(&launcher_t::m_log_count, 0, 99);
}

TEST_F(SystemArguments, OfProcesses) {
    ombrel_process_options_t options;
    ombrel_init_process_options(&options);
    const char* const arguments[] = {"/bin/none such", nullptr};
    const auto with = [&](auto change) {
        return [=]() -> int64_t {
            ombrel_process_options_t changed = options;
            change(changed);
            return ombrel_open_process(arguments, &changed) == nullptr ? -1 : 0;
        };
    };
    expect_refused({
        [] { return ombrel_init_process_options(nullptr); },
        [] { return ombrel_uninit_process_result(nullptr); },
        with([](auto& o) { o.m_flags = 1u << 31; }),
        with([](auto& o) { o.m_feed_size = 1; }),
        with([](auto& o) { o.m_descriptor_count = 1; }),
        with([](auto& o) { o.m_descriptor_count = def_ombrel_process_descriptors_max + 1; }),
        with([](auto& o) { o.m_output.m_kind = def_ombrel_process_file; }),
        with([](auto& o) {
            o.m_input = {def_ombrel_process_append, 0, "x"};
        }),
        [] { return ombrel_launcher_signal(nullptr, 15); },
        [] { return ombrel_process_service_stop(nullptr); },
        [] { return ombrel_uninit_terminal_pair(nullptr); },
    });
}

TEST_F(SystemArguments, OfTrees) {
    ombrel_match_filter_t* const filter = ombrel_open_match_filter(0);
    size_t fault_at;
    const auto handler = [](const ombrel_tree_difference_t*, void*) { return 0; };
    expect_refused({
        [] { return ombrel_init_sync_options(nullptr); },
        [] { return ombrel_init_walk_options(nullptr); },
        [=] { return ombrel_compare_trees(nullptr, ".", nullptr, handler, nullptr); },
        [=] { return ombrel_compare_trees(".", "", nullptr, handler, nullptr); },
        [] { return ombrel_compare_trees(".", ".", nullptr, nullptr, nullptr); },
        [] { return ombrel_copy_tree(nullptr, "to", 0, nullptr, nullptr); },
        [] { return ombrel_copy_tree("from", nullptr, 0, nullptr, nullptr); },
        [] { return ombrel_copy_tree(".", "to", 1u << 31, nullptr, nullptr); },
        [] { return ombrel_alloc_tree(nullptr, nullptr); },
        [] { return ombrel_alloc_tree_path(nullptr, 0); },
        [&] { return ombrel_match_filter_add_text(nullptr, 1, "a", 1, &fault_at); },
        [&] { return ombrel_match_filter_add_text(filter, 1, nullptr, 1, &fault_at); },
        [&] { return ombrel_match_filter_add_text(filter, 9, "a", 1, &fault_at); },
        [=] { return ombrel_match_filter_match_below(filter, nullptr, 0); },
    });
    ombrel_close_match_filter(filter);
}

} // namespace
