#include <ombrel/file_stream.h>

#include <algorithm>
#include <cstdarg>
#include <cstring>

#include <ombrel/heap.h>
#include <ombrel/scan.h>

#include "system/stream/file_stream_internal.h"

using namespace ombrel;
using namespace ombrel::system;

// The functions, where macros of the same names save calls.
#undef ombrel_file_stream_get_byte
#undef ombrel_file_stream_peek_byte

namespace {

/// Whether there is a byte to be read.
bool have_unread(ombrel_file_stream_t* stream) {
    if (stream == nullptr)
        return refuse(fault_code::invalid);
    auto& of = *stream_of(stream);
    return of.unread() > 0 || read_ahead(of) > 0;
}

size_t take_unread(stream& of, void* to, size_t size) {
    const size_t count = std::min(size, of.unread());
    if (count > 0)
        memcpy(to, of.m_read_at, count);
    of.m_read_at += count;
    return count;
}

/// Past the buffer, which must be empty.
int64_t read_directly(stream& of, void* to, size_t size) {
    if (!begin_reading(of))
        return -1;
    drop_unread(of);
    return of.is_at_end ? 0 : read_side(of, to, size);
}

/// What was read ahead or else what the other side gives at once.
int64_t read_once(stream& of, unsigned char* to, size_t size) {
    if (of.unread() == 0) {
        if (size >= of.buffer_size)
            return read_directly(of, to, size);
        const int more = read_ahead(of);
        if (more <= 0)
            return more;
    }
    return static_cast<int64_t>(take_unread(of, to, size));
}

bool can_read(const ombrel_file_stream_t* stream, const void* buffer, size_t size) {
    const bool makes_sense = stream != nullptr && (buffer != nullptr || size == 0) && size <= PTRDIFF_MAX;
    return makes_sense || refuse(fault_code::invalid);
}

struct line {
    char* text = nullptr;
    size_t size = 0;
};

/// Takes what the limit allows of a line. It moves down by a byte, as the terminator takes one of its own.
int take_part(stream& of, line& found) {
    found = {reinterpret_cast<char*>(of.m_read_at) - 1, of.line_limit};
    memmove(found.text, of.m_read_at, found.size);
    found.text[found.size] = '\0';
    of.m_read_at += found.size;
    of.intact_from = of.m_read_at;
    of.has_line_end = false;
    return fail_with(fault_code::too_large);
}

/// Takes unread bytes as a line, and its end behind them if it has one. Its bytes are the caller's to change.
int take_line(stream& of, size_t size, bool has_end, line& found) {
    found = {reinterpret_cast<char*>(of.m_read_at), size};
    found.text[size] = '\0';
    of.m_read_at += size + (has_end ? 1 : 0);
    of.intact_from = of.m_read_at;
    of.has_line_end = has_end;
    return 1;
}

int find_line(stream& of, int delimiter, line& found) {
    for (size_t seen = 0;;) {
        const size_t unread = of.unread();
        const void* const end =
            unread > seen ? memchr(of.m_read_at + seen, delimiter, unread - seen) : nullptr;
        const size_t size = end != nullptr
                                ? static_cast<size_t>(static_cast<const unsigned char*>(end) - of.m_read_at)
                                : unread;
        if (size > of.line_limit)
            return take_part(of, found);
        if (end != nullptr)
            return take_line(of, size, true, found);
        const int more = read_ahead(of);
        if (more <= 0)
            return more == 0 && size > 0 ? take_line(of, size, false, found) : more;
        seen = unread;
    }
}

void drop_return(const stream& of, line& found) {
    const bool is_end = (of.flags & def_ombrel_file_stream_flag_crlf) != 0 && of.has_line_end &&
                        found.size > 0 && found.text[found.size - 1] == '\r';
    if (is_end)
        found.text[--found.size] = '\0';
}

int read_until(ombrel_file_stream_t* stream, int delimiter, char** text, size_t* size) {
    if (stream == nullptr || text == nullptr || delimiter < 0 || delimiter > UINT8_MAX)
        return fail_with(fault_code::invalid);
    auto& of = *stream_of(stream);
    line found;
    const int result = find_line(of, delimiter, found);
    if (result > 0 && delimiter == '\n')
        drop_return(of, found);
    *text = found.text;
    if (size != nullptr)
        *size = found.size;
    return result;
}

/// A block that all that is left of a stream is read into.
class rest {
public:
    rest(stream& of, size_t limit, call_site caller) : of_(of), limit_(limit), caller_(caller) {}

