#include <ombrel/download.h>

#include <climits>
#include <cstddef>

#include <ombrel/progress.h>
#include <ombrel/terminal.h>

#include "command/command_input.h"
#include "command/command_options.h"
#include "command/command_table.h"
#include "core/deadline.h"
#include "core/heap_ptr.h"

namespace ombrel::command {

namespace {

struct download_choice {
    const char* digest = nullptr;
    const char* list = nullptr;
    const char* name = nullptr;
    int64_t limit = def_ombrel_download_size_limit;
    int retries = 3;
    int idle_ms = 30'000;
    int whole_ms = -1;
    int is_quiet = 0, is_anew = 0;
    ombrel_argument_list_t mirrors{};
};

constexpr ombrel_argument_option_t options[] = {
    {.m_letter = 'd',
     .m_name = "digest",
     .m_kind = def_ombrel_argument_text,
     .m_offset = offsetof(download_choice, digest),
     .m_value = "DIGEST",
     .m_help = "store it only if it has this digest: sha256:HEX, sha1:HEX or md5:HEX"},
    {.m_letter = 'D',
     .m_name = "digest-list",
     .m_kind = def_ombrel_argument_text,
     .m_offset = offsetof(download_choice, list),
     .m_value = "LIST",
     .m_help = "or the one that a list has, a file or a URI, as of sha256sum"},
    {.m_letter = 'n',
     .m_name = "name",
     .m_kind = def_ombrel_argument_text,
     .m_offset = offsetof(download_choice, name),
     .m_value = "NAME",
     .m_help = "for this name in the list (default: the last part of the URI)"},
    {.m_letter = 'l',
     .m_name = "limit",
     .m_kind = def_ombrel_argument_size,
     .m_offset = offsetof(download_choice, limit),
     .m_value = "BYTES",
     .m_help = "refuse what is larger (default 16G)"},
    {.m_letter = 'm',
     .m_name = "mirror",
     .m_kind = def_ombrel_argument_listed,
     .m_offset = offsetof(download_choice, mirrors),
     .m_value = "URI",
     .m_help = "another place of the same file, asked when those before it fail"},
    {.m_letter = 'r',
     .m_name = "retries",
     .m_kind = def_ombrel_argument_integer,
     .m_offset = offsetof(download_choice, retries),
     .m_value = "RETRIES",
     .m_help = "try all places again so often, after growing pauses (default 3)",
     .m_least = 0,
     .m_most = INT_MAX},
    {.m_letter = 't',
     .m_name = "idle",
     .m_kind = def_ombrel_argument_time_limit,
     .m_offset = offsetof(download_choice, idle_ms),
     .m_value = "TIME",
     .m_help = "leave a place from which nothing comes for so long (default 30s)"},
    {.m_letter = 'T',
     .m_name = "timeout",
     .m_kind = def_ombrel_argument_time_limit,
     .m_offset = offsetof(download_choice, whole_ms),
     .m_value = "TIME",
     .m_help = "give up after so long"},
    {.m_letter = 'a',
     .m_name = "anew",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(download_choice, is_anew),
     .m_help = "do not go on with what came before, keep nothing after a failure"},
    {.m_letter = 'q',
     .m_name = "quiet",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(download_choice, is_quiet),
     .m_help = "show no progress, which is shown on terminals alone"},
    help_option,
    version_option,
    {}};

constexpr ombrel_argument_table_t table = {
    .m_name = "download",
    .m_operands = "URI FILE",
    .m_least_operands = 2,
    .m_most_operands = 2,
    .m_summary = "Stores what a URI names in a file, whole or not at all.",
    .m_notes = "http, ftp, tftp and file are the library's own, https needs the plug-in of libcurl. What has "
               "come is kept in FILE.part-download until all has, and gone on with by a later call.",
    .m_options = options};

constexpr int standard_output = 1;

/// Ended by a line end.
int show_progress(const ombrel_download_state_t* state, void* is_shown) {
    const auto done = static_cast<uint64_t>(state->m_done);
    *static_cast<bool*>(is_shown) = true;
    if (state->m_phase == def_ombrel_download_pausing)
        ombrel_printf("\rtrying again in %d ms\x1b[K", state->m_pause_ms);
    else if (state->m_total > 0)
        ombrel_progress_bar(done, static_cast<uint64_t>(state->m_total), nullptr, nullptr, " %llu bytes",
                            static_cast<unsigned long long>(done));
    else
        ombrel_printf("\r%s %llu bytes\x1b[K", ombrel_roll_string(), static_cast<unsigned long long>(done));
    ombrel_puts(nullptr);
    return 0;
}

/// The places as the call takes them.
heap_ptr<const char*> mirrors_of(const ombrel_argument_list_t& list) {
    auto* const uris = static_cast<const char**>(
        ombrel_calloc_tag(list.m_count + 1, sizeof(const char*), "ombrel_multicall_download", __LINE__));
    for (size_t i = 0; uris != nullptr && i < list.m_count; i++)
        uris[i] = list.m_entries[i].m_value;
    return heap_ptr<const char*>(uris);
}

ombrel_download_options_t options_of(const download_choice& choice) {
    ombrel_download_options_t how;
    ombrel_init_download_options(&how);
    how.m_flags = choice.is_anew != 0 ? def_ombrel_download_no_resume : 0;
    how.m_digest = choice.digest;
    how.m_digest_list = choice.list;
    how.m_digest_name = choice.name;
    how.m_size_limit = choice.limit;
    how.m_retry_limit = static_cast<size_t>(choice.retries);
    how.m_progress_ms = choice.idle_ms;
    how.m_connect_ms = shorter_wait(how.m_connect_ms, choice.idle_ms);
    how.m_whole_ms = choice.whole_ms;
    return how;
}

void complain_of(const char* uri, const ombrel_download_result_t& result) {
    if (result.m_reason == def_ombrel_download_reason_digest)
        ombrel_error_printf("download: %s: the %s digest is %s, not %s as was wanted\n", uri,
                            result.m_algorithm, result.m_digest, result.m_wanted_digest);
    else
        complain("download", uri, result.m_error.m_text);
}

const char* place_of(const ombrel_download_result_t& result, const ombrel_download_options_t& how,
                     const char* uri, const char* path) {
    if (result.m_reason == def_ombrel_download_reason_target ||
        result.m_reason == def_ombrel_download_reason_busy)
        return path;
    if (result.m_reason == def_ombrel_download_reason_list && how.m_digest_list != nullptr)
        return how.m_digest_list;
    return result.m_source == 0 ? uri : how.m_mirrors[result.m_source - 1];
}

int run(const download_choice& choice, const char* uri, const char* path) {
    const heap_ptr<const char*> mirrors = mirrors_of(choice.mirrors);
    ombrel_download_options_t how = options_of(choice);
    bool is_shown = false;
    if (choice.is_quiet == 0 && ombrel_isatty(standard_output) != 0)
        how.m_handler = show_progress;
    how.m_context = &is_shown;
    how.m_mirrors = mirrors.get();
    ombrel_download_result_t result;
    const bool is_done = ombrel_download_file(uri, path, &how, &result) == 0;
    if (is_shown)
        ombrel_puts("\n");
    if (is_done)
        return exit_code(true);
    if (result.m_reason == def_ombrel_download_reason_argument)
        return ombrel_refuse_arguments(&table, "%s", result.m_error.m_text);
    complain_of(place_of(result, how, uri, path), result);
    return exit_code(false);
}

int run_download(int argc, char** argv) {
    const heap_ptr<ombrel_argument_entry_t> room(static_cast<ombrel_argument_entry_t*>(
        ombrel_calloc_tag(static_cast<size_t>(argc) + 1, sizeof(ombrel_argument_entry_t),
                          "ombrel_multicall_download", __LINE__)));
    download_choice choice;
    choice.mirrors = {room.get(), room ? static_cast<size_t>(argc) : 0, 0};
    const command_arguments<download_choice> arguments(table, argc, argv, choice);
    if (!arguments)
        return arguments.exit_code();
    return run(*arguments, arguments.operand(0), arguments.operand(1));
}

} // namespace

constexpr own_command download_command = command_of(table, run_download);

} // namespace ombrel::command
