#include <ombrel/heap_report.h>

#include <algorithm>
#include <cstring>

#include <ombrel/heap.h>

#include "core/heap_ptr.h"
#include "diagnostics/queued_text.h"

using namespace ombrel;

namespace {

constexpr const char report_tag[] = "ombrel_push_heap_report";
constexpr size_t most_sites = 4096;

/// What a report allocates for itself and does not tell of. Null stands for nothing.
struct own_blocks {
    const void* sites = nullptr;
    const void* buffer = nullptr;
};

size_t length_of(const ombrel_heap_block_t& block) {
    return strnlen(block.m_tag, def_ombrel_heap_site_tag_size - 1);
}

/// The call sites of a walk over the blocks, in the caller's array, where each is found by its hash. It runs
/// with the heap locked: no allocation here.
class site_table {
public:
    site_table(ombrel_heap_site_t* sites, size_t room, const own_blocks& hidden)
        : sites_(sites), room_(sites != nullptr ? room : 0), hidden_(hidden) {
        if (room_ > 0)
            memset(sites_, 0, room_ * sizeof *sites_);
    }

    static int count(const ombrel_heap_block_t* block, void* table) {
        static_cast<site_table*>(table)->add(*block);
        return 0;
    }

    /// Moves the sites to the front and sorts them. @return their number
    size_t finish() {
        auto* const end =
            std::remove_if(sites_, sites_ + room_, [](const auto& site) { return site.m_blocks == 0; });
        std::sort(sites_, end, comes_first);
        memset(end, 0, static_cast<size_t>(sites_ + room_ - end) * sizeof *sites_);
        return static_cast<size_t>(end - sites_);
    }

    const ombrel_heap_site_t& others() const { return others_; }

private:
    static bool comes_first(const ombrel_heap_site_t& a, const ombrel_heap_site_t& b) {
        if (a.m_size != b.m_size)
            return a.m_size > b.m_size;
        const int order = strcmp(a.m_tag, b.m_tag);
        return order != 0 ? order < 0 : a.m_line < b.m_line;
    }

    static bool is_of(const ombrel_heap_site_t& site, const ombrel_heap_block_t& block, size_t length) {
        return site.m_line == block.m_line && memcmp(site.m_tag, block.m_tag, length) == 0 &&
               site.m_tag[length] == '\0';
    }

    static size_t hash_of(const ombrel_heap_block_t& block, size_t length) {
        uint64_t hash = block.m_line;
        for (size_t i = 0; i < length; i++)
            hash = (hash ^ static_cast<unsigned char>(block.m_tag[i])) * 0x100000001B3u;
        return static_cast<size_t>(hash ^ hash >> 32);
    }

    void add(const ombrel_heap_block_t& block) {
        const void* const data = block.m_self + 1;
        if (data == hidden_.sites || data == hidden_.buffer)
            return;
        ombrel_heap_site_t& site = place_of(block);
        site.m_blocks++;
        site.m_size += block.m_size + def_ombrel_heap_overhead;
    }

    ombrel_heap_site_t& place_of(const ombrel_heap_block_t& block) {
        const size_t length = length_of(block);
        const size_t first = room_ > 0 ? hash_of(block, length) % room_ : 0;
        for (size_t i = 0; i < room_; i++) {
            ombrel_heap_site_t& site = sites_[(first + i) % room_];
            if (site.m_blocks == 0) {
                memcpy(site.m_tag, block.m_tag, length);
                site.m_line = block.m_line;
                return site;
            }
            if (is_of(site, block, length))
                return site;
        }
        return others_;
    }

    ombrel_heap_site_t* sites_;
    size_t room_;
    own_blocks hidden_;
    ombrel_heap_site_t others_{};
};

size_t collect(ombrel_heap_site_t* sites, size_t room, ombrel_heap_site_t& others, const own_blocks& hidden) {
    site_table table(sites, room, hidden);
    ombrel_get_alloc_list(0, site_table::count, &table);
    others = table.others();
    return room > 0 && sites != nullptr ? table.finish() : 0;
}

constexpr const char site_line[] = "%12llu bytes in %8llu blocks  %s:%lu\n";
constexpr const char others_line[] = "%12llu bytes in %8llu blocks  other places\n";

bool push_site(ombrel_buffer_t* buffer, const char* format, const ombrel_heap_site_t& site) {
    return ombrel_push_printf(buffer, format, static_cast<unsigned long long>(site.m_size),
                              static_cast<unsigned long long>(site.m_blocks), site.m_tag, site.m_line) != 0;
}

bool push_sums(ombrel_buffer_t* buffer, const ombrel_heap_site_t* sites, size_t count,
               const ombrel_heap_site_t& others, size_t peak) {
    ombrel_heap_site_t sum = others;
    for (size_t i = 0; i < count; i++) {
        sum.m_blocks += sites[i].m_blocks;
        sum.m_size += sites[i].m_size;
    }
    return ombrel_push_printf(buffer, "%llu live blocks, %llu bytes, peak %llu\n",
                              static_cast<unsigned long long>(sum.m_blocks),
                              static_cast<unsigned long long>(sum.m_size),
                              static_cast<unsigned long long>(peak)) != 0;
}

/// `peak` is the heap's before the report, and `own_buffer` the buffer when it is the report's own, else
/// null.
int push_report(ombrel_buffer_t* buffer, size_t peak, const void* own_buffer) {
    // Other threads may bring a few sites more before they are counted.
    const size_t room = std::min(ombrel_get_alloc_count() + 64, most_sites);
    const heap_ptr<ombrel_heap_site_t> sites(static_cast<ombrel_heap_site_t*>(
        ombrel_alloc_tag(room * sizeof(ombrel_heap_site_t), report_tag, __LINE__)));
    if (!sites)
        return -1;
    ombrel_heap_site_t others;
    const size_t count = collect(sites.get(), room, others, {sites.get(), own_buffer});
    bool good = push_sums(buffer, sites.get(), count, others, peak);
    for (size_t i = 0; good && i < count; i++)
        good = push_site(buffer, site_line, sites.get()[i]);
    return good && (others.m_blocks == 0 || push_site(buffer, others_line, others)) ? 0 : -1;
}

} // namespace

size_t ombrel_get_heap_sites(ombrel_heap_site_t* sites, size_t room, ombrel_heap_site_t* others) {
    ombrel_heap_site_t rest;
    const size_t count = collect(sites, room, rest, {});
    if (others != nullptr)
        *others = rest;
    return count;
}

int ombrel_push_heap_report(ombrel_buffer_t* buffer) {
    const size_t peak = ombrel_get_alloc_peak_size();
    return push_or_print(buffer, report_tag, [=](ombrel_buffer_t* to) {
        return push_report(to, peak, buffer == nullptr ? to : nullptr);
    });
}
