#include "plugin/auto_load.h"

#include <atomic>
#include <string_view>
#include <utility>

#include <ombrel/path.h>
#include <ombrel/printf.h>
#include <ombrel/short_lock.h>
#include <ombrel/string.h>

#include "core/deadline.h"
#include "core/heap_ptr.h"
#include "core/short_lock_guard.h"
#include "platform/environment.h"
#include "platform/file.h"
#include "platform/library_loader.h"
#include "platform/path.h"
#include "platform/thread.h"
#include "plugin/plugin_registry.h"
#include "plugin/search_list.h"
#include "text/slice.h"

namespace ombrel::plugin {

namespace {

/// A plug-in may wait in its initialise function for a thread that waits for it here.
constexpr int longest_wait_ms = 3000;

constexpr const char tag[] = "ombrel_plugin_initialize_builtin_plugin";

struct auto_load_entry {
    const char* path;
    const char* search_list; ///< null for the usual places
    unsigned flags;          ///< none is in use
    plugin_use use;
    bool is_absent; ///< the platform's own search, which takes long, has not found it
};

// For the thread that settles alone.
auto_load_entry table[] = {
    {"ombrel_plugin_curl" OMBREL_LIBRARY_SUFFIX, nullptr, 0, {}, false},
    {nullptr, nullptr, 0, {}, false},
};

ombrel_short_lock_t count_lock;
uint64_t initializations OMBREL_GUARDED_BY(count_lock);
std::atomic<const void*> settler; // the thread that is at it

/// The installed plug-ins, beside this library; empty when that cannot be told.
const char* installed_place() {
    static char place[1024];
    if (place[0] != '\0')
        return place;
    const heap_ptr<char> directory(ombrel_alloc_dirname_tag(platform::own_library_path(), tag, __LINE__));
    if (directory && ombrel_strlen(directory.get()) < sizeof place / 2)
        ombrel_snprintf(place, sizeof place, "%s/ombrel_tuk/plugins", directory.get());
    return place;
}

bool is_in(std::string_view directory, std::string_view name) {
    char path[1024];
    const std::string_view separator = platform::path_separator;
    const size_t size = directory.size() + separator.size() + name.size();
    // What is too long for this is left to the loader.
    if (size >= sizeof path)
        return true;
    char* to = path;
    for (const std::string_view part : {directory, separator, name})
        to = put_text(to, part);
    *to = '\0';
    return platform::file_exists(path);
}

bool is_in_list(const char* places, const char* name) {
    search_list directories(places);
    for (std::string_view directory; directories.next(directory);)
        if (!directory.empty() && is_in(directory, name))
            return true;
    return false;
}

bool is_unknown_to_platform(const char* path) {
    void* const library = platform::open_library(path, 0);
    if (library != nullptr)
        platform::close_library(library);
    return library == nullptr;
}

/// Looks in the entry's own directories, those of OMBREL_PLUGIN_PATH or that of the installed plug-ins.
void load(auto_load_entry& entry) {
    const platform::variable_text given = platform::trusted_environment_variable("OMBREL_PLUGIN_PATH");
    const char* const usual = given.get() != nullptr ? given.get() : installed_place();
    const char* const places = entry.search_list != nullptr ? entry.search_list : usual;
    if (entry.use.handle >= 0 || (entry.is_absent && !is_in_list(places, entry.path)))
        return;
    // Loading may change the environment.
    const heap_ptr<char> kept(ombrel_strdup_tag(places, tag, __LINE__));
    entry.use = load_plugin(entry.path, kept.get());
    entry.is_absent = entry.use.handle < 0 && is_unknown_to_platform(entry.path);
}

void unload(auto_load_entry& entry) {
    drop_plugin_use(std::exchange(entry.use, {}));
}

void settle(bool is_wanted) {
    for (auto_load_entry* entry = table; entry->path != nullptr; entry++)
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
