#include "plugin/plugin_registry.h"

#include <bit>
#include <cstring>
#include <new>
#include <utility>

#include <ombrel/assert.h>
#include <ombrel/dl.h>
#include <ombrel/heap.h>
#include <ombrel/linked_list.h>
#include <ombrel/output.h>
#include <ombrel/path.h>
#include <ombrel/short_lock.h>

#include "core/invariant.h"
#include "core/spin_lock_guard.h"
#include "platform/thread.h"
#include "plugin/builtin_plugins.h"
#include "plugin/plugin_places.h"

namespace ombrel::plugin {

namespace {

constexpr const char load_tag[] = "ombrel_load_plugin_ex";
constexpr const char unload_tag[] = "ombrel_unload_plugin";
constexpr const char open_tag[] = "ombrel_open_ctx";

constexpr uint32_t shared = def_ombrel_spin_lock_shared;
constexpr uint32_t exclusive = def_ombrel_spin_lock_exclusive;

static_assert(sizeof(void*) != 4 || sizeof(ombrel_ctx0_v0_interface_t) == 80);
static_assert(sizeof(void*) != 4 || sizeof(ombrel_ctx0_v1_interface_t) == 116);
static_assert(sizeof(ombrel_interface_header_t) == 16);

ombrel_spin_lock_t registry_lock{};
plugin_record* newest OMBREL_GUARDED_BY(registry_lock) = nullptr;

constexpr uint32_t as_little_endian(uint32_t word) {
    return std::endian::native == std::endian::little ? word : __builtin_bswap32(word);
}

plugin_record* next_of(const plugin_record& record) {
    return static_cast<plugin_record*>(record.m_next);
}

void link(plugin_record& record) OMBREL_REQUIRES(registry_lock) {
    OMBREL_INVARIANT(is_held(registry_lock));
    record.m_next = newest;
    if (newest != nullptr)
        newest->m_prev = &record;
    newest = &record;
}

void unlink(plugin_record& record) OMBREL_REQUIRES(registry_lock) {
    OMBREL_INVARIANT(is_held(registry_lock));
    if (record.m_next != nullptr)
        record.m_next->m_prev = record.m_prev;
    if (record.m_prev != nullptr)
        record.m_prev->m_next = record.m_next;
    else
        newest = next_of(record);
    for (plugin_record* at = newest; at != nullptr; at = next_of(*at))
        if (at->awaited == &record)
            at->awaited = nullptr;
}

// Whether waiting for a record would never end, because its function runs in this thread or waits for one
// that does.
bool waits_for_this_thread(const plugin_record& record) OMBREL_REQUIRES(registry_lock) {
    OMBREL_INVARIANT(is_held(registry_lock));
    const plugin_record* at = &record;
    while (at != nullptr && at->worker != platform::thread_mark())
        at = at->awaited;
    return at != nullptr;
}

// What the functions that run in this thread wait for from now on; null for nothing.
void set_awaited(plugin_record* awaited) OMBREL_REQUIRES(registry_lock) {
    OMBREL_INVARIANT(is_held(registry_lock));
    for (plugin_record* at = newest; at != nullptr; at = next_of(*at))
        if (at->worker == platform::thread_mark())
            at->awaited = awaited;
}

void free_record(void* object) {
    auto* record = static_cast<plugin_record*>(object);
    if (record->m_library != nullptr)
        ombrel_close_dl(record->m_library);
    ombrel_free_tag(record, unload_tag, __LINE__);
}

/// A record that is not in the registry.
class unlisted_record {
public:
    /// One with both strings behind it; it has no functions yet. Null when memory runs out.
    explicit unlisted_record(const char* path) {
        const char* name = ombrel_basename_c(path);
        const size_t path_size = strlen(path) + 1, name_size = strlen(name) + 1;
        void* block = ombrel_calloc_tag(1, sizeof(plugin_record) + path_size + name_size, load_tag, __LINE__);
        if (block == nullptr)
            return;
        record_ = new (block) plugin_record{};
        auto* text = static_cast<char*>(block) + sizeof(plugin_record);
        record_->m_magic = as_little_endian(def_ombrel_plugin_magic);
        record_->m_handle = -1;
        record_->m_used_count = 1;
        record_->m_path = static_cast<char*>(memcpy(text, path, path_size));
        record_->m_name = static_cast<char*>(memcpy(text + path_size, name, name_size));
    }
    ~unlisted_record() {
        if (record_ != nullptr)
            free_record(record_);
    }
    unlisted_record(const unlisted_record&) = delete;
    unlisted_record& operator=(const unlisted_record&) = delete;

