#include <new>

#include "container/packet/fragment_head.h"
#include "container/packet/fragment_store.h"
#include "core/fault.h"
#include "platform/clock.h"

using namespace ombrel;

struct ombrel_fragment_assembler_ts {
    ombrel_fragment_assembler_ts(const ombrel_fragment_options_t& settings, call_site site)
        : options(settings), caller(site), store(options, statistics, caller) {}

    ombrel_fragment_options_t options;
    ombrel_fragment_statistics_t statistics{};
    call_site caller;
    fragment_store store;
    heap_ptr<unsigned char> whole; ///< the datagram that was given last
    int64_t now = INT64_MIN;
};

namespace {

using assembler_t = ombrel_fragment_assembler_t;

int refuse(fault_code why) {
    leave_fault(why);
    return -1;
}

int64_t moment(int64_t latest, int64_t now_ms) {
    const int64_t now =
        now_ms >= 0
            ? now_ms
            : static_cast<int64_t>(platform::monotonic_nanoseconds() / platform::nanoseconds_per_millisecond);
    return std::max(latest, now);
}

bool are_options(const ombrel_fragment_options_t& options) {
    return options.m_time_limit > 0 && options.m_memory_limit > 0 && options.m_datagram_limit > 0 &&
           options.m_fragment_limit > 0 && options.m_size_limit > 0 && options.m_size_limit <= 0xFFFFFFFF;
}

bool is_sender(const void* sender, size_t size) {
    return (sender != nullptr || size == 0) && size <= def_ombrel_fragment_sender_max;
}

/// What came, and from whom.
struct arrival {
    const void* sender;
    size_t sender_size;
    fragment_head head;
    const unsigned char* data;
};

/// Room for a datagram; null when memory has run out.
unsigned char* allocate_whole(assembler_t& assembler, size_t size) {
    assembler.whole.reset(static_cast<unsigned char*>(
        ombrel_alloc_tag(std::max<size_t>(size, 1), assembler.caller.tag, assembler.caller.line)));
    return assembler.whole.get();
}

int give(assembler_t& assembler, const fragment_head& head, ombrel_datagram_t& datagram) {
    datagram = {assembler.whole.get(), head.total, head.identifier};
    assembler.statistics.m_datagrams++;
    return 1;
}

/// A datagram that needs no putting together.
int give_single(assembler_t& assembler, const arrival& came, ombrel_datagram_t& datagram) {
    unsigned char* const whole = allocate_whole(assembler, came.head.total);
    if (whole == nullptr)
        return refuse(fault_code::no_memory);
    if (came.head.data_size > 0)
        memcpy(whole, came.data, came.head.data_size);
    return give(assembler, came.head, datagram);
}

int refuse_datagram(assembler_t& assembler, held_datagram& held, int64_t& counter, fault_code why) {
    counter++;
    assembler.statistics.m_refused++;
    assembler.store.settle(held, datagram_state::refused, assembler.now);
    return refuse(why);
}

/// Whether a fragment is one more of a datagram: 1; otherwise what the call gives.
int check(assembler_t& assembler, held_datagram& held, const arrival& came) {
    ombrel_fragment_statistics_t& statistics = assembler.statistics;
    if (held.state == datagram_state::refused) {
        statistics.m_refused++;
        return refuse(fault_code::violation);
    }
    if (held.state == datagram_state::given) {
        statistics.m_duplicates++;
        return 0;
    }
    if (held.total != came.head.total)
        return refuse_datagram(assembler, held, statistics.m_contradicted, fault_code::violation);
    switch (held.pieces.compare(came.head.offset, came.data, came.head.data_size)) {
    case fragment_pieces::same:
        statistics.m_duplicates++;
        return 0;
    case fragment_pieces::overlapping:
        return refuse_datagram(assembler, held, statistics.m_overlapped, fault_code::violation);
    default:
        return held.pieces.count() < assembler.options.m_fragment_limit
                   ? 1
                   : refuse_datagram(assembler, held, statistics.m_crumbled, fault_code::too_large);
    }
}

/// The last piece makes a datagram whole.
int complete(assembler_t& assembler, held_datagram& held, const arrival& came, ombrel_datagram_t& datagram) {
    unsigned char* const whole = allocate_whole(assembler, held.total);
    if (whole == nullptr)
        return refuse(fault_code::no_memory);
    held.pieces.join(whole);
    memcpy(whole + came.head.offset, came.data, came.head.data_size);
    assembler.store.settle(held, datagram_state::given, assembler.now);
    return give(assembler, came.head, datagram);
}

int add(assembler_t& assembler, held_datagram* held, const arrival& came) {
    fragment_store& store = assembler.store;
    const bool is_new = held == nullptr;
    const size_t cost = is_new ? fragment_store::cost_of_new() + fragment_pieces().cost(came.head.data_size)
                               : held->pieces.cost(came.head.data_size);
    if (!store.make_room(cost, is_new ? 1 : 0))
        return refuse(fault_code::too_large);
    // Room may have been made by giving up the datagram itself.
    if (!is_new && (held = store.find(store.find_sender(came.sender, came.sender_size),
                                      came.head.identifier)) == nullptr)
        return refuse(fault_code::too_large);
    if (is_new)
        held = store.add(came.sender, came.sender_size, came.head.identifier, came.head.total, assembler.now);
    if (held == nullptr)
        return refuse(fault_code::no_memory);
    if (store.add_piece(*held, came.head.offset, came.data, came.head.data_size))
        return 0;
    if (is_new)
        store.remove(*held);
    return refuse(fault_code::no_memory);
}

int take(assembler_t& assembler, const arrival& came, ombrel_datagram_t& datagram) {
    fragment_store& store = assembler.store;
    held_datagram* const held =
        store.find(store.find_sender(came.sender, came.sender_size), came.head.identifier);
    if (held == nullptr && came.head.data_size == came.head.total)
        return give_single(assembler, came, datagram);
    if (held != nullptr) {
        if (const int outcome = check(assembler, *held, came); outcome != 1)
            return outcome;
        if (held->pieces.received() + came.head.data_size == held->total)
            return complete(assembler, *held, came, datagram);
    }
    return add(assembler, held, came);
}

} // namespace

