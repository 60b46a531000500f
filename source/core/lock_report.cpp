#include "core/lock_report.h"

#include <ombrel/output.h>
#include <ombrel/printf.h>

#include "core/error_text.h"
#include "core/short_lock_guard.h"

namespace ombrel {

namespace {

constexpr const char label[] = "ombrel_lock";

bool has_any_flag(const ombrel_lock_t& lock, uint32_t flags) {
    return (__atomic_load_n(&lock.m_flags, __ATOMIC_RELAXED) & flags) != 0;
}

claim_counts read_counts(ombrel_lock_t& lock) {
    const short_lock_guard guard(lock.m_guard);
    return count_all_claims(lock);
}

struct claim_list {
    lock_claim* ombrel_lock_t::*head;
    const char* format;
};
constexpr claim_list owners{&ombrel_lock_t::m_owners,
                            "  - locked by \"%s:%lu\" (thread_id=%llu, initialized by \"%s:%lu\")\n"};
constexpr claim_list waiters{&ombrel_lock_t::m_waiters_head,
                             "  - wait by \"%s:%lu\" (thread_id=%llu, initialized by \"%s:%lu\")\n"};

struct claim_line {
    call_site caller;
    unsigned long long thread_id;
};

// Copies what the lines about some claims need, from the place `skip` on.
template<size_t size>
size_t copy_claims(ombrel_lock_t& lock, const claim_list& list, size_t skip, claim_line (&lines)[size]) {
    const short_lock_guard guard(lock.m_guard);
    const lock_claim* claim = lock.*list.head;
    for (; claim != nullptr && skip > 0; skip--)
        claim = claim->next;
    size_t count = 0;
    for (; claim != nullptr && count < size; claim = claim->next)
        lines[count++] = {claim->caller, claim->thread_id};
    return count;
}

// A list may change between two batches; the report is bounded by its length at the start.
void print_claims(ombrel_lock_t& lock, const claim_list& list, long limit) {
    claim_line lines[16];
    for (size_t printed = 0; printed < static_cast<size_t>(limit);) {
        const size_t count = copy_claims(lock, list, printed, lines);
        if (count == 0)
            return;
        for (size_t i = 0; i < count; i++)
            ombrel_error_printf(list.format, lines[i].caller.tag, lines[i].caller.line, lines[i].thread_id,
                                lock.m_tag, lock.m_line);
        printed += count;
    }
}

} // namespace

bool prints_errors(const ombrel_lock_t& lock) {
    return has_any_flag(lock, def_ombrel_lock_flag_error | def_ombrel_lock_flag_warning |
                                  def_ombrel_lock_flag_debug);
}

bool prints_warnings(const ombrel_lock_t& lock) {
    return has_any_flag(lock, def_ombrel_lock_flag_warning | def_ombrel_lock_flag_debug);
}

// Memory has run out here, so nothing of this is done on the heap.
void report_claim_failure(const ombrel_lock_t& lock, call_site caller) {
    char text[512];
    if (!prints_errors(lock))
        return;
    ombrel_snprintf(text, sizeof text,
                    "%s: [ERROR] \033[1;31m__ombrel_new_lock_claim failed !\033[0m "
                    "(caller=\"%s:%lu\", initialized by \"%s:%lu\")\n",
                    label, caller.tag, caller.line, lock.m_tag, lock.m_line);
    put_error_without_memory(text);
}

void report_pipe_failure(const ombrel_lock_t& lock, call_site caller) {
    if (prints_errors(lock))
        ombrel_error_printf("%s: [ERROR] \033[1;31mpipe for claim failed !\033[0m "
                            "(caller=\"%s:%lu\", initialized by \"%s:%lu\")\n",
                            label, caller.tag, caller.line, lock.m_tag, lock.m_line);
}

void report_read_failure(const ombrel_lock_t& lock, call_site caller, const char* reason) {
    if (prints_warnings(lock))
        ombrel_error_printf("%s: [WARNING] \033[1;31mlock pending !\033[0m "
                            "(%s, caller=\"%s:%lu\", initialized by \"%s:%lu\")\n",
                            label, reason, caller.tag, caller.line, lock.m_tag, lock.m_line);
}

void report_dead_lock(ombrel_lock_t& lock, call_site caller, uint64_t duration) {
    const claim_counts counts = read_counts(lock);
    ombrel_error_printf("%s: [WARNING] \033[1;31mdead-lock !\033[0m (duration=%llu, caller=\"%s:%lu\", "
                        "recursive_count=%ld, wait_count=%ld, initialized by \"%s:%lu\")\n",
                        label, static_cast<unsigned long long>(duration), caller.tag, caller.line,
                        counts.recursive, counts.waiting, lock.m_tag, lock.m_line);
    print_claims(lock, owners, counts.recursive);
}

void report_unlock_without_owner(call_site initializer, call_site caller, claim_counts counts) {
    ombrel_error_printf("%s: [ERROR] \033[1;31munlock failed !\033[0m (no-owner, recursive_count=%ld, "
                        "wait_count=%ld, caller=\"%s:%lu\", initialized by \"%s:%lu\")\n",
                        label, counts.recursive, counts.waiting, caller.tag, caller.line, initializer.tag,
                        initializer.line);
}

void report_wakeup_failure(call_site initializer, call_site caller, call_site waiter, claim_counts counts) {
    ombrel_error_printf("%s: [ERROR] \033[1;31m__ombrel_wakeup_lock_claim failed by unlock !\033[0m "
                        "(caller=\"%s:%lu\", wakeup_claim=\"%s:%lu\", recursive_count=%ld, wait_count=%ld, "
                        "initialized by \"%s:%lu\")\n",
                        label, caller.tag, caller.line, waiter.tag, waiter.line, counts.recursive,
                        counts.waiting, initializer.tag, initializer.line);
}

void report_pending_claim(const ombrel_lock_t& lock, call_site caller, const char* relation, call_site claim,
                          claim_counts counts) {
    if (prints_warnings(lock))
        ombrel_error_printf("%s: [WARNING] pending lock wait... (%s by \"%s:%lu\", recursive_count=%ld, "
                            "wait_count=%ld, caller=\"%s:%lu\", initialized by \"%s:%lu\")\n",
                            label, relation, claim.tag, claim.line, counts.recursive, counts.waiting,
                            caller.tag, caller.line, lock.m_tag, lock.m_line);
}

void report_pending_lock(ombrel_lock_t& lock, call_site caller) {
    const claim_counts counts = read_counts(lock);
    ombrel_error_printf(
        "%s: [ERROR] \033[1;31mpending lock wait !\033[0m (recursive_count=%ld, wait_count=%ld, "
        "caller=\"%s:%lu\", initialized by \"%s:%lu\")\n",
        label, counts.recursive, counts.waiting, caller.tag, caller.line, lock.m_tag, lock.m_line);
    print_claims(lock, owners, counts.recursive);
    print_claims(lock, waiters, counts.waiting);
}

} // namespace ombrel
