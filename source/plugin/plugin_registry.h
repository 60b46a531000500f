// The registry of plug-ins: the life of their records.
#pragma once

#include <atomic>
#include <utility>

#include <ombrel/ctx_interface.h>
#include <ombrel/plugin.h>

#include "thread/instance.h"

namespace ombrel::plugin {

/// What is being done with a plug-in.
enum class plugin_stage { loading, ready, failed, leaving };

/// A plug-in is removed when it has neither uses, which loads and unloads count, nor bindings, which keep it
/// in place for a context, a caller of its main entry, or a loader that waits for it.
struct plugin_record : ombrel_plugin_t {
    std::atomic<plugin_stage> stage;
    std::atomic<const void*> worker; ///< the mark of the thread in its initialise or uninitialise function
    plugin_record* awaited;          ///< what that thread waits for; under the registry's lock
    unsigned era;                    ///< how often all its uses have been dropped at once
    void (*settle)();                ///< see builtin_plugin; null for a library's
};

extern const instance_type plugin_type;

using plugin_pin = instance_pin<plugin_record>;

/// A use that the library itself has: dropping all uses of a plug-in takes it away, and uses that are made
/// later are not its.
struct plugin_use {
    int handle = -1; ///< below 0 for none
    unsigned era = 0;
};

plugin_use load_plugin(const char* path, const char* search_list,
                       const char* initialize_name = def_ombrel_plugin_initialize_name,
                       const char* uninitialize_name = def_ombrel_plugin_uninitialize_name);

/// Tells that the table of handles is full.
void report_no_handle(const char* function);

enum class use_drop { dropped, unknown, none_left };

use_drop drop_plugin_use(int handle);
/// Nothing when it is gone already.
void drop_plugin_use(const plugin_use& use);
void drop_all_plugin_uses();

const ombrel_plugin_t* newest_plugin();

/// The newest plug-in, older than `after` unless that is null, that contexts can bind to for a MIME type;
/// bound for the caller. `after` is one that the caller has bound. Null when there is no other.
plugin_record* bind_plugin_for(const char* mime_type, const plugin_record* after);

/// Binds once more what the caller has bound, or keeps from being unbound meanwhile.
plugin_record* bind_again(plugin_record& bound);

/// Binds a plug-in that is known by its handle; null for an unknown one, and one without uses.
plugin_record* bind_plugin(int handle);

/// Ends a binding: the last one of a plug-in without uses removes it.
void unbind_plugin(plugin_record* plugin);

/// A binding that ends with a scope.
class plugin_binding {
public:
    plugin_binding() = default;
    explicit plugin_binding(plugin_record* plugin) : plugin_(plugin) {}
    plugin_binding(plugin_binding&& other) noexcept : plugin_(other.release()) {}
    plugin_binding& operator=(plugin_binding&& other) noexcept {
        reset(other.release());
        return *this;
    }
    ~plugin_binding() { reset(); }

    explicit operator bool() const { return plugin_ != nullptr; }
    plugin_record* get() const { return plugin_; }
    plugin_record* operator->() const { return plugin_; }
    plugin_record& operator*() const { return *plugin_; }
    plugin_record* release() { return std::exchange(plugin_, nullptr); }
    void reset(plugin_record* plugin = nullptr) {
        if (plugin_record* old = std::exchange(plugin_, plugin))
            unbind_plugin(old);
    }

private:
    plugin_record* plugin_ = nullptr;
};

/// The main entry of a plug-in's table, null for none; a table too small for one is reported under the names.
ombrel_plugin_main_t main_entry(const ombrel_plugin_t& plugin, const char* source, const char* function);

} // namespace ombrel::plugin
