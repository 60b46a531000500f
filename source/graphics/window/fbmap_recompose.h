// Areas of a root composed anew from the windows that cover them.
#pragma once

#include "graphics/window/fbmap_internal.h"

namespace ombrel::graphics {

/// Composes an area of the target's root. Of windows above the target, opaque ones are taken as unchanged
/// unless `mode` says that they are reached. Gives 0, or -1, which is reported, when memory ran out for some
/// of it.
int recompose(ombrel_fbmap_t& target, const rectangle& area, uint32_t mode);

/// Composes what a window and all that it holds have shown as it looks when they have been hidden one by one,
/// the topmost first, and hides them all. Of a root, what it holds.
int conceal(ombrel_fbmap_t& window);

} // namespace ombrel::graphics
