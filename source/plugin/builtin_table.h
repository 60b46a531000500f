// The plug-ins that are part of the library, by their base names.
#pragma once

#include <ombrel/builtin_plugin.h>
#include <ombrel/plugin.h>

namespace ombrel::plugin {

struct builtin_entry {
    const char* name;
    ombrel_plugin_initialize_t initialize;
    ombrel_plugin_uninitialize_t uninitialize;
};

inline constexpr builtin_entry builtin_table[] = {
    {def_ombrel_builtin_plugin_name, ombrel_plugin_initialize_builtin_plugin,
     ombrel_plugin_uninitialize_builtin_plugin},
};

} // namespace ombrel::plugin
