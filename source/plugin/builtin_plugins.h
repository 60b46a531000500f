// The plug-ins that are part of the library, by their base names.
#pragma once

#include <ombrel/plugin.h>

namespace ombrel::plugin {

struct builtin_plugin {
    const char* name;
    ombrel_plugin_initialize_t initialize;
    ombrel_plugin_uninitialize_t uninitialize;
    /// Called once it is initialised and others can find it, and when it is gone, with no lock held.
    void (*settle)();
};

/// The first stands for a path that is not given; ended by one without a name.
///
/// Data that stand in a folder above. There is no way around them: the built-in plug-in runs commands, a
/// command opens contexts, and each context loads the built-in plug-in; a program that links the archive has
/// to get it with the first context, without a call of its own.
extern const builtin_plugin builtin_plugins[];

} // namespace ombrel::plugin
