// What a request of HTTP is sent to: an "http" URI taken apart and written out as requests have it.
#pragma once

#include <cstddef>

#include "core/call_site.h"

namespace ombrel::protocol {

inline constexpr int http_port = 80;

/// One block with its texts behind it.
struct http_target {
    const char* host;       ///< in lower case, without brackets: what is looked up
    int port;               ///< 1 to 65535
    const char* uri;        ///< "http://HOST[:PORT]PATH", without name, password and fragment
    const char* host_field; ///< HOST[:PORT], with brackets: a part of the URI
    size_t host_field_size;
    const char* path;     ///< path and query, never empty: the end of the URI
    const char* user;     ///< of the URI; null when it has none
    const char* password; ///< null when it has none
    size_t size;          ///< of the whole block
};

/// Wipes what it holds before it frees it.
void free_target(http_target* target);

/// Takes a URI apart. Null leaves the fault: not_supported for another scheme than "http", invalid for what
/// is no URI with a host, no_memory.
http_target* new_target(const char* uri, call_site caller);

/// What a reference in an answer to a request of `base` names, as new_target() gives it.
http_target* resolve_reference(const http_target& base, const char* reference, call_site caller);

/// Whether both lie with one host and port.
bool is_same_origin(const http_target& a, const http_target& b);

} // namespace ombrel::protocol
