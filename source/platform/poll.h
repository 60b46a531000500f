// Waiting for descriptors of any value: for a few at once, or for many at a cost that follows what is ready.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ombrel::platform {

/// Both ways of waiting give the kinds the meaning that `select` gives them: a hang-up is readable, an error
/// readable and writable; a failed connect, an error together with a hang-up, is exceptional too. Files are
/// always readable and writable.
inline constexpr unsigned poll_read = 1, poll_write = 2, poll_exception = 4;

enum class readiness : unsigned { read = poll_read, write = poll_write, exception = poll_exception };

/// Whether the number is that of a descriptor.
bool is_open_descriptor(int descriptor);

/// One question about one descriptor, and its answer.
struct poll_request {
    int descriptor;
    readiness kind;
    bool ready;
};

inline constexpr size_t most_poll_requests = 192;

/// Waits until a request is ready. A descriptor may stand in several requests.
/// @param timeout_milliseconds negative waits for ever
/// @return ready requests, 0 on time-out, -1 on an error, with no request marked ready
int poll_descriptors(poll_request* requests, size_t count, int timeout_milliseconds);

/// The descriptors that one waits for again and again.
struct poll_set;

/// Null when the host has no more descriptors or memory.
poll_set* open_poll_set();
void close_poll_set(poll_set* set);

enum class watch_result {
    watched,
    always_ready, ///< the host cannot wait for it, as for a regular file: it never blocks
    failed,
};

struct watch_request {
    unsigned bits;       ///< exactly what is watched
    uint32_t generation; ///< comes back with the readiness
    bool once;           ///< the host may stop at the first report, until the descriptor is watched again
    bool quiet; ///< a hang-up that is not asked for may be reported when something changes, not again and
                ///< again
    bool known; ///< a guess that the set holds it already; a wrong one costs a second system call
};
/// Watches a descriptor; what was wanted of one that is watched already is replaced.
watch_result watch_descriptor(poll_set& set, int descriptor, const watch_request& wanted);

/// A descriptor that was closed meanwhile does no harm, and neither does one that is not watched.
void forget_descriptor(poll_set& set, int descriptor);

/// Begins anew with nothing watched: the host may hold on to a descriptor that can no longer be forgotten, as
/// it was closed but lives on elsewhere. False when there is no memory for that.
bool renew_poll_set(poll_set& set);

/// Begins a wait, for the readiness of `watched` descriptors at most: each call of wait_for_descriptors()
/// needs one before it, under whatever keeps other threads from watching. Not while a thread waits.
void prepare_wait(poll_set& set, size_t watched);

/// The number of ready descriptors, or -1 with its fault, an interruption too; a negative limit waits for
/// ever. Other threads may watch and forget meanwhile.
int wait_for_descriptors(poll_set& set, int timeout_milliseconds);

/// Whether a wait under way notices what other threads watch; else it must be woken and begun again.
bool wait_sees_changes();

struct ready_descriptor {
    int descriptor;
    uint32_t generation;
    unsigned bits;
};

/// One of the results of the last wait. Its bits may go beyond what is watched, as a hang-up does; none are
/// set for a descriptor that was closed while it was watched.
ready_descriptor ready_at(const poll_set& set, int index);

} // namespace ombrel::platform
