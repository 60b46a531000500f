#include "status_report.h"

#include <string.h>

enum { site_limit = 128 };

typedef struct {
    const char* tag;
    unsigned long line;
    size_t blocks;
    size_t bytes;
} site_t;

typedef struct {
    size_t count;
    site_t sites[site_limit];
} sites_t;

/* Runs with the heap locked: no allocation here. */
static int count_site(const ombrel_heap_block_t* block, void* context) {
    sites_t* sites = context;
    size_t i = 0;
    while (i < sites->count && (sites->sites[i].tag != block->m_tag || sites->sites[i].line != block->m_line))
        i++;
    if (i == site_limit)
        return 0;
    if (i == sites->count) {
        const site_t site = {block->m_tag, block->m_line, 0, 0};
        sites->sites[sites->count++] = site;
    }
    sites->sites[i].blocks++;
    sites->sites[i].bytes += block->m_size;
    return 0;
}

void report_sample(heap_history_t* history) {
    const size_t at = history->taken++ % history_size;
    ombrel_get_alloc_info(&history->count[at], &history->size[at], NULL);
}

static void push_history(ombrel_buffer_t* out, const char* name, const size_t* values, size_t taken) {
    const size_t first = taken > history_size ? taken - history_size : 0;
    ombrel_push_printf(out, "\"%s\":[", name);
    for (size_t i = first; i < taken; i++)
        ombrel_push_printf(out, "%s%llu", i > first ? "," : "", (unsigned long long)values[i % history_size]);
    ombrel_push_puts_ex(out, "],", 0);
}

static void push_sites(ombrel_buffer_t* out, const sites_t* sites) {
    ombrel_push_puts_ex(out, "\"sites\":[", 0);
    for (size_t i = 0; i < sites->count; i++)
        ombrel_push_printf(out, "%s{\"site\":\"%s:%lu\",\"blocks\":%llu,\"bytes\":%llu}", i > 0 ? "," : "",
                           sites->sites[i].tag, sites->sites[i].line,
                           (unsigned long long)sites->sites[i].blocks,
                           (unsigned long long)sites->sites[i].bytes);
    ombrel_push_puts_ex(out, "],", 0);
}

static void push_build(ombrel_buffer_t* out) {
    const uint32_t compiler = ombrel_get_compiler_version();
    ombrel_push_printf(out,
                       "\"version\":\"%s\",\"profile\":\"%s\",\"built\":\"%s %s\",\"host\":\"%s\","
                       "\"compiler\":\"%s %lu.%lu.%lu\",\"libc\":\"%s\",\"os\":\"%s %s\",",
                       ombrel_get_tuk_version_string(), ombrel_get_target_build_profile(),
                       ombrel_get_tuk_build_date(), ombrel_get_tuk_build_time(), ombrel_get_build_hostname(),
                       ombrel_get_compiler_name(), (unsigned long)(compiler >> 24),
                       (unsigned long)(compiler >> 16 & 255), (unsigned long)(compiler >> 8 & 255),
                       ombrel_get_libc_name(), ombrel_get_os_name(), ombrel_get_os_version_string());
}

int report_status(ombrel_buffer_t* out, const heap_history_t* history, uint64_t uptime_msec,
                  http_counts_t counts, ombrel_event_base_t* base) {
    static sites_t sites; /* one loop, one thread */
    size_t blocks, bytes, peak;
    ombrel_event_counts_t events;
    /* The figures and the sites come before the first push, which may allocate. */
    sites.count = 0;
    ombrel_get_alloc_list(0, count_site, &sites);
    ombrel_get_alloc_info(&blocks, &bytes, &peak);
    ombrel_event_base_get_counts(base, &events);
    ombrel_push_puts_ex(out, "{", 0);
    push_build(out);
    ombrel_push_printf(out, "\"uptime\":%llu,\"blocks\":%llu,\"bytes\":%llu,\"peak\":%llu,",
                       (unsigned long long)uptime_msec, (unsigned long long)blocks, (unsigned long long)bytes,
                       (unsigned long long)peak);
    ombrel_push_printf(out, "\"requests\":%llu,\"accepted\":%llu,\"refused\":%llu,\"open\":%llu,",
                       (unsigned long long)counts.requests, (unsigned long long)counts.accepted,
                       (unsigned long long)counts.refused, (unsigned long long)counts.open);
    push_sites(out, &sites);
    push_history(out, "count_history", history->count, history->taken);
    push_history(out, "size_history", history->size, history->taken);
    const size_t pushed = ombrel_push_printf(
        out, "\"events\":%llu,\"timers\":%llu,\"active\":%llu}\n", (unsigned long long)events.m_events,
        (unsigned long long)events.m_timers, (unsigned long long)events.m_active);
    return pushed > 0 ? 0 : -1;
}

typedef struct {
    const char* tag;
    unsigned long line;
    size_t size;
} live_block_t;

typedef struct {
    size_t count, room;
    live_block_t* blocks;
} live_blocks_t;

static int note_block(const ombrel_heap_block_t* block, void* context) {
    live_blocks_t* live = context;
    if (live->count == live->room)
        return -1;
    const live_block_t noted = {block->m_tag, block->m_line, block->m_size};
    live->blocks[live->count++] = noted;
    return 0;
}

int report_heap(ombrel_buffer_t* out) {
    size_t count, size, peak;
    ombrel_get_alloc_info(&count, &size, &peak);
    live_blocks_t live = {0, count + 1, NULL};
    live.blocks = ombrel_alloc(live.room * sizeof *live.blocks);
    if (live.blocks == NULL)
        return -1;
    ombrel_get_alloc_list(0, note_block, &live);
    ombrel_push_printf(out, "%llu live blocks, %llu bytes, peak %llu\n", (unsigned long long)count,
                       (unsigned long long)size, (unsigned long long)peak);
    for (size_t i = 0; i < live.count; i++) {
        char line[160];
        const int length =
            ombrel_snprintf(line, sizeof line, "%8llu  %s:%lu\n", (unsigned long long)live.blocks[i].size,
                            live.blocks[i].tag, live.blocks[i].line);
        if (ombrel_push_buffer_ex(out, line, (size_t)length, 0) != (size_t)length) {
            ombrel_free(live.blocks);
            return -1;
        }
    }
    ombrel_free(live.blocks);
    return 0;
}