    explicit operator bool() const { return record_ != nullptr; }
    plugin_record& operator*() const { return *record_; }
    plugin_record* release() { return std::exchange(record_, nullptr); }

private:
    plugin_record* record_ = nullptr;
};

bool take_builtin(plugin_record& record) {
    const builtin_plugin* entry = builtin_plugins;
    while (entry->name != nullptr && strcmp(entry->name, record.m_name) != 0)
        entry++;
    if (entry->name == nullptr)
        return false;
    record.m_flags |= def_ombrel_plugin_flag_builtin;
    record.m_initialize = entry->initialize;
    record.m_uninitialize = entry->uninitialize;
    record.settle = entry->settle;
    return true;
}

bool import_functions(plugin_record& record, const char* search_list, const char* initialize_name,
                      const char* uninitialize_name) {
    record.m_library = open_plugin_library(record.m_path, search_list);
    record.m_initialize =
        reinterpret_cast<ombrel_plugin_initialize_t>(ombrel_import_dl(record.m_library, initialize_name));
    record.m_uninitialize =
        reinterpret_cast<ombrel_plugin_uninitialize_t>(ombrel_import_dl(record.m_library, uninitialize_name));
    return record.m_initialize != nullptr && record.m_uninitialize != nullptr;
}

bool is_same_plugin(const plugin_record& a, const plugin_record& b) {
    // Built-in ones have no library; they are never the same as one with a library.
    if ((a.m_library == nullptr) != (b.m_library == nullptr))
        return false;
    return (a.m_library != nullptr && a.m_library == b.m_library) || strcmp(a.m_name, b.m_name) == 0;
}

plugin_record* find_same(const plugin_record& wanted) OMBREL_REQUIRES(registry_lock) {
    plugin_record* at = newest;
    while (at != nullptr && !is_same_plugin(*at, wanted))
        at = next_of(*at);
    return at;
}

/// A record of the registry, bound for a loader; null when it could not get a handle.
struct entry {
    plugin_record* record;
    bool is_new;
    unsigned era;
    bool is_table_full;
};

entry add_record(unlisted_record& made) OMBREL_REQUIRES(registry_lock) {
    plugin_record& record = *made;
    const int32_t handle = register_instance(plugin_type, &record);
    if (handle < 0)
        return {nullptr, false, 0, handle == no_instance_left};
    record.m_handle = handle;
    record.m_bound_count = 1;
    record.worker = platform::thread_mark();
    link(record);
    return {made.release(), true, record.era, false};
}

// Adds the record, or one use to that of the same plug-in.
entry enter_registry(unlisted_record& made) {
    for (;; ombrel_load_balance_short()) {
        const spin_lock_guard guard(registry_lock, exclusive, load_tag, __LINE__);
        plugin_record* same = find_same(*made);
        if (same == nullptr)
            return add_record(made);
        // One that is just being uninitialised has to be gone first.
        if (same->stage == plugin_stage::leaving) {
            if (waits_for_this_thread(*same))
                return {nullptr, false, 0, false};
            set_awaited(same);
            continue;
        }
        same->m_used_count++;
        same->m_bound_count++;
        return {same, false, same->era, false};
    }
}

bool is_ctx_interface(const void* table, size_t size) {
    if (table == nullptr || size < sizeof(ombrel_interface_header_t))
        return false;
    const auto* header = static_cast<const ombrel_interface_header_t*>(table);
    return header->m_kind == def_ombrel_interface_kind_ctx &&
           ((header->m_version == 1 && size >= sizeof(ombrel_ctx0_v1_interface_t)) ||
            (header->m_version == 0 && size >= sizeof(ombrel_ctx0_v0_interface_t)));
}

struct initialization {
    const char* hint = nullptr;
    const void* table = nullptr;
    size_t size = 0;
};

void publish(plugin_record& record, const initialization& given) {
    const spin_lock_guard guard(record.m_lock, exclusive, load_tag, __LINE__);
    record.m_mime_type_hint = given.hint;
    record.m_interface = given.table;
    record.m_interface_size = given.size;
    record.m_flags |= def_ombrel_plugin_flag_initialized;
    if (is_ctx_interface(given.table, given.size))
        record.m_flags |= def_ombrel_plugin_flag_ctx_interface;
    record.stage = plugin_stage::ready;
    record.worker = nullptr;
}

void withdraw(plugin_record& record) {
    const spin_lock_guard guard(registry_lock, exclusive, load_tag, __LINE__);
    unlink(record);
    record.m_used_count = 0;
    record.stage = plugin_stage::failed;
}

int initialize(plugin_record& record) {
    initialization given;
    const int result = record.m_initialize(&given.hint, &given.table, &given.size);
    if (result != 0) {
        withdraw(record);
        // A positive result could be taken for a handle.
        return result < 0 ? result : -1;
    }
    publish(record, given);
    if (record.settle != nullptr)
        record.settle();
    return record.m_handle;
}

bool is_initialized(plugin_record& record) {
    if (ombrel_reference_try_spin_lock_tag(&record.m_lock, shared, load_tag, __LINE__) == 0)
        return false;
    const bool initialized = (record.m_flags & def_ombrel_plugin_flag_initialized) != 0;
    ombrel_reference_spin_unlock_tag(&record.m_lock, load_tag, __LINE__);
    return initialized;
}

// False when the end would never come.
bool begin_waiting(plugin_record& record) {
    const spin_lock_guard guard(registry_lock, exclusive, load_tag, __LINE__);
    if (waits_for_this_thread(record))
        return false;
    set_awaited(&record);
    return true;
}

void end_waiting() {
    const spin_lock_guard guard(registry_lock, exclusive, load_tag, __LINE__);
    set_awaited(nullptr);
}

int wait_until_initialized(plugin_record& record) {
    if (is_initialized(record) || !begin_waiting(record))
        return record.m_handle;
    while (!is_initialized(record) && record.stage != plugin_stage::failed)
        ombrel_load_balance_short();
    end_waiting();
    return record.stage != plugin_stage::failed ? record.m_handle : -1;
}

// Whether the caller is the one to dismiss the plug-in.
bool claim_unused(plugin_record& record) OMBREL_REQUIRES(registry_lock) {
    OMBREL_INVARIANT(is_held(registry_lock));
    if (record.m_used_count != 0 || record.m_bound_count != 0 || record.stage == plugin_stage::leaving)
        return false;
    if (record.stage == plugin_stage::ready)
        record.stage = plugin_stage::leaving;
    record.worker = platform::thread_mark();
    return true;
}

// What was claimed goes; loaders of the same plug-in wait until it is out of the list.
void dismiss(plugin_record& record) {
    const auto settle = record.settle;
    if (record.stage == plugin_stage::leaving) {
        record.m_uninitialize();
        const spin_lock_guard guard(registry_lock, exclusive, unload_tag, __LINE__);
        unlink(record);
    }
    retire_instance(plugin_type, record.m_handle);
    if (settle != nullptr)
        settle();
}

template<typename Condition>
use_drop drop_use_if(int handle, Condition holds) {
    const plugin_pin record(plugin_type, handle);
    if (!record)
        return use_drop::unknown;
    {
        const spin_lock_guard guard(registry_lock, exclusive, unload_tag, __LINE__);
        if (record->m_used_count == 0 || !holds(*record))
            return use_drop::none_left;
        record->m_used_count--;
        if (!claim_unused(*record))
            return use_drop::dropped;
    }
    dismiss(*record);
    return use_drop::dropped;
}

plugin_record* claim_any_unused() {
    const spin_lock_guard guard(registry_lock, exclusive, unload_tag, __LINE__);
    plugin_record* at = newest;
    while (at != nullptr && !claim_unused(*at))
        at = next_of(*at);
    return at;
}

// Others that share the lock may bind the plug-in at the same moment.
plugin_record* add_binding(plugin_record& record) OMBREL_REQUIRES(registry_lock) {
    OMBREL_INVARIANT(is_held(registry_lock));
    __atomic_fetch_add(&record.m_bound_count, size_t{1}, __ATOMIC_RELAXED);
    return &record;
}

// A table that is smaller than it claims is counted, to be reported without the lock.
bool serves(plugin_record& record, const char* mime_type, unsigned& too_small)
    OMBREL_REQUIRES(registry_lock) {
    OMBREL_INVARIANT(is_held(registry_lock));
    const spin_lock_guard guard(record.m_lock, shared, open_tag, __LINE__);
    if ((record.m_flags & def_ombrel_plugin_flag_ctx_interface) == 0 || record.m_used_count == 0 ||
        ombrel_compare_mime_type_hint(record.m_mime_type_hint, mime_type) != 0)
        return false;
    const auto* table = static_cast<const ombrel_ctx0_v0_interface_t*>(record.m_interface);
    if (table->m_kind != def_ombrel_interface_kind_ctx)
        return false;
    const bool is_whole = table->m_size >= sizeof(ombrel_ctx0_v0_interface_t);
    too_small += is_whole ? 0 : 1;
    return is_whole && table->m_open != nullptr;
}

plugin_record* bind_first_serving(const char* mime_type, const plugin_record* after, unsigned& too_small) {
    const spin_lock_guard guard(registry_lock, shared, open_tag, __LINE__);
    plugin_record* at = after != nullptr ? next_of(*after) : newest;
    while (at != nullptr && !serves(*at, mime_type, too_small))
        at = next_of(*at);
    return at != nullptr ? add_binding(*at) : nullptr;
}

} // namespace

const instance_type plugin_type{"application/tuk_base_plugin", free_record, nullptr};

void report_no_handle(const char* function) {
    static_assert(def_ombrel_plugin_most_handles == most_instances);
    ombrel_error_printf("%s: [ERROR] \x1b[1;31mno handle left !\x1b[0m (limit=%d)\n", function,
                        def_ombrel_plugin_most_handles);
}

plugin_use load_plugin(const char* path, const char* search_list, const char* initialize_name,
                       const char* uninitialize_name) {
    unlisted_record made(path != nullptr ? path : builtin_plugins[0].name);
    if (!made ||
        !(take_builtin(*made) || import_functions(*made, search_list, initialize_name, uninitialize_name)))
        return {};
    const entry entered = enter_registry(made);
    if (entered.is_table_full)
        report_no_handle(load_tag);
    if (entered.record == nullptr)
        return {};
    const int handle = entered.is_new ? initialize(*entered.record) : wait_until_initialized(*entered.record);
    unbind_plugin(entered.record);
    return {handle, entered.era};
}

use_drop drop_plugin_use(int handle) {
    return drop_use_if(handle, [](const plugin_record&) { return true; });
}

void drop_plugin_use(const plugin_use& use) {
    drop_use_if(use.handle, [&](const plugin_record& record) { return record.era == use.era; });
}

void drop_all_plugin_uses() {
    {
        const spin_lock_guard guard(registry_lock, exclusive, unload_tag, __LINE__);
        for (plugin_record* at = newest; at != nullptr; at = next_of(*at)) {
            at->m_used_count = 0;
            at->era++;
        }
    }
    while (plugin_record* unused = claim_any_unused())
        dismiss(*unused);
}

const ombrel_plugin_t* newest_plugin() {
    const spin_lock_guard guard(registry_lock, shared, "ombrel_get_plugin_info", __LINE__);
    return newest;
}

plugin_record* bind_plugin_for(const char* mime_type, const plugin_record* after) {
    unsigned too_small = 0;
    plugin_record* const found = bind_first_serving(mime_type, after, too_small);
    for (; too_small > 0; too_small--)
        ombrel_assert_fail_tag(
            "source/interface", open_tag, __LINE__,
            "s_interface_header->m_size >= ((ombrel_uint32_t)sizeof(ombrel_ctx0_v0_interface_t))");
    return found;
}

plugin_record* bind_again(plugin_record& bound) {
    const spin_lock_guard guard(registry_lock, shared, "ombrel_ctx_execute_main", __LINE__);
    return add_binding(bound);
}

plugin_record* bind_plugin(int handle) {
    const plugin_pin record(plugin_type, handle);
    if (!record)
        return nullptr;
    const spin_lock_guard guard(registry_lock, exclusive, load_tag, __LINE__);
    if (record->m_used_count == 0)
        return nullptr;
    record->m_bound_count++;
    return record.get();
}

void unbind_plugin(plugin_record* plugin) {
    {
        const spin_lock_guard guard(registry_lock, exclusive, unload_tag, __LINE__);
        plugin->m_bound_count--;
        if (!claim_unused(*plugin))
            return;
    }
    dismiss(*plugin);
}

ombrel_plugin_main_t main_entry(const ombrel_plugin_t& plugin, const char* source, const char* function) {
    const auto* table = static_cast<const ombrel_ctx0_v1_interface_t*>(plugin.m_interface);
    if (table == nullptr || plugin.m_interface_size < sizeof(ombrel_interface_header_t) ||
        table->m_v0.m_kind != def_ombrel_interface_kind_ctx || table->m_v0.m_version == 0)
        return nullptr;
    if (table->m_v0.m_size < sizeof(ombrel_ctx0_v1_interface_t)) {
        ombrel_assert_fail_tag(source, function, __LINE__,
                               "s_interface_header->m_size >= sizeof(ombrel_ctx0_v1_interface_t)");
        return nullptr;
    }
    return plugin.m_interface_size >= sizeof(ombrel_ctx0_v1_interface_t) ? table->m_v0.m_main : nullptr;
}

} // namespace ombrel::plugin
