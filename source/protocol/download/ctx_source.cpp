#include "protocol/download/ctx_source.h"

#include <cstring>
#include <string_view>

#include <ombrel/builtin_stream.h>
#include <ombrel/file.h>
#include <ombrel/uri.h>

#include "context/ctx_fault.h"
#include "protocol/download/source_reader.h"

namespace ombrel::protocol {

using context::ctx_guard;

namespace {

int64_t size_of(const ctx_guard& from) {
    ombrel_stream_size_t record;
    const int result =
        ombrel_ctx_control(from.handle(), def_ombrel_stream_control_get_size, &record, sizeof record);
    return result == 0 && record.m_size <= INT64_MAX ? static_cast<int64_t>(record.m_size) : -1;
}

/// Of a file the time of its last change.
void find_change(const ctx_guard& from, resource_info& resource) {
    ombrel_stream_fd_t record;
    ombrel_file_info_t info;
    if (ombrel_ctx_control(from.handle(), def_ombrel_stream_control_get_fd, &record, sizeof record) == 0 &&
        ombrel_file_get_info(record.m_fd, &info) == 0)
        set_change(resource, info.m_modified);
}

bool is_regular_file(const ctx_guard& from) {
    ombrel_stream_fd_t record;
    ombrel_file_info_t info;
    return ombrel_ctx_control(from.handle(), def_ombrel_stream_control_get_fd, &record, sizeof record) != 0 ||
           ombrel_file_get_info(record.m_fd, &info) != 0 || info.m_kind == def_ombrel_file_kind_regular;
}

/// A named pipe would keep the opening waiting for its other side.
bool leads_to_pipe(const char* uri) {
    const heap_ptr<ombrel_uri_t> parts(ombrel_parse_uri_tag(uri, "ombrel_download_file", __LINE__));
    return parts && strcmp(parts->m_scheme, "file") == 0 &&
           ombrel_get_file_kind(parts->m_path, 0) == def_ombrel_file_kind_pipe;
}

/// From the offset on where the stream can seek; others begin at 0.
source_answer answer_of(const transfer& what, const ctx_guard& from) {
    source_answer answer;
    answer.resource.size = size_of(from);
    answer.resource.is_told_apart = true;
    find_change(from, answer.resource);
    const int64_t offset = what.request.offset;
    if (offset > 0 && offset <= answer.resource.size &&
        ombrel_ctx_seek(from.handle(), offset, def_ombrel_ctx_seek_set) == offset)
        answer.offset = offset;
    return answer;
}

} // namespace

source_end fail_by_ctx(const transfer& what, const ctx_guard& from) {
    if (from.handle() < 0)
        return fail_source(what, fault_code::no_memory, "no memory");
    char words[def_ombrel_ctx_error_text_size];
    ombrel_ctx_get_last_error_text(from.handle(), words, sizeof words);
    return fail_source(what, context::fault_of_ctx_error(ombrel_ctx_get_last_error(from.handle())), words);
}

bool prepare_ctx(const transfer& what, const ctx_guard& from) {
    const int limit = what.watch.within_whole(what.request.options.m_connect_ms);
    return ombrel_ctx_set_option_int_string(from.handle(), "timeout", limit) == 0;
}

source_end read_ctx(const transfer& what, const ctx_guard& from) {
    const int ctx = from.handle();
    return read_source(
        what, [&](int limit_ms) { return ombrel_ctx_is_readable(ctx, limit_ms); },
        [&](void* buffer, size_t size) { return ombrel_ctx_read(ctx, buffer, size); },
        [&] { return fail_by_ctx(what, from); });
}

source_end fetch_by_ctx(const transfer& what) {
    const ctx_guard from;
    const char* const uri = what.request.uri;
    if (leads_to_pipe(uri))
        return fail_source(what, fault_code::not_supported, "it is no regular file");
    if (!prepare_ctx(what, from) || ombrel_open_ctx_stream(from.handle(), uri, "rb", 0) != 0)
        return fail_by_ctx(what, from);
    if (!is_regular_file(from))
        return fail_source(what, fault_code::not_supported, "it is no regular file");
    const source_answer answer = answer_of(what, from);
    if (!what.watch.enter(def_ombrel_download_receiving) || !what.sink.begin(what.sink.context, answer))
        return source_end::stopped;
    return read_ctx(what, from);
}

} // namespace ombrel::protocol
