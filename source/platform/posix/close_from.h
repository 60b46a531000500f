// Closing what a child is not to inherit.
#pragma once

namespace ombrel::platform {

/// Closes the descriptors from `first` on but one. Takes no memory and no lock, as it runs between a fork and
/// the start of a program.
void close_descriptors_from(int first, int except);

} // namespace ombrel::platform