int ombrel_init_fragment_options(ombrel_fragment_options_t* options) {
    if (options == nullptr)
        return refuse(fault_code::invalid);
    *options = {30000, 4 << 20, 1024, 1024, 65536};
    return 0;
}

ombrel_fragment_assembler_t* ombrel_open_fragment_assembler_tag(const ombrel_fragment_options_t* options,
                                                                const char* function, unsigned long line) {
    ombrel_fragment_options_t settings;
    ombrel_init_fragment_options(&settings);
    if (options != nullptr)
        settings = *options;
    const bool is_good = are_options(settings);
    void* const block = is_good ? ombrel_alloc_tag(sizeof(assembler_t), function, line) : nullptr;
    if (block == nullptr) {
        leave_fault(is_good ? fault_code::no_memory : fault_code::invalid);
        return nullptr;
    }
    return new (block) assembler_t(settings, {function, line});
}

int ombrel_close_fragment_assembler(ombrel_fragment_assembler_t* assembler) {
    if (assembler == nullptr)
        return 0;
    assembler->~assembler_t();
    ombrel_free(assembler);
    return 0;
}

int ombrel_fragment_assembler_take(ombrel_fragment_assembler_t* assembler, const void* sender,
                                   size_t sender_size, const void* fragment, size_t size, int64_t now_ms,
                                   ombrel_datagram_t* datagram) {
    if (assembler == nullptr || !is_sender(sender, sender_size) || fragment == nullptr ||
        datagram == nullptr || now_ms < def_ombrel_fragment_now)
        return refuse(fault_code::invalid);
    assembler->now = moment(assembler->now, now_ms);
    assembler->whole.reset();
    assembler->store.expire(assembler->now);
    assembler->statistics.m_fragments++;
    const auto* const bytes = static_cast<const unsigned char*>(fragment);
    fragment_head head{};
    const bool is_sound = head.get(bytes, size);
    if (!is_sound || head.total > assembler->options.m_size_limit) {
        assembler->statistics.m_malformed++;
        return refuse(is_sound ? fault_code::too_large : fault_code::violation);
    }
    return take(*assembler, {sender, sender_size, head, bytes + fragment_head::size}, *datagram);
}

int64_t ombrel_fragment_assembler_expire(ombrel_fragment_assembler_t* assembler, int64_t now_ms) {
    if (assembler == nullptr || now_ms < def_ombrel_fragment_now)
        return refuse(fault_code::invalid);
    assembler->now = moment(assembler->now, now_ms);
    return assembler->store.expire(assembler->now);
}

int64_t ombrel_fragment_assembler_get_wait(const ombrel_fragment_assembler_t* assembler, int64_t now_ms) {
    if (assembler == nullptr || now_ms < def_ombrel_fragment_now)
        return refuse(fault_code::invalid);
    return assembler->store.wait(moment(assembler->now, now_ms));
}

int64_t ombrel_fragment_assembler_forget(ombrel_fragment_assembler_t* assembler, const void* sender,
                                         size_t sender_size) {
    if (assembler == nullptr || !is_sender(sender, sender_size))
        return refuse(fault_code::invalid);
    const fragment_sender* const from = assembler->store.find_sender(sender, sender_size);
    const auto count = from != nullptr ? static_cast<int64_t>(from->count) : 0;
    for (int64_t i = 0; i < count; i++)
        assembler->store.remove(*from->first);
    return count;
}

int ombrel_fragment_assembler_get_statistics(const ombrel_fragment_assembler_t* assembler,
                                             ombrel_fragment_statistics_t* statistics) {
    if (assembler == nullptr || statistics == nullptr)
        return refuse(fault_code::invalid);
    *statistics = assembler->statistics;
    statistics->m_held_datagrams = static_cast<int64_t>(assembler->store.count());
    statistics->m_held_bytes = static_cast<int64_t>(assembler->store.bytes());
    statistics->m_held_senders = static_cast<int64_t>(assembler->store.sender_count());
    return 0;
}
