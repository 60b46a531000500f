#include <ombrel/select.h>

#include <algorithm>
#include <array>
#include <cstring>

#include <ombrel/heap.h>

#include "core/deadline.h"
#include "core/fault.h"
#include "core/heap_ptr.h"
#include "platform/poll.h"

using namespace ombrel;
using platform::poll_request;
using platform::readiness;

namespace {

constexpr int all_kinds = def_ombrel_select_read | def_ombrel_select_write | def_ombrel_select_exception;
constexpr int most_calls = 10;

constexpr size_t sets_per_record = 6;
constexpr uint32_t least_capacity = 264;
constexpr uint32_t doubling_limit = 4100;
constexpr uint32_t linear_step = 516;

static_assert(sizeof(ombrel_select_set_t) <= least_capacity);
static_assert(platform::most_poll_requests >= 3 * def_ombrel_select_set_size);

/// What a record keeps for one kind of readiness.
struct kind_place {
    int flag;
    readiness kind;
    int32_t ombrel_select_t::*count;
    ombrel_select_set_t* ombrel_select_t::*interest;
    ombrel_select_set_t* ombrel_select_t::*result;
};

constexpr kind_place kinds[] = {
    {def_ombrel_select_read, readiness::read, &ombrel_select_t::m_read_count, &ombrel_select_t::m_read,
     &ombrel_select_t::m_read_result},
    {def_ombrel_select_write, readiness::write, &ombrel_select_t::m_write_count, &ombrel_select_t::m_write,
     &ombrel_select_t::m_write_result},
    {def_ombrel_select_exception, readiness::exception, &ombrel_select_t::m_exception_count,
     &ombrel_select_t::m_exception, &ombrel_select_t::m_exception_result},
};

int32_t* end_of(ombrel_select_set_t& set) {
    return set.m_socket + set.m_count;
}

int32_t* find(ombrel_select_set_t& set, int s) {
    return std::find(set.m_socket, end_of(set), s);
}

bool contains(ombrel_select_set_t& set, int s) {
    return find(set, s) != end_of(set);
}

/// A full set stays as it is.
void insert(ombrel_select_set_t& set, int s) {
    if (set.m_count < def_ombrel_select_set_size)
        set.m_socket[set.m_count++] = s;
}

/// Closes the gap by moving the later entries; false when the set does not hold the socket.
bool erase(ombrel_select_set_t& set, int s) {
    int32_t* const place = find(set, s);
    if (place == end_of(set))
        return false;
    std::copy(place + 1, end_of(set), place);
    set.m_socket[--set.m_count] = 0;
    return true;
}

/// Points the six sets into a storage block.
void lay_out(ombrel_select_t& record, void* storage, uint32_t capacity) {
    const auto set_at = [=](size_t i) {
        return reinterpret_cast<ombrel_select_set_t*>(static_cast<char*>(storage) + i * capacity);
    };
    record.m_storage = storage;
    record.m_capacity = capacity;
    for (size_t i = 0; i < std::size(kinds); i++) {
        record.*kinds[i].interest = set_at(i);
        record.*kinds[i].result = set_at(i + std::size(kinds));
    }
}

bool is_capacity(uint64_t capacity) {
    return capacity <= UINT32_MAX && capacity <= SIZE_MAX / sets_per_record;
}

/// The capacity that a descriptor asks for: doubled while small, then grown in steps.
uint64_t grown_capacity(uint32_t capacity, int s) {
    const uint64_t needed = static_cast<uint64_t>(s) * 4 + 8;
    uint64_t result = capacity;
    while (result < needed && result <= doubling_limit)
        result *= 2;
    if (result < needed)
        result += (needed - result + linear_step - 1) / linear_step * linear_step;
    return result;
}

bool reallocate(ombrel_select_t& record, uint32_t capacity, const char* tag) {
    void* const storage = ombrel_calloc_tag(sets_per_record, capacity, tag, __LINE__);
    if (storage == nullptr)
        return false;
    const ombrel_select_t old = record;
    lay_out(record, storage, capacity);
    for (const kind_place& place : kinds)
        *(record.*place.interest) = *(old.*place.interest);
    ombrel_free_tag(old.m_storage, tag, __LINE__);
    return true;
}

/// Makes room for a descriptor and counts it as the highest when it is.
bool cover(ombrel_select_t& record, int s, const char* tag) {
    if (s <= record.m_highest_socket)
        return true;
    const uint64_t capacity = std::max<uint64_t>(grown_capacity(record.m_capacity, s), least_capacity);
    if (!is_capacity(capacity))
        return false;
    if (capacity != record.m_capacity && !reallocate(record, static_cast<uint32_t>(capacity), tag))
        return false;
    record.m_highest_socket = s;
    return true;
}

/// After a socket left: the highest of those that the sets hold, which none that never fitted is.
void lower_highest(ombrel_select_t& record, int s) {
    if (s != record.m_highest_socket)
        return;
    int32_t highest = -1;
    for (const kind_place& place : kinds) {
        ombrel_select_set_t& set = *(record.*place.interest);
        for (const int32_t* one = set.m_socket; one != end_of(set); one++)
            highest = std::max(highest, *one);
    }
    record.m_highest_socket = highest;
}

bool add(ombrel_select_t& record, int s, int flags, const char* tag) {
    if ((flags & all_kinds) == 0)
        return true;
    if (!cover(record, s, tag))
        return false;
    for (const kind_place& place : kinds) {
        ombrel_select_set_t& set = *(record.*place.interest);
        if ((flags & place.flag) == 0 || contains(set, s))
            continue;
        insert(set, s);
        // Counted even when the set was full, by design.
        record.*place.count += 1;
    }
    return true;
}

void remove(ombrel_select_t& record, int s, int flags) {
    for (const kind_place& place : kinds) {
        if ((flags & place.flag) != 0 && erase(*(record.*place.interest), s))
            record.*place.count -= 1;
    }
    lower_highest(record, s);
}

bool holds_any(const ombrel_select_t& record) {
    return std::any_of(std::begin(kinds), std::end(kinds),
                       [&](const kind_place& place) { return (record.*place.interest)->m_count != 0; });
}

using request_table = std::array<poll_request, platform::most_poll_requests>;

size_t collect_requests(const ombrel_select_t& record, request_table& all) {
    size_t count = 0;
    for (const kind_place& place : kinds) {
        if (record.*place.count == 0)
            continue;
        ombrel_select_set_t& set = *(record.*place.interest);
        for (const int32_t* one = set.m_socket; one != end_of(set); one++)
            all[count++] = {*one, place.kind, false};
    }
    return count;
}

void store_results(ombrel_select_t& record, const request_table& all, size_t count) {
    for (const kind_place& place : kinds) {
        ombrel_select_set_t& set = *(record.*place.result);
        set = {};
        for (size_t i = 0; i < count; i++) {
            if (all[i].kind == place.kind && all[i].ready)
                insert(set, all[i].descriptor);
        }
    }
}

/// Waits again after interruptions, within the time limit and the limit of calls.
int wait_again(poll_request* requests, size_t count, int timeout_ms) {
    const deadline limit(timeout_ms);
    int result = -1;
    for (int calls = 0; calls < most_calls; calls++) {
        result = platform::poll_descriptors(requests, count, limit.left());
        if (!failed_by(result, fault_code::interrupted) || limit.passed())
            break;
    }
    return result;
}

} // namespace

