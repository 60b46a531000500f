#include "builtin/descriptor_stream.h"

#include <ombrel/address.h>
#include <ombrel/builtin_stream.h>
#include <ombrel/socket.h>

#include "core/deadline.h"
#include "core/fault.h"
#include "network/endpoint.h"

namespace ombrel::builtin {

namespace {

/// The time that a stream lets a call go on without progress, which begins with the first wait.
class patience {
public:
    explicit patience(const builtin_ctx& ctx) : timeout_(ctx.timeout), left_(never_looked) {}

    int left() {
        if (!has_begun_)
            limit_ = deadline(timeout_);
        has_begun_ = true;
        left_ = limit_.left();
        return left_;
    }
    /// Whether the last look found nothing left: the attempt behind that was the last.
    bool is_over() const { return left_ == 0; }
    void renew() {
        has_begun_ = false;
        left_ = never_looked;
    }

private:
    static constexpr int never_looked = -1;

    int timeout_, left_;
    bool has_begun_ = false;
    deadline limit_;
};

/// After an attempt that moved nothing: waits for the descriptor within the limit, or leaves the error. A
/// descriptor may be called ready and still move nothing, which gives nobody more time.
bool can_try_again(const builtin_ctx& ctx, int descriptor, platform::readiness kind, int result,
                   patience& limit) {
    if (!failed_for_now(result)) {
        fail_by_system(ctx);
        return false;
    }
    const int ready = limit.is_over() ? 0 : wait_for(ctx, descriptor, kind, limit.left());
    if (ready == 0)
        fail(ctx, def_ombrel_ctx_error_timed_out);
    return ready > 0;
}

} // namespace

int wait_for(const builtin_ctx& ctx, int descriptor, platform::readiness kind, int timeout_ms) {
    const deadline limit(timeout_ms);
    while (true) {
        platform::poll_request request{descriptor, kind, false};
        const int ready = platform::poll_descriptors(&request, 1, limit.left());
        if (ready >= 0)
            return ready;
        if (!failed_by(ready, fault_code::interrupted))
            return fail_by_system(ctx);
    }
}

int read_some(const builtin_ctx& ctx, int descriptor, read_attempt attempt, void* buffer, size_t size) {
    patience limit(ctx);
    while (true) {
        const int result = attempt(descriptor, buffer, size);
        if (result >= 0)
            return result;
        if (!can_try_again(ctx, descriptor, platform::readiness::read, result, limit))
            return -1;
    }
}

int write_all(const builtin_ctx& ctx, int descriptor, write_attempt attempt, const void* data, size_t size) {
    const auto* const bytes = static_cast<const char*>(data);
    patience limit(ctx);
    size_t done = 0;
    while (done < size) {
        const int result = attempt(descriptor, bytes + done, size - done);
        if (result > 0) {
            done += static_cast<size_t>(result);
            limit.renew();
        } else if (!can_try_again(ctx, descriptor, platform::readiness::write, result, limit))
            return done > 0 ? static_cast<int>(done) : -1;
    }
    return static_cast<int>(done);
}

int give_descriptor(const builtin_ctx& ctx, int descriptor, void* record, size_t size) {
    auto* const answer = control_record<ombrel_stream_fd_t>(ctx, record, size);
    if (answer == nullptr)
        return -1;
    answer->m_fd = descriptor;
    return 0;
}

int give_socket_address(const builtin_ctx& ctx, int socket, uint32_t code, void* record, size_t size) {
    auto* const answer = control_record<ombrel_stream_address_t>(ctx, record, size);
    if (answer == nullptr)
        return -1;
    const auto ask_socket =
        code == def_ombrel_stream_control_get_local_address ? ombrel_getsockname : ombrel_getpeername;
    endpoint address;
    int address_size = endpoint::room();
    if (ask_socket(socket, address.get(), &address_size) != 0)
        return fail_by_system(ctx);
    const char* const text =
        ombrel_inet_stopp(address.get(), answer->m_address, sizeof answer->m_address, &answer->m_port);
    return text != nullptr ? 0 : fail(ctx, def_ombrel_ctx_error_failed);
}

} // namespace ombrel::builtin
