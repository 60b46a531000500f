#include "event/process_watch.h"

#include <iterator>

#include <ombrel/heap.h>

#include "core/heap_ptr.h"
#include "core/short_lock_guard.h"
#include "platform/file.h"

namespace {

/// Guards the chains and what changes in the watches. Nothing that is called under it waits.
ombrel_short_lock_t chains_lock;

} // namespace

/// A child's status can be taken once, so all events that watch the child share it. The descriptor, unlike
/// the number, is that of no other process.
struct ombrel_process_watch_ts {
    /// Of its chain, while the child is not known to have ended.
    ombrel_process_watch_t* next OMBREL_GUARDED_BY(chains_lock);
    int process;
    int descriptor;
    unsigned users OMBREL_GUARDED_BY(chains_lock);
    bool has_ended OMBREL_GUARDED_BY(chains_lock);
    ombrel::platform::process_end end OMBREL_GUARDED_BY(chains_lock);
};

namespace ombrel {

namespace {

constexpr char function[] = "ombrel_event_set_process";

/// Watches by the number of their process.
ombrel_process_watch_t* chains[64] OMBREL_GUARDED_BY(chains_lock);

ombrel_process_watch_t*& chain_of(int process) OMBREL_REQUIRES(chains_lock) {
    return chains[static_cast<unsigned>(process) % std::size(chains)];
}

void unlink(const ombrel_process_watch_t& watch) OMBREL_REQUIRES(chains_lock) {
    ombrel_process_watch_t** link = &chain_of(watch.process);
    while (*link != nullptr && *link != &watch)
        link = &(*link)->next;
    if (*link != nullptr)
        *link = watch.next;
}

void note_end(ombrel_process_watch_t& watch) OMBREL_REQUIRES(chains_lock) {
    watch.has_ended = platform::collect_child(watch.descriptor, watch.end) != platform::child_state::running;
    if (watch.has_ended)
        unlink(watch);
}

/// The watch that others have of the same child, or null. One whose child was waited for by somebody else has
/// a number that may be another child's by now.
ombrel_process_watch_t* find_other(int process) OMBREL_REQUIRES(chains_lock) {
    ombrel_process_watch_t* found = chain_of(process);
    while (found != nullptr && found->process != process)
        found = found->next;
    if (found == nullptr || platform::look_at_child(found->descriptor) != platform::child_state::unknown)
        return found;
    note_end(*found);
    return nullptr;
}

ombrel_process_watch_t* share(ombrel_process_watch_t& fresh) {
    const short_lock_guard guard(chains_lock);
    if (ombrel_process_watch_t* const other = find_other(fresh.process)) {
        other->users++;
        return other;
    }
    fresh.next = chain_of(fresh.process);
    chain_of(fresh.process) = &fresh;
    return &fresh;
}

void destroy(ombrel_process_watch_t* watch) {
    platform::close_descriptor(watch->descriptor);
    ombrel_free_tag(watch, function, __LINE__);
}

bool is_last_user(ombrel_process_watch_t& watch) {
    const short_lock_guard guard(chains_lock);
    const bool is_last = --watch.users == 0;
    if (is_last && !watch.has_ended)
        unlink(watch);
    return is_last;
}

/// A watch of its own, which nobody shares yet.
ombrel_process_watch_t* new_watch(int process) {
    heap_ptr<ombrel_process_watch_t> fresh(allocate_record<ombrel_process_watch_t>(function, __LINE__));
    const int descriptor = fresh ? platform::open_process(process) : -1;
    if (descriptor < 0)
        return nullptr;
    *fresh = {nullptr, process, descriptor, 1, false, {-1, 0}};
    return fresh.release();
}

} // namespace

ombrel_process_watch_t* open_process_watch(int process, watch_refusal& refusal) {
    refusal = watch_refusal::not_supported;
    if (!platform::can_open_processes())
        return nullptr;
    refusal = watch_refusal::no_child;
    if (!platform::is_child(process))
        return nullptr;
    refusal = watch_refusal::no_memory;
    ombrel_process_watch_t* const own = new_watch(process);
    ombrel_process_watch_t* const shared = own != nullptr ? share(*own) : nullptr;
    if (shared != own)
        destroy(own);
    return shared;
}

void close_process_watch(ombrel_process_watch_t* watch) {
    if (watch != nullptr && is_last_user(*watch))
        destroy(watch);
}

int descriptor_of(const ombrel_process_watch_t& watch) {
    return watch.descriptor;
}

bool has_ended(ombrel_process_watch_t& watch, platform::process_end& end) {
    const short_lock_guard guard(chains_lock);
    if (!watch.has_ended)
        note_end(watch);
    end = watch.end;
    return watch.has_ended;
}

} // namespace ombrel
