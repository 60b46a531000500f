// Streams over buffer chains.
#include <ombrel/file_stream.h>

#include "container/buffer_internal.h"
#include "system/stream/file_stream_internal.h"

using namespace ombrel;
using namespace ombrel::system;

namespace {

struct chain_stream : stream {
    ombrel_buffer_t* chain;
    size_t looked_at; ///< bytes at the chain's front that the stream has read, some of them ahead
};

chain_stream& record_of(void* context) {
    return *static_cast<chain_stream*>(context);
}

int64_t read(void* context, void* buffer, size_t size) {
    auto& of = record_of(context);
    ombrel_pop_buffer(of.chain, nullptr, of.looked_at);
    of.looked_at = ombrel_peek_buffer(of.chain, buffer, size, 0);
    return static_cast<int64_t>(of.looked_at);
}

int64_t write(void* context, const void* data, size_t size) {
    const size_t bytes = push_copy(*record_of(context).chain, data, size);
    return bytes > 0 ? static_cast<int64_t>(bytes) : fail_with(fault_code::no_memory);
}

void give_back(void* context, size_t unread) {
    auto& of = record_of(context);
    // What was put back over what was read is none of the chain's.
    if (of.looked_at > unread)
        ombrel_pop_buffer(of.chain, nullptr, of.looked_at - unread);
    of.looked_at = 0;
}

constexpr ombrel_file_stream_calls_t chain_calls{
    .m_read = read, .m_write = write, .m_seek = nullptr, .m_truncate = nullptr, .m_close = nullptr};

} // namespace

ombrel_file_stream_t* ombrel_open_file_stream_buffer_tag(ombrel_buffer_t* buffer, const char* mode,
                                                         const ombrel_file_stream_options_t* options,
                                                         const char* function, unsigned long line) {
    stream_opening opening;
    if (!read_opening(mode, options, {function, line}, opening) || !is_for_open(opening) || !is_given(buffer))
        return nullptr;
    auto* const made = open_stream<chain_stream>(opening, chain_calls);
    if (made == nullptr)
        return nullptr;
    made->chain = buffer;
    made->give_back = give_back;
    return made;
}
