// What the platform knows of protocols, services and its own name.
#pragma once

#include <cstddef>

namespace ombrel::platform {

// Any thread may ask; the host may look into files or ask servers.

/// False, and nothing stored, when unknown.
bool find_protocol(const char* name, int& number);
/// The port is in host order; false, and nothing stored, when unknown.
bool find_service(const char* name, const char* protocol, int& port);

/// The host's own name, terminated; false when it does not fit.
bool host_name(char* buffer, size_t size);

} // namespace ombrel::platform
