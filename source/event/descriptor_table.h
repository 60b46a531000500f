// Which events watch which descriptor, and what the host was told of it.
#pragma once

#include <cstddef>
#include <cstdint>

#include <ombrel/event.h>

#include "platform/descriptor_slot.h"
#include "platform/poll.h"

namespace ombrel {

/// A descriptor has one interest at a time, that of its event which was added or changed last. The host is
/// told of every change at once: of new interest, so that adding reports a bad descriptor, and of its end,
/// because the caller may close the descriptor next. One that a one-shot event has to itself is watched once,
/// so that the host drops it by itself and adding the event again costs one system call instead of two.
class descriptor_table {
public:
    bool open();
    void close();

    /// The event becomes one of its descriptor's and sets its interest.
    bool attach(ombrel_event_t& event, unsigned interest);
    /// The interest falls back to that of the event which was added last among the remaining ones.
    void detach(ombrel_event_t& event);
    bool is_attached(const ombrel_event_t& event) const;
    bool set_interest(ombrel_event_t& event, unsigned interest);

    bool has_always_ready() const { return always_ready_ != none; }

    /// Watches again what was reported once but is still of interest. To be called before each wait.
    void settle();
    int wait(int timeout_milliseconds) { return platform::wait_for_descriptors(*set_, timeout_milliseconds); }

    /// Takes in what a wait that gave `count` found; `visit(event, ready)` is called for every event of a
    /// ready descriptor with the kinds of interest that it is ready for. Returns the number of pairs of a
    /// descriptor and a kind that are ready.
    template<typename Visitor>
    size_t take_ready(int count, Visitor&& visit) {
        size_t pairs = 0;
        for (int i = 0; i < count; i++)
            pairs += mark_ready(platform::ready_at(*set_, i), visit);
        for (int fd = always_ready_; fd != none; fd = at(fd).next_always)
            pairs += mark(at(fd), always_ready_kinds, visit);
        return pairs;
    }

private:
    static constexpr int none = -1;
    /// Some are late, as a thread may forget a descriptor while the loop wakes for it.
    static constexpr unsigned most_stale_reports = 16;
    static constexpr unsigned always_ready_kinds = platform::poll_read | platform::poll_write;

    /// What each report needs comes first, so that it lies in one cache line.
    struct entry {
        ombrel_event_t* first;
        uint32_t generation; ///< tells a descriptor from an earlier one with its number
        uint8_t interest;
        uint8_t told; ///< 0 when the host does not watch it now
        bool known : 1, once : 1, reported : 1, always_ready : 1;
        bool quiet : 1, told_quiet : 1; ///< a hang-up stands that is not of interest
        ombrel_event_t* last;           ///< sets the interest
        int next_reported, next_always;
    };

    template<typename Visitor>
    size_t mark(entry& of, unsigned bits, Visitor& visit) {
        const unsigned ready = bits & of.interest;
        if (ready != 0)
            for (ombrel_event_t* event = of.first; event != nullptr; event = event->m_fd_next)
                visit(*event, ready);
        return (ready & 1u) + (ready >> 1 & 1u) + (ready >> 2 & 1u);
    }

    template<typename Visitor>
    size_t mark_ready(const platform::ready_descriptor& found, Visitor& visit) {
        if (platform::slot_of(found.descriptor) >= size_)
            return 0;
        entry& of = at(found.descriptor);
        if (of.generation != found.generation || !of.known) {
            stale_reports_++;
            return 0;
        }
        if (of.interest == 0 || found.bits == 0) {
            forget(found.descriptor);
            return 0;
        }
        // The host would report a hang-up that is not of interest again and again.
        const bool quiet = (found.bits & of.interest) == 0;
        if (of.once || of.quiet != quiet)
            note_report(found.descriptor);
        of.quiet = quiet;
        return mark(of, found.bits, visit);
    }

    entry& at(int fd) { return entries_[platform::slot_of(fd)]; }
    const entry& at(int fd) const { return entries_[platform::slot_of(fd)]; }

    bool reserve(int fd);
    void link_last(entry& of, ombrel_event_t& event);
    void unlink(entry& of, ombrel_event_t& event);
    bool apply(int fd, bool fresh);
    void forget(int fd);
    void renew();
    void note_report(int fd);
    void end_interest(int fd);
    void set_always_ready(int fd);
    void clear_always_ready(int fd);

    platform::poll_set* set_;
    entry* entries_; ///< by the descriptors' slots
    size_t size_;
    size_t known_;
    unsigned stale_reports_; ///< of descriptors that nobody watches
    int reported_, always_ready_;
};

} // namespace ombrel
