// Reading a source that is asked for bytes.
#pragma once

#include "core/file_blocks.h"
#include "protocol/download/download_source.h"

namespace ombrel::protocol {

/// Waits for bytes in steps, between which the watch looks: 1 when there are some, 0 when it is over, -1 for
/// a failure of the source.
template<typename Wait>
int wait_for_bytes(const transfer& what, Wait wait, bool& is_silent) {
    const deadline limit(what.request.options.m_progress_ms);
    for (;;) {
        const int step = shorter_wait(download_watch::interval, limit.left());
        const int ready = wait(what.watch.within_whole(step));
        if (ready != 0)
            return ready;
        is_silent = limit.passed();
        if (is_silent || !what.watch.goes_on())
            return 0;
    }
}

/// Hands what comes to the sink, up to the end.
/// @param wait `wait(milliseconds)` gives 1, 0, or -1
/// @param read `read(buffer, size)` gives bytes, 0 at the end, or -1
/// @param fail `fail()` tells how the transfer ends by the failure of one of them
template<typename Wait, typename Read, typename Fail>
source_end read_source(const transfer& what, Wait wait, Read read, Fail fail) {
    const heap_ptr<char> block(
        static_cast<char*>(ombrel_alloc_tag(file_block_size, "ombrel_download_file", __LINE__)));
    if (!block)
        return fail_source(what, fault_code::no_memory, "no memory");
    for (;;) {
        bool is_silent = false;
        const int ready = wait_for_bytes(what, wait, is_silent);
        if (is_silent)
            return fail_source(what, fault_code::timed_out, "nothing comes any more");
        if (ready == 0)
            return source_end::stopped;
        const auto got = ready > 0 ? read(block.get(), file_block_size) : -1;
        if (got <= 0)
            return got < 0 ? fail() : source_end::whole;
        if (!what.sink.take(what.sink.context, block.get(), static_cast<size_t>(got)) ||
            !what.watch.goes_on())
            return source_end::stopped;
    }
}

} // namespace ombrel::protocol
