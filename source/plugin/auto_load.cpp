#include "plugin/auto_load.h"

#include <atomic>
#include <utility>

#include <ombrel/short_lock.h>

#include "core/deadline.h"
#include "core/short_lock_guard.h"
#include "platform/library_loader.h"
#include "platform/thread.h"
#include "plugin/plugin_places.h"
#include "plugin/plugin_registry.h"

namespace ombrel::plugin {

namespace {

/// A plug-in may wait in its initialise function for a thread that waits for it here.
constexpr int longest_wait_ms = 3000;

struct auto_load_entry {
    const char* name;
    plugin_use use;
    bool is_absent; ///< the platform's own search, which takes long, has not found it
};

// For the thread that settles alone.
auto_load_entry table[] = {
    {"ombrel_plugin_curl" OMBREL_LIBRARY_SUFFIX, {}, false},
    {nullptr, {}, false},
};

ombrel_short_lock_t count_lock;
uint64_t initializations OMBREL_GUARDED_BY(count_lock);
std::atomic<const void*> settler; // the thread that is at it

bool is_unknown_to_platform(const char* path) {
    void* const library = platform::open_library(path, 0);
    if (library != nullptr)
        platform::close_library(library);
    return library == nullptr;
}

/// What lies in a build is not brought unasked.
void load(auto_load_entry& entry) {
    if (entry.use.handle >= 0)
        return;
    if (!is_in_usual_place(entry.name)) {
        entry.is_absent = entry.is_absent || is_unknown_to_platform(entry.name);
        if (entry.is_absent)
            return;
    }
    entry.use = load_plugin(entry.name, nullptr);
    entry.is_absent = entry.use.handle < 0 && is_unknown_to_platform(entry.name);
}

void unload(auto_load_entry& entry) {
    drop_plugin_use(std::exchange(entry.use, {}));
}

void settle(bool is_wanted) {
    for (auto_load_entry* entry = table; entry->name != nullptr; entry++)
        (is_wanted ? load : unload)(*entry);
}

bool begin_settling() {
    const short_lock_guard guard(count_lock);
    if (settler != nullptr)
        return false;
    settler = platform::thread_mark();
    return true;
}

bool is_wanted() {
    const short_lock_guard guard(count_lock);
    return initializations > 0;
}

/// False when what is wanted has changed meanwhile.
bool end_settling(bool was_wanted) {
    const short_lock_guard guard(count_lock);
    if ((initializations > 0) != was_wanted)
        return false;
    settler = nullptr;
    return true;
}

} // namespace

void count_initialization() {
    const short_lock_guard guard(count_lock);
    initializations++;
}

void count_uninitialization() {
    const short_lock_guard guard(count_lock);
    initializations -= initializations > 0 ? 1 : 0;
}

void settle_auto_loads() {
    if (!begin_settling())
        return;
    bool wanted;
    do
        settle(wanted = is_wanted());
    while (!end_settling(wanted));
}

bool wait_for_auto_loads() {
    const deadline limit(longest_wait_ms);
    bool has_waited = false;
    for (const void* at = settler; at != nullptr && at != platform::thread_mark() && !limit.passed();
         at = settler) {
        ombrel_load_balance_short();
        has_waited = true;
    }
    return has_waited;
}

} // namespace ombrel::plugin
