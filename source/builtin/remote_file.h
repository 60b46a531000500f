// What the streams of TFTP and FTP have in common: their names taken from the source, and their errors.
#pragma once

#include <cstddef>
#include <optional>

#include "builtin/builtin_kind.h"
#include "core/heap_ptr.h"
#include "protocol/transfer_error.h"

namespace ombrel::builtin {

/// Where a transfer goes.
struct transfer_place {
    const char* host;
    int port;
    heap_ptr<char> path; ///< decoded, without the slash that ends the host
};

/// Takes the place out of the source. A parameter behind the path, such as ";mode=octet", is taken off when
/// it has the value that the stream supports, and refused with another.
/// @return 0, or fail()
int find_transfer_place(const builtin_ctx& ctx, int default_port, const char* parameter, const char* value,
                        transfer_place& place);

/// Refuses modes of which a transfer can make nothing: for both directions, and for files that must be new.
/// @return 0, or fail()
int check_transfer_mode(const builtin_ctx& ctx);

/// fail() with the error that stands for a transfer's; reports it when the context is debugged.
int fail_by_transfer(const builtin_ctx& ctx, const protocol::transfer_error& error);

/// The result of an operation: the transfer's count, or fail().
int transfer_result(const builtin_ctx& ctx, ptrdiff_t count, const protocol::transfer_error& error);

/// Answers ::def_ombrel_stream_control_get_size where the server told the size.
int control_transfer(const builtin_ctx& ctx, uint32_t code, void* record, size_t size,
                     std::optional<uint64_t> file_size);

/// The property "error": the server's own words, empty when nothing failed.
bool get_transfer_error(const char* name, const protocol::transfer_error& error, char* text, size_t room);

} // namespace ombrel::builtin