int ombrel_single_select(int s, int flags, int timeout_ms) {
    if (s == -1)
        return platform::poll_descriptors(nullptr, 0, timeout_ms);
    if (s < 0) {
        leave_fault(fault_code::bad_descriptor);
        return -1;
    }
    poll_request asked[std::size(kinds)];
    size_t count = 0;
    for (const kind_place& place : kinds) {
        if ((flags & place.flag) != 0)
            asked[count++] = {s, place.kind, false};
    }
    const bool retry = (flags & def_ombrel_select_retry) != 0;
    const int result =
        retry ? wait_again(asked, count, timeout_ms) : platform::poll_descriptors(asked, count, timeout_ms);
    if (result <= 0)
        return result;
    int ready = 0;
    for (size_t i = 0, next = 0; i < std::size(kinds); i++) {
        if ((flags & kinds[i].flag) != 0 && asked[next++].ready)
            ready |= kinds[i].flag;
    }
    return ready;
}

ombrel_select_t* ombrel_open_select_ex(int max_sockets) {
    const uint64_t sockets = static_cast<uint64_t>(std::max(max_sockets, def_ombrel_select_set_size));
    const uint64_t capacity = std::max<uint64_t>(sockets * 4 + 8, least_capacity);
    if (!is_capacity(capacity))
        return nullptr;
    heap_ptr<ombrel_select_t> record(allocate_record<ombrel_select_t>(__func__, __LINE__));
    if (!record)
        return nullptr;
    *record = {};
    record->m_highest_socket = -1;
    void* const storage =
        ombrel_calloc_tag(sets_per_record, static_cast<size_t>(capacity), __func__, __LINE__);
    if (storage == nullptr)
        return nullptr;
    lay_out(*record, storage, static_cast<uint32_t>(capacity));
    return record.release();
}

