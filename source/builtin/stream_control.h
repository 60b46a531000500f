// What the control operations and properties of several streams have in common.
#pragma once

#include "builtin/builtin_kind.h"

namespace ombrel {

/// Answers ::def_ombrel_stream_control_get_fd.
int give_descriptor(const builtin_ctx& ctx, int descriptor, void* record, size_t size);

/// Answers ::def_ombrel_stream_control_get_local_address or, of a connected socket,
/// ::def_ombrel_stream_control_get_peer_address.
int give_socket_address(const builtin_ctx& ctx, int socket, uint32_t code, void* record, size_t size);

/// The code of a control operation by its name; 0 when there is none.
uint32_t control_code(const char* name);

/// Prints a property that follows from the stream's operations into `room` bytes; false when it has none of
/// the name.
bool stream_property(builtin_ctx& ctx, const char* name, char* text, size_t room);

} // namespace ombrel
