// Streams over functions of the caller's.
#include <ombrel/file_stream.h>

#include "system/stream/file_stream_internal.h"

using namespace ombrel;
using namespace ombrel::system;

namespace {

struct called_stream : stream {
    ombrel_file_stream_calls_t functions;
};

bool allow(const ombrel_file_stream_calls_t& calls, const file_access& wanted) {
    const bool do_allow =
        (!wanted.read || calls.m_read != nullptr) && (!wanted.write || calls.m_write != nullptr);
    return do_allow || refuse(fault_code::bad_descriptor);
}

} // namespace

ombrel_file_stream_t* ombrel_open_file_stream_calls_tag(const ombrel_file_stream_calls_t* calls,
                                                        void* context, const char* mode,
                                                        const ombrel_file_stream_options_t* options,
                                                        const char* function, unsigned long line) {
    stream_opening opening;
    if (!read_opening(mode, options, {function, line}, opening) || !is_for_open(opening) ||
        !is_given(calls) || !allow(*calls, opening.access))
        return nullptr;
    auto* const made = open_stream<called_stream>(opening, *calls);
    if (made == nullptr)
        return nullptr;
    made->functions = *calls;
    made->calls = &made->functions;
    made->context = context;
    return made;
}
