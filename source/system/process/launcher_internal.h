// A launcher: what its functions and its thread share.
#pragma once

#include <atomic>

#include <ombrel/launcher.h>
#include <ombrel/service.h>
#include <ombrel/short_lock.h>

#include "core/short_lock_guard.h"
#include "system/process/line_splitter.h"
#include "system/process/owned_descriptor.h"
#include "system/process/restart_plan.h"
#include "system/process/rotating_log.h"

struct ombrel_launcher_ts {
    // Settled before the thread begins.
    ombrel_launcher_options_t options{}; ///< its texts are copies
    ombrel::heap_ptr<char*> arguments, environment;
    ombrel::heap_ptr<char> directory;
    ombrel_service_t* service = nullptr;
    ombrel::system::owned_pipe wake; ///< a byte for each request
    ombrel::system::owned_pipe life; ///< its write end closes with the launcher's end

    // The thread's.
    ombrel::system::restart_plan plan;
    ombrel::system::rotating_log log;
    ombrel::system::line_splitter<def_ombrel_launcher_line_max> lines[2];
    bool log_has_failed = false;

    // Anybody's.
    std::atomic<uint64_t> thread = 0; ///< the id of its thread while it runs
    std::atomic<bool> wants_stop = false, wants_restart = false;
    ombrel_short_lock_t guard{};
    ombrel_launcher_state_t state OMBREL_GUARDED_BY(guard) = {};
    uint64_t child_began OMBREL_GUARDED_BY(guard) = 0;          ///< while one runs
    ombrel_process_t* child OMBREL_GUARDED_BY(guard) = nullptr; ///< changed by the thread alone
};

namespace ombrel::system {

/// Starts the child: for the first time by the opener, later by the thread. False with its fault.
/// @param failed_part receives what it failed at (def_ombrel_process_part_*); may be null
bool start_child(ombrel_launcher_t& launcher, int* failed_part = nullptr);

/// Ends the child by force and forgets it.
void end_child(ombrel_launcher_t& launcher);

/// What the thread does: looks after the child that was started, and its successors.
void look_after(ombrel_launcher_t& launcher);

} // namespace ombrel::system
