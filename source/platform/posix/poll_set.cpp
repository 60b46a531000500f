// By poll(), for hosts without a better call: the cost follows what is watched. OMBREL_PLAIN_POLL takes it
// into a build for testing.
#if !defined(__linux__) || defined(OMBREL_PLAIN_POLL)

#include "platform/poll.h"

#include <cstdlib>
#include <cstring>
#include <limits.h>

#include "platform/posix/poll_kinds.h"

namespace ombrel::platform {

struct poll_set {
    size_t count, room;        // of watched and its generations
    pollfd* watched;           // changed under the caller's lock
    uint32_t* generations;     // beside watched
    size_t waiting, wait_room; // of the copies that a wait uses without that lock
    pollfd* wait_on;
    uint32_t* wait_generations;
};

namespace {

size_t find(const poll_set& set, int descriptor) {
    size_t i = 0;
    while (i < set.count && set.watched[i].fd != descriptor)
        i++;
    return i;
}

bool grow(pollfd*& records, uint32_t*& generations, size_t& room, size_t wanted) {
    if (wanted <= room)
        return true;
    if (wanted > INT_MAX / 2 / sizeof(pollfd))
        return false;
    const size_t larger = wanted * 2;
    auto* more_generations = static_cast<uint32_t*>(realloc(generations, larger * sizeof(uint32_t)));
    if (more_generations == nullptr)
        return false;
    generations = more_generations;
    auto* more_records = static_cast<pollfd*>(realloc(records, larger * sizeof(pollfd)));
    if (more_records == nullptr)
        return false;
    records = more_records;
    room = larger;
    return true;
}

} // namespace

poll_set* open_poll_set() {
    return static_cast<poll_set*>(calloc(1, sizeof(poll_set)));
}

void close_poll_set(poll_set* set) {
    free(set->watched);
    free(set->generations);
    free(set->wait_on);
    free(set->wait_generations);
    free(set);
}

watch_result watch_descriptor(poll_set& set, int descriptor, const watch_request& wanted) {
    if (!is_open_descriptor(descriptor))
        return watch_result::failed;
    const size_t i = find(set, descriptor);
    if (i == set.count) {
        if (!grow(set.watched, set.generations, set.room, set.count + 1))
            return watch_result::failed;
        set.count++;
    }
    set.watched[i] = {descriptor, static_cast<short>(to_poll(wanted.bits)), 0};
    set.generations[i] = wanted.generation;
    return watch_result::watched;
}

void forget_descriptor(poll_set& set, int descriptor) {
    const size_t i = find(set, descriptor);
    if (i == set.count)
        return;
    set.count--;
    set.watched[i] = set.watched[set.count];
    set.generations[i] = set.generations[set.count];
}

bool renew_poll_set(poll_set& set) {
    set.count = 0;
    return true;
}

void prepare_wait(poll_set& set, size_t) {
    set.waiting = 0;
    if (set.count == 0 || !grow(set.wait_on, set.wait_generations, set.wait_room, set.count))
        return;
    memcpy(set.wait_on, set.watched, set.count * sizeof(pollfd));
    memcpy(set.wait_generations, set.generations, set.count * sizeof(uint32_t));
    set.waiting = set.count;
}

int wait_for_descriptors(poll_set& set, int timeout_milliseconds) {
    const int count = poll_for_kinds(set.wait_on, set.waiting, timeout_milliseconds);
    if (count < 0)
        return -1;
    int kept = 0;
    for (size_t i = 0; i < set.waiting && kept < count; i++)
        if (set.wait_on[i].revents != 0) {
            set.wait_on[kept] = set.wait_on[i];
            set.wait_generations[kept] = set.wait_generations[i];
            kept++;
        }
    return kept;
}

bool wait_sees_changes() {
    return false;
}

ready_descriptor ready_at(const poll_set& set, int index) {
    return {set.wait_on[index].fd, set.wait_generations[index], kinds_at(set.wait_on[index])};
}

} // namespace ombrel::platform

#endif
