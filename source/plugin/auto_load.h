// Plug-ins that the built-in one brings with it where they are installed.
#pragma once

namespace ombrel::plugin {

/// Loads those that are not loaded; one that cannot be found is passed over in silence.
void auto_load();

/// Unloads those that were loaded.
void auto_unload();

} // namespace ombrel::plugin
