// Keys of the console as the bytes that terminals elsewhere send for them.
#pragma once

#include <cstddef>

#include "platform/windows/windows_host.h"

namespace ombrel::platform {

inline constexpr size_t most_key_bytes = 16;

/// The bytes of a key that went down; none for one that is a modifier or makes nothing. The first half of a
/// character is kept in `half` until the second comes.
size_t put_key(const KEY_EVENT_RECORD& key, wchar_t& half, char* to);

} // namespace ombrel::platform
