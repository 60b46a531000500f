#include <ombrel/network_interface.h>

#include <ombrel/heap.h>

#include "network/record_block.h"
#include "platform/network_interface.h"

using namespace ombrel;

namespace {

/// What a list has of each kind.
struct list_counts {
    size_t interfaces = 0, statistics = 0, addresses = 0;
};

bool count_records(platform::interface_list& host, list_counts& counts) {
    ombrel_network_interface_t one;
    ombrel_interface_statistics_t statistics;
    ombrel_interface_address_t address;
    bool has_statistics = false;
    uint32_t index = 0;
    int step;
    while ((step = host.next(one, statistics, has_statistics)) == 1) {
        counts.interfaces++;
        counts.statistics += has_statistics ? 1 : 0;
    }
    while (step == 0 && (step = host.next_address(index, address)) == 1) {
        counts.addresses++;
        step = 0;
    }
    host.rewind();
    return step == 0;
}

/// The records of a list in its one block. The first interface starts it, so that freeing it frees the list.
class list_builder {
public:
    explicit list_builder(const list_counts& counts) : counts_(counts) {}

    bool allocate(const char* function, unsigned long line) {
        record_block block;
        block.plan<ombrel_network_interface_t>(counts_.interfaces);
        block.plan<ombrel_interface_statistics_t>(counts_.statistics);
        block.plan<ombrel_interface_address_t>(counts_.addresses);
        if (!block.allocate(function, line))
            return false;
        interfaces_ = block.take<ombrel_network_interface_t>(counts_.interfaces);
        statistics_ = block.take<ombrel_interface_statistics_t>(counts_.statistics);
        addresses_ = block.take<ombrel_interface_address_t>(counts_.addresses);
        return true;
    }

    ombrel_network_interface_t* build(platform::interface_list& host) {
        add_interfaces(host);
        add_addresses(host);
        return interfaces_;
    }

private:
    void add_interfaces(platform::interface_list& host) {
        ombrel_interface_statistics_t* next_statistics = statistics_;
        bool has_statistics = false;
        ombrel_interface_statistics_t statistics;
        for (ombrel_network_interface_t* one = interfaces_; one < interfaces_ + counts_.interfaces; one++) {
            host.next(*one, statistics, has_statistics);
            host.ask_for_speed(*one);
            if (has_statistics) {
                *next_statistics = statistics;
                one->m_statistics = next_statistics++;
            }
            one->m_next = one + 1 < interfaces_ + counts_.interfaces ? one + 1 : nullptr;
        }
    }

    // Those of one interface mostly follow each other, so the search begins where the last one ended.
    ombrel_network_interface_t* find(uint32_t index) {
        for (size_t looks = 0; looks < counts_.interfaces; looks++) {
            if (interfaces_[at_].m_index == index)
                return &interfaces_[at_];
            at_ = at_ + 1 < counts_.interfaces ? at_ + 1 : 0;
        }
        return nullptr;
    }

    void add_addresses(platform::interface_list& host) {
        uint32_t index = 0;
        ombrel_interface_address_t* last = nullptr;
        const ombrel_network_interface_t* home = nullptr;
        for (ombrel_interface_address_t* one = addresses_; host.next_address(index, *one) == 1; one++) {
            ombrel_network_interface_t* const target = find(index);
            // An interface that came between the two answers is left to the next list.
            if (target == nullptr)
                continue;
            last = target == home ? last : last_of(*target);
            (last != nullptr ? last->m_next : target->m_address) = one;
            last = one;
            home = target;
        }
    }

    static ombrel_interface_address_t* last_of(const ombrel_network_interface_t& one) {
        ombrel_interface_address_t* last = one.m_address;
        while (last != nullptr && last->m_next != nullptr)
            last = last->m_next;
        return last;
    }

    list_counts counts_;
    ombrel_network_interface_t* interfaces_ = nullptr;
    ombrel_interface_statistics_t* statistics_ = nullptr;
    ombrel_interface_address_t* addresses_ = nullptr;
    size_t at_ = 0;
};

} // namespace

ombrel_network_interface_t* ombrel_open_network_interface(void) {
    platform::interface_list host;
    list_counts counts;
    if (!host.is_open() || !count_records(host, counts))
        return nullptr;
    if (counts.interfaces == 0)
        return leave_fault(fault_code::not_found), nullptr;
    list_builder builder(counts);
    return builder.allocate(__func__, __LINE__) ? builder.build(host) : nullptr;
}

int ombrel_close_network_interface(ombrel_network_interface_t* list) {
    return ombrel_check_free_tag(list, __func__, __LINE__);
}
