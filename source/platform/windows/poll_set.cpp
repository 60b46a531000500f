#include "platform/poll.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <iterator>
#include <utility>

#include "platform/clock.h"
#include "platform/descriptor_slot.h"
#include "platform/fault.h"
#include "platform/windows/afd.h"
#include "platform/windows/descriptor.h"
#include "platform/windows/host_error.h"
#include "platform/windows/stream_poll.h"

namespace ombrel::platform {

namespace {

/// What is watched of one descriptor. The driver answers a question once; its record must stay until then,
/// even if nobody waits for the answer any more.
struct watch {
    OVERLAPPED progress; ///< comes first, as its address comes back with the answer
    afd_question<1> question;
    int descriptor;
    watch_request wanted;
    HANDLE socket; ///< of the lowest provider; null for what must be looked at again and again
    bool asked;    ///< an answer is to come
    bool forgotten;
    bool stopped;  ///< it was to be reported once, and was
    bool reported; ///< it stands in the list of those to be asked again
    watch* next;   ///< in that list, that of streams, or that of free records
};

/// A turn with the set's records.
class turn {
public:
    explicit turn(SRWLOCK& lock) : lock_(lock) { AcquireSRWLockExclusive(&lock_); }
    ~turn() { ReleaseSRWLockExclusive(&lock_); }
    turn(const turn&) = delete;
    turn& operator=(const turn&) = delete;

private:
    SRWLOCK& lock_;
};

} // namespace

struct poll_set {
    HANDLE port;
    SRWLOCK lock;    ///< guards all below but what was found
    watch** watches; ///< by the slot of their descriptor
    size_t slots;
    HANDLE*
        ways; ///< to the driver, each for a few slots: taking a question back costs what is under way on one
    size_t way_count;
    watch* reported;
    watch* streams;
    watch* free;
    size_t free_count;
    size_t asked;     ///< answers that are to come
    size_t forgotten; ///< those of them that nobody waits for
    bool has_afd;
    ready_descriptor* found; ///< of the thread that waits
    size_t room;
    size_t found_count;
};

namespace {

constexpr size_t least_room = 64;
constexpr size_t slots_per_way = 64;
constexpr size_t most_free = 256;
/// So many answers that nobody waits for are fetched without a wait.
constexpr size_t most_forgotten = 256;
constexpr ULONG_PTR look_again = 1;

template<typename Element>
bool grow(Element*& elements, size_t& count, size_t wanted) {
    if (wanted <= count)
        return true;
    const size_t larger = std::max(wanted, count * 2);
    if (larger > SIZE_MAX / 2 / sizeof(Element))
        return false;
    auto* const more = static_cast<Element*>(realloc(elements, larger * sizeof(Element)));
    if (more == nullptr)
        return false;
    std::fill(more + count, more + larger, Element{});
    elements = more;
    count = larger;
    return true;
}

watch*& place_of(poll_set& set, int descriptor) {
    return set.watches[slot_of(descriptor)];
}

watch* find(const poll_set& set, int descriptor) {
    const size_t slot = slot_of(descriptor);
    return descriptor >= 0 && slot < set.slots ? set.watches[slot] : nullptr;
}

watch* take_record(poll_set& set) {
    watch* const one = set.free;
    if (one == nullptr)
        return static_cast<watch*>(malloc(sizeof(watch)));
    set.free = one->next;
    set.free_count--;
    return one;
}

void give_record_back(poll_set& set, watch* one) {
    if (set.free_count >= most_free) {
        free(one);
        return;
    }
    one->next = set.free;
    set.free = one;
    set.free_count++;
}

/// The way to the driver for a socket; null when there is none left.
HANDLE way_of(poll_set& set, int descriptor) {
    const size_t index = slot_of(descriptor) / slots_per_way;
    if (!grow(set.ways, set.way_count, index + 1))
        return nullptr;
    if (set.ways[index] == nullptr) {
        HANDLE const fresh = open_afd();
        if (fresh != nullptr && CreateIoCompletionPort(fresh, set.port, 0, 0) == nullptr)
            CloseHandle(fresh);
        else
            set.ways[index] = fresh;
    }
    return set.ways[index];
}

bool ask(poll_set& set, watch& one) {
    HANDLE const way = way_of(set, one.descriptor);
    if (way == nullptr) {
        leave_fault(fault_code::no_memory);
        return false;
    }
    one.progress = {};
    one.question.time_limit.QuadPart = INT64_MAX;
    one.question.count = 1;
    one.question.is_exclusive = FALSE;
    one.question.sockets[0] = {one.socket, afd_events_for(one.wanted.bits), 0};
    if (!ask_afd(way, &one.question, one.question.size(), one.progress)) {
        fail_by_last_error();
        return false;
    }
    one.asked = true;
    set.asked++;
    return true;
}

void unlink_stream(poll_set& set, const watch& one) {
    watch** link = &set.streams;
    while (*link != nullptr && *link != &one)
        link = &(*link)->next;
    if (*link != nullptr)
        *link = one.next;
}

/// Takes it out of the table. Its record stays while an answer is to come or a list has it.
void drop(poll_set& set, watch& one) {
    place_of(set, one.descriptor) = nullptr;
    one.forgotten = true;
    if (one.asked) {
        CancelIoEx(way_of(set, one.descriptor), &one.progress);
        set.forgotten++;
    } else if (!one.reported) {
        if (one.socket == nullptr)
            unlink_stream(set, one);
        give_record_back(set, &one);
    }
}

void note_reported(poll_set& set, watch& one) {
    one.reported = true;
    one.next = set.reported;
    set.reported = &one;
}

void report(poll_set& set, const watch& one, unsigned bits) {
    set.found[set.found_count++] = {one.descriptor, one.wanted.generation, bits};
}

/// Takes an answer in. One whose descriptor was closed is watched no more, and one that was taken back by the
/// end of the thread that asked is asked again.
void take_answer(poll_set& set, watch& one) {
    one.asked = false;
    set.asked--;
    if (one.forgotten) {
        set.forgotten--;
        give_record_back(set, &one);
        return;
    }
    const bool is_answered = one.progress.Internal == 0 && one.question.count == 1;
    const ULONG events = is_answered ? one.question.sockets[0].events : 0;
    const bool is_closed = (events & afd_closed) != 0;
    if (events != 0)
        report(set, one, is_closed ? 0 : kinds_for_afd(events));
    if (is_closed)
        drop(set, one);
    else if (events != 0 && one.wanted.once)
        one.stopped = true;
    else
        note_reported(set, one);
}

bool passes(const fault& why) {
    return why.code == fault_code::no_memory || why.code == fault_code::no_descriptor;
}

/// Asks again what was answered. A descriptor that was closed meanwhile is watched no more.
void ask_reported_again(poll_set& set) {
    watch* one = std::exchange(set.reported, nullptr);
    while (one != nullptr) {
        watch* const next = one->next;
        one->reported = false;
        if (one->forgotten)
            give_record_back(set, one);
        else if (!ask(set, *one) && passes(last_fault()))
            note_reported(set, *one);
        else if (!one->asked)
            drop(set, *one);
        one = next;
    }
}

void look_at_streams(poll_set& set, bool after_pause) {
    for (watch* one = set.streams; one != nullptr && set.found_count < set.room; one = one->next) {
        const unsigned kinds =
            one->stopped ? 0 : ready_kinds_of(one->descriptor, after_pause) & one->wanted.bits;
        if (kinds != 0)
            report(set, *one, kinds);
        one->stopped = one->stopped || (kinds != 0 && one->wanted.once);
    }
}

using answers = OVERLAPPED_ENTRY[64];

/// Answers that are there within the time limit, so many at most; 0 on time-out, -1 with its fault.
int fetch(poll_set& set, answers& entries, size_t most, int milliseconds) {
    ULONG count = 0;
    const DWORD limit = milliseconds < 0 ? INFINITE : static_cast<DWORD>(milliseconds);
    const ULONG room = static_cast<ULONG>(std::min(most, std::size(entries)));
    if (GetQueuedCompletionStatusEx(set.port, entries, room, &count, limit, FALSE))
        return static_cast<int>(count);
    return GetLastError() == WAIT_TIMEOUT ? 0 : fail_by_last_error();
}

watch* watch_at(const OVERLAPPED_ENTRY& entry) {
    return entry.lpCompletionKey == look_again ? nullptr : reinterpret_cast<watch*>(entry.lpOverlapped);
}

/// Waits for answers and takes them in, all that are there and have room. False, with its fault, on an error.
bool take_answers(poll_set& set, int milliseconds) {
    answers entries;
    int count = static_cast<int>(std::size(entries));
    while (count == static_cast<int>(std::size(entries)) && set.found_count < set.room) {
        count = fetch(set, entries, set.room - set.found_count, milliseconds);
        const turn own(set.lock);
        for (int i = 0; i < count; i++)
            if (watch* const one = watch_at(entries[i]))
                take_answer(set, *one);
        milliseconds = 0;
    }
    return count >= 0;
}

/// What goes before a sleep; gives whether the sleep is to be a short one.
bool look_around(poll_set& set, bool after_pause) {
    const turn own(set.lock);
    ask_reported_again(set);
    look_at_streams(set, after_pause);
    return set.reported != nullptr || set.streams != nullptr;
}

void put_back(poll_set& set, const OVERLAPPED_ENTRY& entry) {
    if (PostQueuedCompletionStatus(set.port, 0, entry.lpCompletionKey, entry.lpOverlapped))
        return;
    if (watch* const one = watch_at(entry)) { // for want of memory it is asked again
        one->asked = false;
        set.asked--;
        note_reported(set, *one);
    }
}

/// Without a wait the answers to what was forgotten would pile up. The others go back to whom waits.
void fetch_forgotten(poll_set& set) {
    answers entries;
    const int count = fetch(set, entries, std::size(entries), 0);
    for (int i = 0; i < count; i++) {
        watch* const one = watch_at(entries[i]);
        if (one != nullptr && one->forgotten)
            take_answer(set, *one);
        else
            put_back(set, entries[i]);
    }
}

void drop_all(poll_set& set) {
    for (size_t slot = 0; slot < set.slots; slot++)
        if (set.watches[slot] != nullptr)
            drop(set, *set.watches[slot]);
}

/// Waits for what the driver has still to answer. Records whose answer does not come are left to it.
void fetch_last_answers(poll_set& set) {
    constexpr int limit_milliseconds = 1000;
    answers entries;
    int count = 1;
    while (set.asked != 0 && count > 0) {
        count = fetch(set, entries, std::size(entries), limit_milliseconds);
        for (int i = 0; i < count; i++)
            if (watch* const one = watch_at(entries[i]))
                take_answer(set, *one);
    }
}

void free_records(watch* list) {
    while (list != nullptr)
        free(std::exchange(list, list->next));
}

/// Begins to watch; false, with its fault, when that cannot be.
bool start(poll_set& set, watch& one) {
    if (one.socket != nullptr)
        return ask(set, one);
    one.next = set.streams;
    set.streams = &one;
    return PostQueuedCompletionStatus(set.port, 0, look_again, nullptr) || fail_by_last_error() == 0;
}

/// Null, with its fault, when there is no memory or the socket is gone.
watch* make_watch(poll_set& set, int descriptor, descriptor_kind kind, const watch_request& wanted) {
    const bool by_afd = kind == descriptor_kind::socket && set.has_afd;
    HANDLE const socket = by_afd ? base_handle_of(descriptor) : nullptr;
    if (socket == INVALID_HANDLE_VALUE) {
        leave_fault(fault_code::bad_descriptor);
        return nullptr;
    }
    watch* const made = grow(set.watches, set.slots, slot_of(descriptor) + 1) ? take_record(set) : nullptr;
    if (made == nullptr) {
        leave_fault(fault_code::no_memory);
        return nullptr;
    }
    *made = {};
    made->descriptor = descriptor;
    made->wanted = wanted;
    made->socket = socket;
    return made;
}

} // namespace

poll_set* open_poll_set() {
    auto* const set = static_cast<poll_set*>(calloc(1, sizeof(poll_set)));
    if (set == nullptr)
        return nullptr;
    set->port = CreateIoCompletionPort(INVALID_HANDLE_VALUE, nullptr, 0, 0);
    if (set->port == nullptr || !grow(set->found, set->room, least_room)) {
        close_poll_set(set);
        return nullptr;
    }
    set->has_afd = way_of(*set, 0) != nullptr;
    return set;
}

void close_poll_set(poll_set* set) {
    drop_all(*set);
    ask_reported_again(*set);
    fetch_last_answers(*set);
    free_records(set->free);
    for (size_t i = 0; i < set->way_count; i++)
        if (set->ways[i] != nullptr)
            CloseHandle(set->ways[i]);
    if (set->port != nullptr)
        CloseHandle(set->port);
    free(set->watches);
    free(set->ways);
    free(set->found);
    free(set);
}

watch_result watch_descriptor(poll_set& set, int descriptor, const watch_request& wanted) {
    const descriptor_kind kind = kind_of(descriptor);
    const turn own(set.lock);
    if (watch* const before = find(set, descriptor))
        drop(set, *before);
    if (kind == descriptor_kind::file)
        return watch_result::always_ready;
    if (kind == descriptor_kind::none) {
        leave_fault(fault_code::bad_descriptor);
        return watch_result::failed;
    }
    watch* const made = make_watch(set, descriptor, kind, wanted);
    if (made == nullptr)
        return watch_result::failed;
    place_of(set, descriptor) = made;
    if (!start(set, *made)) {
        const fault_keeper why;
        drop(set, *made);
        return watch_result::failed;
    }
    if (set.forgotten > most_forgotten)
        fetch_forgotten(set);
    return watch_result::watched;
}

void forget_descriptor(poll_set& set, int descriptor) {
    const turn own(set.lock);
    if (watch* const one = find(set, descriptor))
        drop(set, *one);
    if (set.forgotten > most_forgotten)
        fetch_forgotten(set);
}

bool renew_poll_set(poll_set& set) {
    const turn own(set.lock);
    drop_all(set);
    return true;
}

// Without the memory the wait reports what has room, and the rest in the next one.
void prepare_wait(poll_set& set, size_t watched) {
    if (watched <= INT_MAX)
        grow(set.found, set.room, watched);
}

int wait_for_descriptors(poll_set& set, int timeout_milliseconds) {
    const uint64_t end = moment_after(timeout_milliseconds);
    growing_pause pause;
    set.found_count = 0;
    for (bool after_pause = timeout_milliseconds == 0;; after_pause = true) {
        const bool pauses = look_around(set, after_pause);
        const int left = set.found_count != 0 ? 0 : milliseconds_until(end);
        if (!take_answers(set, pauses ? pause.next(left) : left))
            return -1;
        if (set.found_count != 0 || left == 0)
            return static_cast<int>(set.found_count);
    }
}

bool wait_sees_changes() {
    return true;
}

ready_descriptor ready_at(const poll_set& set, int index) {
    return set.found[index];
}

} // namespace ombrel::platform
