// Talking to processes over their pipes.
#include <ombrel/process.h>

#include <algorithm>

#include "core/heap_ptr.h"
#include "platform/file.h"
#include "platform/poll.h"
#include "system/process/process_internal.h"

namespace ombrel::system {

namespace {

constexpr int failed = -1;

/// After an attempt that would have had to wait: 1 for another one, 0 when the time has run out, -1 on an
/// error, which an interruption is not. Hosts may tell an end ready that then is not, again and again.
int wait_for_end_of_pipe(int end, platform::readiness kind, const deadline& limit) {
    platform::poll_request request{end, kind, false};
    const int left = limit.left();
    if (left == 0)
        return 0;
    const int ready = platform::poll_descriptors(&request, 1, left);
    return ready < 0 && !failed_by(ready, fault_code::interrupted) ? -1 : 1;
}

/// One round: waits for what can be moved, and moves a piece of each.
class exchange_round {
public:
    static constexpr size_t piece = 65536; ///< what pipes hold

    exchange_round(ombrel_process_t& process, char* buffer, ombrel_process_output_handler_t handler,
                   void* context)
        : process_(process), buffer_(buffer), handler_(handler), context_(context) {
        if (process_.m_feed_left == 0)
            close_end(process_, def_ombrel_process_input);
        add(def_ombrel_process_input, platform::readiness::write);
        add(def_ombrel_process_output, platform::readiness::read);
        add(def_ombrel_process_error, platform::readiness::read);
    }

    /// The input alone is not waited for: a program may leave it unread.
    bool is_over() const {
        return process_.m_ends[def_ombrel_process_output] < 0 &&
               process_.m_ends[def_ombrel_process_error] < 0 && process_.m_ends[def_ombrel_process_input] < 0;
    }

    /// 0, what the handler gave, or -1.
    int run(int timeout_ms) {
        if (platform::poll_descriptors(requests_, count_, timeout_ms) < 0)
            return failed_by(failed, fault_code::interrupted) ? 0 : failed;
        int result = 0;
        for (size_t i = 0; i < count_ && result == 0; i++)
            if (requests_[i].ready)
                result = streams_[i] == def_ombrel_process_input ? feed() : pass_on(streams_[i]);
        return result;
    }

private:
    void add(int stream, platform::readiness kind) {
        const int end = process_.m_ends[static_cast<size_t>(stream)];
        if (end < 0)
            return;
        requests_[count_] = {end, kind, false};
        streams_[count_++] = stream;
    }

    /// A program that has closed its input has had enough.
    int feed() {
        const int end = process_.m_ends[def_ombrel_process_input];
        const int size =
            platform::write_descriptor(end, process_.m_feed, std::min(process_.m_feed_left, piece));
        if (failed_by(size, fault_code::closed))
            process_.m_feed_left = 0;
        else if (size < 0)
            return failed_for_now(size) ? 0 : failed;
        else {
            process_.m_feed += size;
            process_.m_feed_left -= static_cast<size_t>(size);
        }
        return 0;
    }

    int pass_on(int stream) {
        const int size =
            platform::read_descriptor(process_.m_ends[static_cast<size_t>(stream)], buffer_, piece);
        if (size < 0)
            return failed_for_now(size) ? 0 : failed;
        if (size == 0)
            close_end(process_, stream);
        if (size == 0 || handler_ == nullptr)
            return 0;
        return handler_(stream, buffer_, static_cast<size_t>(size), context_);
    }

    ombrel_process_t& process_;
    char* buffer_;
    ombrel_process_output_handler_t handler_;
    void* context_;
    platform::poll_request requests_[3];
    int streams_[3];
    size_t count_ = 0;
};

} // namespace

int exchange(ombrel_process_t& process, const deadline& limit, ombrel_process_output_handler_t handler,
             void* context) {
    const heap_ptr<char> buffer(
        static_cast<char*>(ombrel_alloc_tag(exchange_round::piece, "ombrel_process_exchange", __LINE__)));
    if (!buffer)
        return fail_by(fault_code::no_memory);
    for (;;) {
        exchange_round round(process, buffer.get(), handler, context);
        if (round.is_over())
            return 1;
        const int left = limit.left();
        const int result = round.run(left);
        if (result != 0)
            return result;
        if (left == 0)
            return 0;
    }
}

} // namespace ombrel::system

using namespace ombrel;
using namespace ombrel::system;

int64_t ombrel_process_read(ombrel_process_t* process, int stream, void* buffer, size_t size,
                            int timeout_ms) {
    const int end =
        stream == def_ombrel_process_input ? fail_by(fault_code::invalid) : end_of_pipe(process, stream);
    if (end < 0)
        return -1;
    const deadline limit(timeout_ms);
    for (;;) {
        const int got = size > 0 ? platform::read_descriptor(end, buffer, size) : 0;
        if (!failed_for_now(got))
            return got;
        const int ready = wait_for_end_of_pipe(end, platform::readiness::read, limit);
        if (ready <= 0)
            return ready == 0 ? def_ombrel_process_timeout : -1;
    }
}

int64_t ombrel_process_write(ombrel_process_t* process, const void* data, size_t size, int timeout_ms) {
    const int end = end_of_pipe(process, def_ombrel_process_input);
    if (end < 0)
        return -1;
    const deadline limit(timeout_ms);
    size_t done = 0;
    while (done < size) {
        const int taken = platform::write_descriptor(end, static_cast<const char*>(data) + done, size - done);
        if (taken > 0)
            done += static_cast<size_t>(taken);
        else if (taken < 0 && !failed_for_now(taken))
            return -1;
        else if (const int ready = wait_for_end_of_pipe(end, platform::readiness::write, limit); ready <= 0)
            return ready == 0 ? static_cast<int64_t>(done) : -1;
    }
    return static_cast<int64_t>(done);
}

int ombrel_process_exchange(ombrel_process_t* process, int timeout_ms,
                            ombrel_process_output_handler_t handler, void* context) {
    if (process == nullptr)
        return fail_by(fault_code::invalid);
    return exchange(*process, deadline(timeout_ms), handler, context);
}
