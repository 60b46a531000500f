#include <cstdint>
#include <cstdio>

#include <ombrel/dump.h>
#include <ombrel/exception.h>
#include <ombrel/heap.h>

#include "core/block.h"
#include "platform/system.h"

namespace ombrel {

namespace {

// What can be read of [address, address + size), 16 bytes at a time, so that no look can fault.
void dump_readable(uintptr_t address, size_t size) {
    for (size_t position = 0; position < size; position += 16) {
        unsigned char line[16];
        const size_t bytes = size - position < sizeof line ? size - position : sizeof line;
        if (!platform::copy_if_readable(line, reinterpret_cast<void*>(address + position), bytes))
            return;
        ombrel_dump_ex(0, 0, line, bytes, address + position);
    }
}

} // namespace

void report_damaged_block(const void* header, const char* tag, unsigned long line) {
    ombrel_heap_block_t seen{};
    uint32_t trailer = 0;
    platform::copy_if_readable(&seen, header, sizeof seen);
    platform::copy_if_readable(&trailer, trailer_of(header, seen.m_size), sizeof trailer);
    fprintf(
        stderr,
        "fatal error: invalid magic code (free, magic_code=%08lXH, size=%zu, caller=\"%s:%lu\", pid=%d)\n",
        static_cast<unsigned long>(trailer), seen.m_size, tag, line, platform::process_id());
    // No block was ever larger than all live ones together: a greater size word is damaged, and the dump ends
    // with the header.
    const bool has_true_size = seen.m_size <= ombrel_get_alloc_peak_size();
    const auto start = reinterpret_cast<uintptr_t>(header);
    dump_readable(start, has_true_size ? seen.m_size + def_ombrel_heap_overhead : sizeof seen);
    fputs("=> REVERSE DUMP\n", stderr);
    for (uintptr_t i = 1; i <= 32; i++)
        dump_readable(start - i * 16, 16);
    ombrel_dump_exception_tag(1, "source/heap", "ombrel_heap_tag", 272);
}

} // namespace ombrel
