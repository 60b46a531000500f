// What the streams over a descriptor share: reading and writing within a time limit, and what is told of it.
#pragma once

#include "builtin/builtin_kind.h"
#include "platform/poll.h"

namespace ombrel::builtin {

/// Waits for a descriptor, however often a signal interrupts: 1 when it is ready, 0 when the time ran out, -1
/// with the error set.
int wait_for(const builtin_ctx& ctx, int descriptor, platform::readiness kind, int timeout_ms);

/// One attempt, a call of the seam: bytes, 0 at the end, or -1 with the fault.
using read_attempt = int (*)(int descriptor, void* buffer, size_t size);
using write_attempt = int (*)(int descriptor, const void* data, size_t size);

/// What there is; waits for the first byte no longer than the stream lets a call wait.
int read_some(const builtin_ctx& ctx, int descriptor, read_attempt attempt, void* buffer, size_t size);

/// All of it, as long as there is progress; else the bytes that were taken, -1 when none were.
int write_all(const builtin_ctx& ctx, int descriptor, write_attempt attempt, const void* data, size_t size);

/// Answers ::def_ombrel_stream_control_get_fd.
int give_descriptor(const builtin_ctx& ctx, int descriptor, void* record, size_t size);

/// Answers ::def_ombrel_stream_control_get_local_address or, of a connected socket,
/// ::def_ombrel_stream_control_get_peer_address.
int give_socket_address(const builtin_ctx& ctx, int socket, uint32_t code, void* record, size_t size);

} // namespace ombrel::builtin
