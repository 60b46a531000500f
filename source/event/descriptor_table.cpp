#include "event/descriptor_table.h"

#include <climits>
#include <cstring>

#include <ombrel/heap.h>

#include "event/event_internal.h"

namespace ombrel {

bool descriptor_table::open() {
    entries_ = nullptr;
    size_ = known_ = 0;
    stale_reports_ = 0;
    reported_ = always_ready_ = none;
    set_ = platform::open_poll_set();
    return set_ != nullptr;
}

void descriptor_table::close() {
    if (set_ != nullptr)
        platform::close_poll_set(set_);
    ombrel_check_free(entries_);
    set_ = nullptr;
    entries_ = nullptr;
}

bool descriptor_table::reserve(int fd) {
    const size_t wanted = platform::slot_of(fd) + 1;
    if (wanted <= size_)
        return true;
    // A number that is no descriptor's may be any; the table is not to grow for it.
    if (!platform::is_open_descriptor(fd))
        return false;
    size_t larger = size_ < 64 ? 64 : size_;
    while (larger < wanted)
        larger *= 2;
    if (larger > SIZE_MAX / sizeof(entry))
        return false;
    auto* entries = static_cast<entry*>(
        ombrel_realloc_tag(entries_, larger * sizeof(entry), "ombrel_add_event", __LINE__));
    if (entries == nullptr)
        return false;
    memset(static_cast<void*>(entries + size_), 0, (larger - size_) * sizeof(entry));
    entries_ = entries;
    size_ = larger;
    return true;
}

void descriptor_table::link_last(entry& of, ombrel_event_t& event) {
    event.m_fd_prev = of.last;
    event.m_fd_next = nullptr;
    (of.last != nullptr ? of.last->m_fd_next : of.first) = &event;
    of.last = &event;
}

void descriptor_table::unlink(entry& of, ombrel_event_t& event) {
    (event.m_fd_prev != nullptr ? event.m_fd_prev->m_fd_next : of.first) = event.m_fd_next;
    (event.m_fd_next != nullptr ? event.m_fd_next->m_fd_prev : of.last) = event.m_fd_prev;
    event.m_fd_prev = event.m_fd_next = nullptr;
}

bool descriptor_table::attach(ombrel_event_t& event, unsigned interest) {
    const int fd = event.m_fd;
    if (!reserve(fd))
        return false;
    entry& of = at(fd);
    if (of.first == nullptr) {
        of.generation++;
        of.quiet = false;
    }
    const uint8_t before = of.interest;
    link_last(of, event);
    of.interest = static_cast<uint8_t>(interest);
    if (apply(fd, true))
        return true;
    unlink(of, event);
    of.interest = of.first != nullptr ? before : 0;
    return false;
}

bool descriptor_table::is_attached(const ombrel_event_t& event) const {
    if (event.m_fd < 0 || platform::slot_of(event.m_fd) >= size_)
        return false;
    return event.m_fd_prev != nullptr || at(event.m_fd).first == &event;
}

void descriptor_table::detach(ombrel_event_t& event) {
    if (!is_attached(event))
        return;
    const int fd = event.m_fd;
    entry& of = at(fd);
    unlink(of, event);
    of.interest = of.last != nullptr ? static_cast<uint8_t>(interest_of(*of.last)) : 0;
    apply(fd, false);
}

bool descriptor_table::set_interest(ombrel_event_t& event, unsigned interest) {
    entry& of = at(event.m_fd);
    if (of.last != &event) {
        unlink(of, event);
        link_last(of, event);
    }
    of.interest = static_cast<uint8_t>(interest);
    return apply(event.m_fd, false);
}

namespace {

// Whether a descriptor's only event ends with its first readiness.
bool is_one_shot(const ombrel_event_t& first) {
    return first.m_fd_next == nullptr && (first.m_flags & def_ombrel_event_persist) == 0 &&
           (first.m_state & state_buffered) == 0 && !is_connect_pending(first);
}

} // namespace

// `fresh` is set for a new event: its descriptor may be another one with the number of one that was closed
// unnoticed, so the host is told even if nothing seems to have changed.
bool descriptor_table::apply(int fd, bool fresh) {
    entry& of = at(fd);
    if (of.interest == 0) {
        end_interest(fd);
        return true;
    }
    if (!fresh && of.known && of.told == of.interest && of.told_quiet == of.quiet)
        return true;
    const bool once = !of.quiet && is_one_shot(*of.first);
    const auto result =
        platform::watch_descriptor(*set_, fd, {of.interest, of.generation, once, of.quiet, of.known});
    clear_always_ready(fd);
    known_ -= of.known ? 1 : 0;
    of.known = result == platform::watch_result::watched;
    known_ += of.known ? 1 : 0;
    of.told = of.known ? of.interest : 0;
    of.told_quiet = of.quiet;
    of.once = once;
    if (result == platform::watch_result::always_ready && (of.interest & always_ready_kinds) != 0)
        set_always_ready(fd);
    return result != platform::watch_result::failed;
}

// One that the host has dropped after its only report is left as it is: adding its event again finds it
// there.
void descriptor_table::end_interest(int fd) {
    clear_always_ready(fd);
    if (at(fd).known && at(fd).told != 0)
        forget(fd);
}

void descriptor_table::forget(int fd) {
    entry& of = at(fd);
    platform::forget_descriptor(*set_, fd);
    of.known = false;
    of.told = 0;
    known_--;
}

void descriptor_table::note_report(int fd) {
    entry& of = at(fd);
    if (of.once)
        of.told = 0;
    if (of.reported)
        return;
    of.reported = true;
    of.next_reported = reported_;
    reported_ = fd;
}

// A descriptor that was closed before its event was deleted, while a child process holds a copy, is reported
// for ever, and nobody can name it to the host any more.
void descriptor_table::renew() {
    stale_reports_ = 0;
    if (!platform::renew_poll_set(*set_))
        return;
    known_ = 0;
    for (size_t slot = 0; slot < size_; slot++)
        if (entries_[slot].known) {
            entries_[slot].known = false;
            entries_[slot].told = 0;
            apply(platform::descriptor_at(slot), true);
        }
}

void descriptor_table::settle() {
    if (stale_reports_ > most_stale_reports)
        renew();
    while (reported_ != none) {
        const int fd = reported_;
        reported_ = at(fd).next_reported;
        at(fd).reported = false;
        apply(fd, false);
    }
    platform::prepare_wait(*set_, known_);
}

void descriptor_table::set_always_ready(int fd) {
    at(fd).always_ready = true;
    at(fd).next_always = always_ready_;
    always_ready_ = fd;
}

void descriptor_table::clear_always_ready(int fd) {
    if (!at(fd).always_ready)
        return;
    at(fd).always_ready = false;
    int* link = &always_ready_;
    while (*link != fd)
        link = &at(*link).next_always;
    *link = at(fd).next_always;
}

} // namespace ombrel
