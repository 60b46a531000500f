// The plug-ins that are part of the library, by their base names.
#pragma once

#include <ombrel/builtin_plugin.h>
#include <ombrel/plugin.h>

#include "plugin/auto_load.h"

namespace ombrel::plugin {

struct builtin_entry {
    const char* name;
    ombrel_plugin_initialize_t initialize;
    ombrel_plugin_uninitialize_t uninitialize;
    /// Called once it is initialised and others can find it, and when it is gone, with no lock held.
    void (*settle)();
};

/// The public functions of the built-in plug-in without the settling.
int initialize_builtin(const char** hint, const void** interface_table, size_t* size);
int uninitialize_builtin();

inline constexpr builtin_entry builtin_table[] = {
    {def_ombrel_builtin_plugin_name, initialize_builtin, uninitialize_builtin, settle_auto_loads},
};

} // namespace ombrel::plugin
