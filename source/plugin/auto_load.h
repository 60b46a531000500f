// Plug-ins that the built-in one brings with it where they are installed.
#pragma once

namespace ombrel::plugin {

/// One more initialisation of the built-in plug-in, or one less; those too many are passed over.
void count_initialization();
void count_uninitialization();

/// Loads them while there are initialisations, and unloads them when there are none; one that cannot be found
/// is passed over in silence. Called with no lock held, as they may make contexts themselves. When a thread
/// is at it already, this one too, that one sees to it.
void settle_auto_loads();

/// Waits while another thread is at it, but not for ever; whether it had to.
bool wait_for_auto_loads();

} // namespace ombrel::plugin
