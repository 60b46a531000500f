// Streams over files and other descriptors.
#include <ombrel/file_stream.h>

#include <algorithm>
#include <cstring>

#include "platform/terminal.h"
#include "system/stream/file_stream_internal.h"
#include "system/stream/open_mode.h"
#include "text/charset/whole_characters.h"

using namespace ombrel;
using namespace ombrel::system;

namespace {

using platform::file_origin;

struct descriptor_stream : stream {
    answer is_plain; ///< a file whose writes raise no signal
};

descriptor_stream& record_of(void* context) {
    return *static_cast<descriptor_stream*>(context);
}

int64_t read(void* context, void* buffer, size_t size) {
    return platform::read_descriptor(record_of(context).descriptor, buffer, size);
}

bool is_plain(descriptor_stream& of) {
    if (of.is_plain == answer::unknown) {
        const fault_keeper keeper;
        of.is_plain = platform::is_regular_file(of.descriptor) ? answer::yes : answer::no;
    }
    return of.is_plain == answer::yes;
}

/// Shows whole characters on a terminal that takes texts and no bytes: how many bytes of them, 0 for what is
/// no text.
size_t show_text(int descriptor, const char* bytes, size_t size) {
    char text[1024];
    size = whole_characters(bytes, std::min(size, sizeof text - 1));
    memcpy(text, bytes, size);
    text[size] = '\0';
    const bool is_text = size > 0 && memchr(text, '\0', size) == nullptr;
    return is_text && platform::write_terminal(descriptor, text) ? size : 0;
}

int64_t write(void* context, const void* data, size_t size) {
    auto& of = record_of(context);
    if (is_plain(of) || !platform::has_own_encoding(of.descriptor))
        return write_some(of.descriptor, is_plain(of), data, size);
    const size_t shown = show_text(of.descriptor, static_cast<const char*>(data), size);
    return shown > 0 ? static_cast<int64_t>(shown) : write_some(of.descriptor, false, data, size);
}

int64_t seek(void* context, int64_t offset, int origin) {
    static_assert(static_cast<int>(file_origin::start) == def_ombrel_file_seek_start &&
                  static_cast<int>(file_origin::current) == def_ombrel_file_seek_current &&
                  static_cast<int>(file_origin::end) == def_ombrel_file_seek_end);
    return platform::move_file(record_of(context).descriptor, offset, static_cast<file_origin>(origin));
}

int truncate(void* context, int64_t size) {
    return platform::set_file_size(record_of(context).descriptor, size) ? 0 : -1;
}

int close(void* context) {
    const auto& of = record_of(context);
    const bool is_kept = (of.flags & def_ombrel_file_stream_flag_keep_open) != 0;
    return result_of(is_kept || platform::close_file(of.descriptor));
}

constexpr ombrel_file_stream_calls_t descriptor_calls{
    .m_read = read, .m_write = write, .m_seek = seek, .m_truncate = truncate, .m_close = close};

stream* open_on(int descriptor, const stream_opening& opening) {
    auto* const made = open_stream<descriptor_stream>(opening, descriptor_calls);
    if (made != nullptr)
        made->descriptor = descriptor;
    return made;
}

/// What has no end has no other place either.
void stand_at_end(const stream& of) {
    const fault_keeper keeper;
    platform::move_file(of.descriptor, 0, file_origin::end);
}

} // namespace

ombrel_file_stream_t* ombrel_open_file_stream_tag(const char* path, const char* mode,
                                                  const ombrel_file_stream_options_t* options,
                                                  const char* function, unsigned long line) {
    stream_opening opening;
    if (!read_opening(mode, options, {function, line}, opening) || !is_path(path))
        return nullptr;
    opening.options.m_flags &= ~def_ombrel_file_stream_flag_keep_open;
    owned_descriptor file(platform::open_file(path, opening.access));
    stream* const made = file.is_open() ? open_on(file.get(), opening) : nullptr;
    if (made == nullptr)
        return nullptr;
    file.release();
    if (opening.access.append && !opening.access.read) // where the first write goes
        stand_at_end(*made);
    return made;
}

ombrel_file_stream_t* ombrel_open_file_stream_descriptor_tag(int descriptor, const char* mode,
                                                             const ombrel_file_stream_options_t* options,
                                                             const char* function, unsigned long line) {
    const bool is_kept =
        options != nullptr && (options->m_flags & def_ombrel_file_stream_flag_keep_open) != 0;
    owned_descriptor guard(is_kept ? -1 : descriptor);
    stream_opening opening;
    if (!read_opening(mode, options, {function, line}, opening) || !is_for_open(opening) ||
        !adapt_descriptor(descriptor, opening.access))
        return nullptr;
    stream* const made = open_on(descriptor, opening);
    if (made != nullptr)
        guard.release();
    return made;
}