    bool read_all() {
        for (int64_t bytes = 1; bytes > 0; size_ += static_cast<size_t>(bytes)) {
            if (size_ + 1 >= room_ && !grow())
                return false;
            bytes = read_once(of_, block_.get() + size_, room_ - 1 - size_);
            if (bytes < 0)
                return false;
        }
        return size_ <= limit_ || refuse(fault_code::too_large);
    }
    size_t size() const { return size_; }
    void* release() {
        block_.get()[size_] = '\0';
        return block_.release();
    }

private:
    /// There is room for a byte more than the limit, so that it can be seen, and for the terminator.
    bool grow() {
        if (room_ > limit_ + 1)
            return refuse(fault_code::too_large);
        const size_t wanted = room_ == 0 ? of_.buffer_size + 1 : room_ * 2;
        const size_t room = std::min(wanted, limit_ + 2);
        void* const larger = ombrel_realloc_tag(block_.get(), room, caller_.tag, caller_.line);
        if (larger == nullptr)
            return refuse(fault_code::no_memory);
        block_.release();
        block_.reset(static_cast<unsigned char*>(larger), caller_.tag, caller_.line);
        room_ = room;
        return true;
    }

    stream& of_;
    size_t limit_;
    call_site caller_;
    quiet_ptr<unsigned char> block_;
    size_t size_ = 0, room_ = 0;
};

} // namespace

int ombrel_file_stream_get_byte(ombrel_file_stream_t* stream) {
    return have_unread(stream) ? *stream->m_read_at++ : -1;
}

int ombrel_file_stream_peek_byte(ombrel_file_stream_t* stream) {
    return have_unread(stream) ? *stream->m_read_at : -1;
}

int ombrel_file_stream_unget_byte(ombrel_file_stream_t* stream, int byte) {
    if (stream == nullptr || byte == -1)
        return fail_with(fault_code::invalid);
    auto& of = *stream_of(stream);
    if (!begin_reading(of))
        return -1;
    if (of.m_read_at - of.read_block <= 1) // the first byte is kept for a line beyond the limit
        return fail_with(fault_code::too_large);
    const auto value = static_cast<unsigned char>(byte);
    unsigned char* const at = of.m_read_at - 1;
    if (at < of.intact_from || *at != value) {
        of.intact_from = std::max<const unsigned char*>(of.intact_from, of.m_read_at);
        *at = value;
    }
    of.m_read_at = at;
    of.is_at_end = false;
    return value;
}

int64_t ombrel_file_stream_read(ombrel_file_stream_t* stream, void* buffer, size_t size) {
    if (!can_read(stream, buffer, size))
        return -1;
    auto& of = *stream_of(stream);
    auto* const to = static_cast<unsigned char*>(buffer);
    size_t done = 0;
    int64_t bytes = 0;
    do {
        bytes = size > done ? read_once(of, to + done, size - done) : 0;
        done += bytes > 0 ? static_cast<size_t>(bytes) : 0;
    } while (bytes > 0);
    return done > 0 ? static_cast<int64_t>(done) : bytes;
}

int64_t ombrel_file_stream_read_some(ombrel_file_stream_t* stream, void* buffer, size_t size) {
    if (!can_read(stream, buffer, size))
        return -1;
    return size > 0 ? read_once(*stream_of(stream), static_cast<unsigned char*>(buffer), size) : 0;
}

int ombrel_file_stream_read_line(ombrel_file_stream_t* stream, char** line, size_t* size) {
    return read_until(stream, '\n', line, size);
}

int ombrel_file_stream_read_until(ombrel_file_stream_t* stream, int delimiter, char** line, size_t* size) {
    return read_until(stream, delimiter, line, size);
}

int ombrel_file_stream_has_line_end(const ombrel_file_stream_t* stream) {
    return stream != nullptr && stream_of(stream)->has_line_end ? 1 : 0;
}

void* ombrel_file_stream_alloc_rest_tag(ombrel_file_stream_t* stream, size_t limit, size_t* size,
                                        const char* function, unsigned long line) {
    if (!can_read(stream, nullptr, 0))
        return nullptr;
    if (limit == 0)
        limit = def_ombrel_file_default_limit;
    // The limit and two bytes more must be a size.
    rest left(*stream_of(stream), std::min<size_t>(limit, PTRDIFF_MAX - 2), {function, line});
    if (!left.read_all())
        return nullptr;
    if (size != nullptr)
        *size = left.size();
    return left.release();
}

int ombrel_scan_peek_file_stream(void* stream) {
    return std::max(ombrel_file_stream_peek_byte_inline(static_cast<ombrel_file_stream_t*>(stream)), 0);
}

int ombrel_scan_pop_file_stream(void* stream) {
    return std::max(ombrel_file_stream_get_byte_inline(static_cast<ombrel_file_stream_t*>(stream)), 0);
}

int ombrel_file_stream_vscanf(ombrel_file_stream_t* stream, const char* format, va_list arguments) {
    if (stream == nullptr || format == nullptr)
        return fail_with(fault_code::invalid);
    return ombrel_context_scanf(ombrel_scan_peek_file_stream, ombrel_scan_pop_file_stream, stream, format,
                                arguments);
}

int ombrel_file_stream_scanf(ombrel_file_stream_t* stream, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int fields = ombrel_file_stream_vscanf(stream, format, arguments);
    va_end(arguments);
    return fields;
}
