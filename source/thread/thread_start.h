// The block that carries an entry and its argument to a new thread.
#pragma once

#include <ombrel/thread.h>

namespace ombrel {

struct thread_start {
    ombrel_thread_entry_t entry;
    void* argument;
};

/// Starts a detached thread at `thread_handler`, which is handed a start block of its own and must pass it to
/// run_thread_start(). False when memory or a thread cannot be had.
bool start_thread(const thread_start& start, void (*thread_handler)(void* start_block), size_t stack_size);

/// Calls the entry and frees the block.
void run_thread_start(void* start_block);

} // namespace ombrel