ombrel_select_t* ombrel_open_select(void) {
    return ombrel_open_select_ex(0);
}

int ombrel_close_select(ombrel_select_t* record) {
    if (record == nullptr)
        return -1;
    ombrel_free_tag(record->m_storage, __func__, __LINE__);
    return ombrel_free_tag(record, __func__, __LINE__);
}

int ombrel_add_select(ombrel_select_t* record, int s, int flags) {
    if (record == nullptr || s < 0)
        return -1;
    return add(*record, s, flags, __func__) ? 0 : -1;
}

int ombrel_del_select(ombrel_select_t* record, int s, int flags) {
    if (record == nullptr || s < 0)
        return -1;
    remove(*record, s, flags);
    return 0;
}

int ombrel_set_select(ombrel_select_t* record, int s, int flags) {
    if (record == nullptr || s < 0)
        return -1;
    if (!add(*record, s, flags, __func__))
        return -1;
    remove(*record, s, ~flags);
    return 0;
}

int ombrel_clear_select(ombrel_select_t* record) {
    if (record == nullptr)
        return -1;
    memset(record->m_storage, 0, sets_per_record * record->m_capacity);
    for (const kind_place& place : kinds)
        record->*place.count = 0;
    record->m_highest_socket = -1;
    return 0;
}

int ombrel_select_dispatch(ombrel_select_t* record, int timeout_ms) {
    if (record == nullptr)
        return -1;
    request_table all;
    const size_t count = collect_requests(*record, all);
    const int result = platform::poll_descriptors(all.data(), count, timeout_ms);
    store_results(*record, all, result > 0 ? count : 0);
    return result;
}

int ombrel_is_select(const ombrel_select_t* record, int s, int flags) {
    if (record == nullptr)
        return -1;
    const bool asks_any = (flags & def_ombrel_select_any) != 0;
    if (asks_any && !holds_any(*record))
        return 0;
    if (s > record->m_highest_socket)
        return -1;
    int result = asks_any ? def_ombrel_select_any : 0;
    for (const kind_place& place : kinds) {
        if ((flags & place.flag) != 0 && contains(*(record->*place.result), s))
            result |= place.flag;
    }
    return result;
}

int ombrel_get_select_flags(const ombrel_select_t* record, int s) {
    if (record == nullptr || s > record->m_highest_socket)
        return 0;
    int result = 0;
    for (const kind_place& place : kinds) {
        if (contains(*(record->*place.interest), s))
            result |= place.flag;
    }
    return result;
}
